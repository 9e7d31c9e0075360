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
    CVC_HEADER = 11,  // the modes of conversion: of header values
    CVC_TEXT = 13     // and of any other text; both convert alike
};

// A set that the table of ccs.h does not have is admitted all the same where it is one of iconv's and safe to
// name in mail: a plain name of letters, digits, "-", "_", "." and ":", and a set in which ASCII stands at
// its places. No suffix of iconv's, no empty name, no set of a locale or of wide characters is.

// Converts `length` bytes at `text` (-1: up to its terminator) from the character set `source` to `target`.
// `mode` is one of the two above and `flags` 0. On every status but CVC_FAILED `*converted` is the result,
// zero-terminated, in a block that the caller releases with os_free, and `*converted_length` its length. On
// CVC_FAILED it is null, and `*set` and `*number` name the message: (100, 811) a character set is not known,
// or (100, 912) the mode is not. `*extra` is the offset of the first byte that had no equal or could not be
// read, else -1; of a source with CCS_FLAG_ESCAPES, the offset in the text's UTF-8 form. Returns one of
// cvc_status. Failure: memory exhausted.
//
// The characters \ ^ ` { } ~ of ASCII, which T.61 does not have, stand for themselves in T61INTL. Unicode's
// language tags (U+E0000 to U+E007F), which are no text, are dropped where the target does not have them.
// SO, SI and ESC are no characters in a set with CCS_FLAG_ESCAPES, or outside the table, which may take them
// for shifts: those of UTF-8 have no equal there, and those that are no shifts there have none in UTF-8. Nor
// has DEL an equal in ISO-2022-CN, where iconv does not read it. Each call begins and ends in the initial
// state of both sets.
KV_EXPORT int cvc_ConvertString(int mode, int flags, const char *text, int32_t length, const char *source,
                                const char *target, char **converted, int32_t *converted_length, int *set,
                                int *number, int *extra);

// The same into storage of the service's own, valid until the calling thread's next cvc_CnvString:
// `*converted`, zero-terminated, and its length; null and 0 on CVC_FAILED. `*lost` (may be null) is how many
// characters were replaced or left out. `purpose` names the caller's use, for the service's own records, and
// changes nothing. Returns one of cvc_status. Failure: memory exhausted.
KV_EXPORT int16_t cvc_CnvString(int mode, int flags, const char *text, int32_t length, const char *source,
                                const char *target, char **converted, int32_t *converted_length, int *lost,
                                int purpose);

// Returns the preferred MIME name of a character set ("UTF-8" for "UTF8" and its spellings, "US-ASCII" for
// "IA5"): static text. Or, when the table does not have the set, `name` itself. `flags` changes nothing.
KV_EXPORT const char *cvc_iconvCharsetEquiv(const char *name, int flags);

// Returns non-zero when the service can convert from the character set `name`, else 0.
KV_EXPORT int cvc_iconv_recognised_charset(const char *name);

// Returns non-zero when the service can convert from the character set `source` to `target`, else 0.
KV_EXPORT int cvc_IsMappingAvail(const char *source, const char *target);

#ifdef __cplusplus
}
#endif

#endif
