// t61: T.61 (teletex) strings.
#ifndef T61_H
#define T61_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns the name (ccs.h, static text) of the character set that the T.61 string of `length` bytes at `text`
// (-1: up to its terminator) is written in. An ISO 2022 designation at its start tells: ESC % G is UTF8; ESC
// - with A, B, C, D, F, G, H, L, M designates ISO8859_1, _2, _3, _4, _7, _6, _8, _5, _9. Without one it is
// T61INTL.
KV_EXPORT const char *t61_ParseO61Str(const char *text, int length);

// Returns the name of the character set of the `length` bytes at `text` (-1: up to its terminator), such as a
// file's name from anywhere, with two characters behind it, a blank and the digit of `kind`, 0 to 9 ("IA5
// 1"). Static text. The set is the one that a designation at its start tells, as above; else IA5 when no byte
// is above 127, UTF8 when the bytes are valid UTF-8, and ISO8859_1 in any other case.
KV_EXPORT const char *t61_RealParseStr(const char *text, int length, int kind);

#ifdef __cplusplus
}
#endif

#endif
