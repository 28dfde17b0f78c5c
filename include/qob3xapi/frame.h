#ifndef QOB3XAPI_FRAME_H
#define QOB3XAPI_FRAME_H
#include <stdint.h>

#if defined(_WIN32)
#  if defined(QOB3XAPI_BUILD)
#    define QOBAPI __declspec(dllexport)
#  else
#    define QOBAPI __declspec(dllimport)
#  endif
#else
#  define QOBAPI __attribute__((visibility("default")))
#endif
#ifdef __cplusplus
#  define QOB_C_BEGIN extern "C" {
#  define QOB_C_END }
#else
#  define QOB_C_BEGIN
#  define QOB_C_END
#endif

/* An operating-system file handle in pointer width: the descriptor on POSIX, the HANDLE on Windows. */
typedef intptr_t QOB_OSHANDLE;
#define QOB_INVALID_OSHANDLE ((QOB_OSHANDLE)-1)

QOB_C_BEGIN

/* 1 = ready (also when already initialised), 0 = queue not reached (the set-up otherwise stays done). clientName is copied, cut to 31. */
QOBAPI int32_t InitQOBDll(const char* clientName);
/* Always 1. The same start-up without the message queue. */
QOBAPI int32_t InitQOBDll_NOMQ(const char* clientName);
/* Always 0. Stops line I/O and the parsers, releases the scan slot, clears both flags. */
QOBAPI int32_t TerminateQOBDll(void);

/* Library's own buffer, never null, "" when not set; never free or change it. */
QOBAPI const char* GetQueueDir(void);
/* As GetQueueDir, for the temporary directory. */
QOBAPI const char* GetTempDir(void);
/* As GetQueueDir, for the install directory. */
QOBAPI const char* GetInstallDir(void);

/* Characters copied to the caller's buffer (NUL not counted; text cut to size-1); 0, buffer untouched, when the mode is neither 0 nor 1. */
QOBAPI uint32_t QOBGetPrivateProfileString(const char* section, const char* key, const char* defaultText,
                                           char* buffer, uint32_t size, const char* file);
/* Leading decimal number of the value (sign allowed; 0 for other text); defaultValue when the key is missing. */
QOBAPI int32_t QOBGetPrivateProfileInt(const char* section, const char* key, int32_t defaultValue, const char* file);
/* Nonzero on success; 0 on failure and when the mode is neither 0 nor 1. A null value removes the key, a null key the section. */
QOBAPI int32_t QOBWritePrivateProfileString(const char* section, const char* key, const char* value, const char* file);
/* Profile mode 0. */
QOBAPI void UseINI(void);
/* Profile mode 1 (reads and writes still go to the file). */
QOBAPI void UseConfigAPI(void);

QOB_C_END
#endif
