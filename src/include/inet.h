// inet: what the server knows of Internet mail.
#ifndef INET_H
#define INET_H

#include <stdint.h>

#include "dstring.h"
#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns non-zero when users have Internet addresses in the directory as a matter of course (automatic
// Internet addressing): the customisation key INET_AUTO_IAM is defined with a true value. Else 0.
KV_EXPORT int inet_AutoIamOn(void);

// ---- Encoded words (RFC 2047) ----

// Returns non-zero when `value` holds an encoded word, else 0; 0 for null. A word is "=?", a character-set
// name of any length, "?", one of B and Q in either case, "?", a text without "?", and "?=".
KV_EXPORT int inet_is2047Encoded(const char *value);

// Appends `text`, which is written in the character set `charset`, to `out` as encoded words: each at most 75
// characters long, whole characters in each, in the set's ASCII state at both ends, one blank between two.
// `flags` is 0. `encoding` is B or Q in either case, else Q. `column` is how many characters of the line are
// taken before the first word, which is as much shorter; 0 for none. A set that the server does not know is
// taken as one of single bytes. An empty text appends nothing. Failure: memory exhausted.
KV_EXPORT void inet_encodeHeader(const char *charset, int flags, const char *text, char encoding,
                                 int32_t column, dstring *out);

// Writes the Q form of `length` bytes into `out` (3 * length + 1 bytes), terminated: "_" for a blank, "=XX"
// for each byte that may not stand in a word anywhere (RFC 2047, 5): letters, digits and "!*+-/" stand.
KV_EXPORT void inet_text2Q(const char *bytes, int32_t length, char *out);

// Writes the base64 text of `length` bytes into `out` ((length + 2) / 3 * 4 + 1 bytes), terminated.
KV_EXPORT void inet_bin2base64(const char *bytes, int32_t length, char *out);

// Decodes the base64 text of `length` characters into `out` (length + 1 bytes), terminated, and stores how
// many bytes they are in `*decoded_length`. Characters outside the alphabet are passed over; "=" ends a group
// of four early, of which the whole bytes count, and the next group begins behind it. Returns 0, or 1 when
// anything was passed over or the text ends inside a group.
KV_EXPORT int inet_base642bin(const char *text, int32_t length, char *out, int32_t *decoded_length);

#ifdef __cplusplus
}
#endif

#endif
