/* Japanese text: ISO-2022-JP (RFC 1468), as mail carries it, to Shift-JIS, as local systems keep it, and back.
 *
 * Texts are NUL-terminated bytes. Every new text is from malloc and released with free (or FreeString). Conversion goes through
 * files in the temporary directory, which are always removed. Two-byte characters are those of JIS X 0208; half-width katakana
 * become full-width ones on the way to ISO-2022-JP. Settings come from "twmta.ini" and are read anew by every call. */
#ifndef QOB3XAPI_JAPANESE_H
#define QOB3XAPI_JAPANESE_H
#include <qob3xapi/frame.h>
QOB_C_BEGIN

/* bufJIS2ShiftJIS - a header text of ISO-2022-JP in Shift-JIS.
 * Shape   text: ESC $ B or ESC $ @ begins two-byte text, ESC ( B or ESC ( J ends it. With [Options]
 *         RepairDamagedJISinHeaders=YES (the default) runs whose escape characters were lost are converted too.
 * Units   bytes.
 * Owner   the result is the caller's: free.
 * Result  the new text. Null unless [Gateway] LocalCharSet is ISO-2022-JP, with [Options] DisableJISinHeaders=YES, when
 *         nothing came out, and on any failure; nothing tells which.
 * Thread  any.
 * Source  RFC 1468; the repair is the system's own. */
QOBAPI char* bufJIS2ShiftJIS(const char* text);
/* bufJIS2ShiftJIS_wmc - the same without the "LocalCharSet" and "DisableJISinHeaders" conditions.
 * Shape   as bufJIS2ShiftJIS.
 * Units   bytes.
 * Owner   the result is the caller's: free.
 * Result  the new text; null when nothing came out and on any failure.
 * Thread  any.
 * Source  RFC 1468; the repair is the system's own. */
QOBAPI char* bufJIS2ShiftJIS_wmc(const char* text);
/* bufShiftJIS2JIS - a Shift-JIS text in ISO-2022-JP.
 * Shape   two-byte text is begun with ESC $ B and ended with ESC ( J. Bytes that are no Shift-JIS stay as they are, and so
 *         does a half-width katakana that is the very first byte. No setting is read.
 * Units   bytes.
 * Owner   the result is the caller's: free.
 * Result  the new text; null for an empty text and on any failure.
 * Thread  any.
 * Source  RFC 1468. */
QOBAPI char* bufShiftJIS2JIS(const char* text);
/* CheckJapanese - converts a message file to Shift-JIS in place.
 * Shape   path of the file. Nothing is done with [Options] ScanForJIS=NO, which is the default unless [Gateway] LocalCharSet
 *         is ISO-2022-JP. Otherwise the file is converted whatever it holds: text without escape sequences passes, but a CR
 *         that ends the file gets its LF. [Options] RepairDamagedJIS (YES) as RepairDamagedJISinHeaders for headers.
 * Units   bytes.
 * Owner   nothing is kept.
 * Result  0 done or nothing to do; -1 failure (logged at level 1), the file is then as it was. It is replaced in one step and
 *         keeps its permissions.
 * Thread  any; one at a time for one file.
 * Source  RFC 1468; the repair is the system's own. */
QOBAPI int32_t CheckJapanese(const char* path);

QOB_C_END
#endif
