/* What contract_test.cc asks the part of it that is compiled as C. */
#ifndef QOB_TESTS_CONTRACT_FROM_C_H
#define QOB_TESTS_CONTRACT_FROM_C_H
#ifdef __cplusplus
extern "C" {
#endif

/* Lines of the file as the C library's own three-argument getline reads them, each below its
 * length; -1 when it fails. */
int CountLinesWithTheCLibrary(const char* path, long* bytes);
/* Lines of the file through the line I/O of the library. */
int CountLinesWithLineIo(const char* path, long* bytes);
/* One message built in a file, parsed and released through the public headers alone; parts, or -1.
 */
int CountPartsFromC(const char* path);

#ifdef __cplusplus
}
#endif
#endif
