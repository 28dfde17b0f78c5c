/* What contract_test.cc asks the part of it that is compiled as C. */
#ifndef QOB_TESTS_DB_CONTRACT_H
#define QOB_TESTS_DB_CONTRACT_H
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Records of a pass, or -1 when it did not end with 17. */
int CountFileTypesFromC(void);
/* "type/subtype" of an extension; what the look-up gave. */
int TypeFromC(const char* extension, char* type, unsigned room);
/* Adds a peer; what the library gave. */
int SetIntervalFromC(const char* domain, int32_t interval);

#ifdef __cplusplus
}
#endif
#endif
