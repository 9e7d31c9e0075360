// cvc: conversion between the server's character sets, by iconv(3).
#ifndef CVC_H
#define CVC_H

#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// What became of a conversion. Every status but CVC_FAILED gives a text.
enum cvc_status {
    CVC_EXACT = 0,     // every character has its equal
    CVC_REPLACED = 1,  // "?" stands for each character without an equal and for each byte that begins none
    CVC_FAILED = 2,    // there is no text; the message says why
    CVC_CUT = 3        // the text ends inside a character, which is left out; nothing else was lost
};

enum {
    CVC_TEXT = 13  // the mode of cvc_ConvertString
};

// Converts `length` bytes at `text` (-1: up to its terminator) from the character set `source` to `target`,
// both names of the server's (ccs.h). `mode` is CVC_TEXT and `flags` 0. On every status but CVC_FAILED
// `*converted` is the result, zero-terminated, in a block that the caller releases with os_free, and
// `*converted_length` its length. On CVC_FAILED it is null, and `*set` and `*number` name the message: (100,
// 811) a character set is not known, or (100, 912) the mode is not. `*extra` is the offset of the first byte
// that had no equal or could not be read, else -1. Returns one of cvc_status. Failure: memory exhausted.
//
// The characters \ ^ ` { } ~ of ASCII, which T.61 does not have, stand for themselves in T61INTL. Unicode's
// language tags (U+E0000 to U+E007F), which are no text, are dropped where the target does not have them.
KV_EXPORT int cvc_ConvertString(int mode, int flags, const char *text, int32_t length, const char *source,
                                const char *target, char **converted, int32_t *converted_length, int *set,
                                int *number, int *extra);

#ifdef __cplusplus
}
#endif

#endif
