/* The address and header calls as a C program makes them; the tests look at what they say. */
#ifndef TESTS_RFC822_FROM_C_H
#define TESTS_RFC822_FROM_C_H
#include <stddef.h>
#include <stdint.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Parses the list with RecipParse and writes "address|local|domain|phrase|comment\n" for each node.
 * The table's count. */
int32_t DescribeListFromC(const char* list, char* out, size_t size);
/* Opens the file, parses its header and writes what it found, one line for each thing; the result
 * of QOB_ParseHdr. */
int32_t DescribeHeaderFromC(const char* path, char* out, size_t size);
/* A table with a node made by hand; the count after one list was appended. */
int32_t AppendToHandMadeTableFromC(void);
/* Null pointers everywhere they are allowed; 1 when each gave its documented result. */
int NullsFromC(void);

#ifdef __cplusplus
}
#endif
#endif
