/* The MIME calls as a C program makes them; the tests look at what they say. */
#ifndef TESTS_MIME_FROM_C_H
#define TESTS_MIME_FROM_C_H
#include <stddef.h>
#include <stdint.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Parses the file and writes one line for each part: type/subtype, encoding, positions, role,
 * children. The number of parts. */
int32_t DescribeMessageFromC(const char* path, int32_t flags, char* out, size_t size);
/* The decoded body of a part, its own text and its header, one behind the other; 0, or the number
 * of the call that failed. */
int ExtractFromC(const char* path, int32_t index, char* out, size_t size);
/* Null pointers everywhere they are allowed; 1 when each gave its documented result. */
int NullsFromC(void);
/* Builds a pool by hand, counts over it and lets the library release it; 1 when the counts are
 * right. */
int HandMadePoolFromC(void);

#ifdef __cplusplus
}
#endif
#endif
