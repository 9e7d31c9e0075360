// str: texts by what they look like.
#ifndef STR_H
#define STR_H

#include "ccs.h"
#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Splits `text`, written in the character set `charset`, after the first `count` display characters; the
// terminator ends the text. Stores in `*length` how many bytes they take. Returns non-zero when anything
// remains behind them, else 0.
//
// One display character is: in a multi-byte set what is seen as one (in T61INTL a diacritical mark, 0xC1 to
// 0xCF, with the letter or blank after it; in UTF8 a character with the combining marks after it), an ESC
// with the byte after it, else one byte. A character that is cut short or malformed is taken byte by byte.
KV_EXPORT int str_SplitByDispLen(const char *text, int count, const ccs_descriptor *charset, int *length);

#ifdef __cplusplus
}
#endif

#endif
