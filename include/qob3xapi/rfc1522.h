#ifndef QOB3XAPI_RFC1522_H
#define QOB3XAPI_RFC1522_H
#include <qob3xapi/frame.h>
QOB_C_BEGIN
/* Every result is a new heap string released with free() (or FreeString), or null. The caller's text is unchanged on return. */

/* Encoded header value; null for null input. */
QOBAPI char* rfc1522encoding(const char* text);
/* As rfc1522encoding with the given charset, always B, no "EnableRFC1522Encoding" check. */
QOBAPI char* rfc1522encoding_wmc(const char* text, const char* charset);
/* Decoded text; null for null or empty input. */
QOBAPI char* rfc1522decoding(const char* text);
/* As rfc1522decoding for words of every charset, no configuration. */
QOBAPI char* rfc1522decoding_wmc(const char* text);
/* Charset name of the first encoded word, or null. */
QOBAPI char* Get1522Charset(const char* text);

QOB_C_END

#ifdef __cplusplus
/* C++ linkage. Free text, comments encoded separately. */
QOBAPI char* rfc1522encoding2(char* text);
/* C++ linkage. The same with the given charset, always B. */
QOBAPI char* rfc1522encoding2_wmc(char* text, char* charset);
#endif
#endif
