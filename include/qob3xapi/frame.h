/* The frame: start-up and shutdown, directories, profile access.
 *
 * Texts are NUL-terminated bytes. What is handed out here is the library's own and must not be freed or changed. Start-up and
 * shutdown belong to one thread, before and after all other use; everything else may be called on any thread. */
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

/* InitQOBDll - makes the library ready and connects the process to the message queue.
 * Shape   clientName: the name that log lines carry; null counts as empty.
 * Units   clientName is cut to 31 characters, the time zone to 15, each directory to 259.
 * Owner   nothing is kept of the argument but a copy.
 * Result  1 ready, also when an earlier call made it so (then nothing is read again and the old name stays); 0 the queue
 *         was not reached (logged "MQInit failed."): all else is set up, and a later call does all of it again.
 * Thread  one thread, before and after all other use of the library.
 * Source  the system's own. Reads [Gateway] TimeZone (default PST8PDT; a value beginning with xxx keeps the system's
 *         zone), QueueDirectory, TemporaryDirectory, [Config] InstallDirectory and [Ldap] HostName from "twmta.ini"; sets
 *         TZ and TMP. */
QOBAPI int32_t InitQOBDll(const char* clientName);
/* InitQOBDll_NOMQ - the same start-up without the message queue.
 * Shape   as InitQOBDll.
 * Units   as InitQOBDll.
 * Owner   as InitQOBDll.
 * Result  always 1. Every call does the start-up again: the new name and directories are taken, files that are open stay
 *         open.
 * Thread  as InitQOBDll.
 * Source  the system's own. */
QOBAPI int32_t InitQOBDll_NOMQ(const char* clientName);
/* TerminateQOBDll - ends the use of the library.
 * Shape   none.
 * Units   none.
 * Owner   every open file of the handle face is closed without flushing.
 * Result  always 0, also when nothing was started. The directories keep their values until the next start-up.
 * Thread  one thread, before and after all other use of the library.
 * Source  the system's own. */
QOBAPI int32_t TerminateQOBDll(void);

/* GetQueueDir - the queue directory.
 * Shape   a path as configured, either separator.
 * Units   at most 259 bytes.
 * Owner   the library's own buffer; do not free or change it.
 * Result  never null; "" when not set or before start-up.
 * Thread  any, after start-up.
 * Source  [Gateway] QueueDirectory of "twmta.ini". */
QOBAPI const char* GetQueueDir(void);
/* GetTempDir - the temporary directory.
 * Shape   as GetQueueDir.
 * Units   as GetQueueDir.
 * Owner   as GetQueueDir.
 * Result  as GetQueueDir.
 * Thread  as GetQueueDir.
 * Source  [Gateway] TemporaryDirectory of "twmta.ini". */
QOBAPI const char* GetTempDir(void);
/* GetInstallDir - the install directory.
 * Shape   as GetQueueDir.
 * Units   as GetQueueDir.
 * Owner   as GetQueueDir.
 * Result  as GetQueueDir.
 * Thread  as GetQueueDir.
 * Source  [Config] InstallDirectory of "twmta.ini". */
QOBAPI const char* GetInstallDir(void);

/* QOBGetPrivateProfileString - one value of a profile file, read fresh.
 * Shape   section and key without regard to case, the first match counts; surrounding blanks and one pair of quotes are
 *         no part of the value. A null key lists the keys of the section and a null section the sections, each name with
 *         its NUL and one more NUL at the end. A bare file name is looked up in $QOB_CONFIG_DIR, else in /etc/qob3xapi.
 * Units   size: bytes of buffer, its NUL included.
 * Owner   buffer is the caller's.
 * Result  characters copied, the NUL not counted: the value, else defaultText (null counts as ""), cut to size - 1, a
 *         list to size - 2. A key that is present but empty gives "". 0 and an untouched buffer for size 0, a null
 *         buffer, or a profile mode that is neither 0 nor 1.
 * Thread  any.
 * Source  the private-profile calls of the mail system's first platform. */
QOBAPI uint32_t QOBGetPrivateProfileString(const char* section, const char* key, const char* defaultText,
                                           char* buffer, uint32_t size, const char* file);
/* QOBGetPrivateProfileInt - one number of a profile file, read fresh.
 * Shape   names as QOBGetPrivateProfileString.
 * Units   32 bits; a larger number becomes the largest, a smaller one the smallest. The first 63 characters of the value
 *         count.
 * Owner   nothing is kept.
 * Result  the decimal number that the value begins with (white space and a sign may precede it), 0 for other or no text,
 *         defaultValue when the key or the file is missing; 0 when the profile mode is neither 0 nor 1.
 * Thread  any.
 * Source  the system's own. */
QOBAPI int32_t QOBGetPrivateProfileInt(const char* section, const char* key, int32_t defaultValue, const char* file);
/* QOBWritePrivateProfileString - sets or removes one value of a profile file.
 * Shape   names as QOBGetPrivateProfileString. The first matching key is replaced, a new one is added at the end of its
 *         section; a null value removes the key, a null key the section. Comments, order and line ends are kept.
 * Units   none.
 * Owner   nothing is kept.
 * Result  nonzero on success. 0 when the file cannot be written, a text holds a line feed, section or file is null, or
 *         the profile mode is neither 0 nor 1; the file is then as it was.
 * Thread  any; the file is replaced as a whole, under a lock that holds between processes.
 * Source  the private-profile calls of the mail system's first platform. */
QOBAPI int32_t QOBWritePrivateProfileString(const char* section, const char* key, const char* value, const char* file);
/* UseINI - profile mode 0, the initial one.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void UseINI(void);
/* UseConfigAPI - profile mode 1; reads and writes still go to the file.
 * Shape   none.
 * Units   none.
 * Owner   none.
 * Result  none.
 * Thread  any.
 * Source  the system's own. */
QOBAPI void UseConfigAPI(void);

QOB_C_END
#endif
