/* Encoded words in header texts: 8-bit bytes to "=?charset?Q?text?=" or "=?charset?B?text?=" and back.
 *
 * Texts are NUL-terminated bytes of any charset. Every result is a new heap string that the caller releases with free (or
 * FreeString), or null; the caller's text is the same afterwards as before. Settings come from "twmta.ini" and are read anew
 * by every call: [Options] EnableRFC1522Encoding (YES; NO switches encoding off), RFC1522codingMethod (Quoted-printable; any
 * other value means base64), Force1522Decoding (NO); [Gateway] LocalCharSet (US-ASCII). The calls ending in _wmc read none.
 * No call logs and none keeps state; each may run on any thread.
 *
 *     char* value = rfc1522encoding("J\xFCrgen <j@example.org>");   =?ISO-8859-1?Q?J=FCrgen?= <j@example.org>
 *     free(value); */
#ifndef QOB3XAPI_RFC1522_H
#define QOB3XAPI_RFC1522_H
#include <qob3xapi/frame.h>
QOB_C_BEGIN

/* rfc1522encoding - a header value with its 8-bit bytes encoded.
 * Shape   a value without bytes of 128 or more comes back as it is. A value that is exactly one address (at most one comment)
 *         is put together anew from its phrase, its address in angle brackets and its comment, each encoded for itself; the
 *         words of a quoted phrase stand inside its quotes. A group or a source route is written without the phrase. Any
 *         other value is treated as rfc1522encoding2 treats it. Lines are folded with CR LF and one blank.
 * Units   lines are filled to 77 columns, counted from the start of the value, not of the header line.
 * Owner   the result is the caller's.
 * Result  the encoded value; null for null and when memory is exhausted.
 * Thread  any; holds the address lock meanwhile.
 * Source  RFC 1522, with words inside quoted strings and of any length as the system's own. */
QOBAPI char* rfc1522encoding(const char* text);
/* rfc1522encoding_wmc - the same with the caller's charset.
 * Shape   as rfc1522encoding, always in base64, whatever EnableRFC1522Encoding says; free text as rfc1522encoding2_wmc
 *         treats it.
 * Units   charset: its name, written as it is given.
 * Owner   the result is the caller's.
 * Result  the encoded value; null for a null text or charset and when memory is exhausted.
 * Thread  any; holds the address lock meanwhile.
 * Source  RFC 1522. */
QOBAPI char* rfc1522encoding_wmc(const char* text, const char* charset);
/* rfc1522decoding - a header text with its encoded words decoded.
 * Shape   words whose charset is a prefix of LocalCharSet, ASCII case ignored, are decoded, with Force1522Decoding=YES all
 *         words; others, and words that are not closed, stay as they are. "_" stays "_" and blanks between adjacent words
 *         stay. The bytes are not converted to another charset. A word may decode to NUL, which then ends the string.
 * Units   never longer than text.
 * Owner   the result is the caller's.
 * Result  the decoded text; null for null, for an empty text and when memory is exhausted.
 * Thread  any.
 * Source  RFC 1522, read more widely: a word may stand anywhere, hold blanks and be of any length. */
QOBAPI char* rfc1522decoding(const char* text);
/* rfc1522decoding_wmc - the same for words of every charset.
 * Shape   as rfc1522decoding with Force1522Decoding=YES; no setting is read.
 * Units   never longer than text.
 * Owner   the result is the caller's.
 * Result  the decoded text; null for null, for an empty text and when memory is exhausted.
 * Thread  any.
 * Source  RFC 1522, read as rfc1522decoding does. */
QOBAPI char* rfc1522decoding_wmc(const char* text);
/* Get1522Charset - the charset that the first encoded word of a text names.
 * Shape   the text between the first "=?" and the marker behind it. Where words with different markers follow, "?b?" is taken
 *         before "?B?", that before "?q?", that before "?Q?", wherever they stand.
 * Units   the name as written; may be empty.
 * Owner   the result is the caller's.
 * Result  the name; null for null, for a text without a whole encoded word and when memory is exhausted.
 * Thread  any.
 * Source  RFC 1522; the order of the markers is the system's own. */
QOBAPI char* Get1522Charset(const char* text);

QOB_C_END

#ifdef __cplusplus
/* rfc1522encoding2 - free text with its 8-bit bytes encoded, comments for themselves. C++ linkage.
 * Shape   text without bytes of 128 or more, and all text when EnableRFC1522Encoding is NO, comes back as it is. Otherwise
 *         neighbouring words with 8-bit bytes become one encoded word, blanks between them included, and others stay. Before
 *         each comment stands one blank; a comment ends at the first ")". Trailing blanks go.
 * Units   every segment between and inside comments counts its columns from 0.
 * Owner   the result is the caller's; text is only read.
 * Result  the encoded text; null for null and when memory is exhausted.
 * Thread  any.
 * Source  RFC 1522. */
QOBAPI char* rfc1522encoding2(char* text);
/* rfc1522encoding2_wmc - the same with the caller's charset. C++ linkage.
 * Shape   as rfc1522encoding2, always in base64, whatever EnableRFC1522Encoding says, and without the blank before comments,
 *         also in text without 8-bit bytes: "text (c)" becomes "text(c)". The two forms differ on purpose.
 * Units   charset: its name, written as it is given.
 * Owner   the result is the caller's; both texts are only read.
 * Result  the encoded text; null for a null text or charset and when memory is exhausted.
 * Thread  any.
 * Source  RFC 1522; the missing blank is the system's own. */
QOBAPI char* rfc1522encoding2_wmc(char* text, char* charset);
#endif
#endif
