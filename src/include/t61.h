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

#ifdef __cplusplus
}
#endif

#endif
