// ccs: what the server knows of character sets.
//
// Character sets have names of the server's own (IA5, UTF8, ISO8859_1, T61INTL ...), compared without regard
// to case. A family is the internal set that the server keeps texts in; every set that converts into it
// belongs to it.
#ifndef CCS_H
#define CCS_H

#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    CCS_NAME_SIZE = 32,  // bytes of a character-set name with its terminator
    CCS_INTERNAL = 2     // the kind of ccs_GetInternalCharset
};

// Facts of a character set.
enum ccs_flags {
    CCS_FLAG_7BIT = 1,      // holds no byte above 127
    CCS_FLAG_SINGLE = 2,    // one byte is one character
    CCS_FLAG_MULTIBYTE = 4  // a character may take several bytes
};

// A character set as functions take it. Owned by the caller.
typedef struct ccs_descriptor {
    char name[CCS_NAME_SIZE];
    int32_t flags;
} ccs_descriptor;

// A character set of a family. Owned by the service.
typedef struct ccs_charset ccs_charset;

// Returns the character set `name` of the family `family` ("T61INTL"), or null when the server does not know
// it.
KV_EXPORT const ccs_charset *ccs_GetICCharset2(const char *name, const char *family);

// Returns the name of the internal set of the family of `charset`; `kind` is CCS_INTERNAL, any other gives
// null. Static text.
KV_EXPORT const char *ccs_GetInternalCharset(const ccs_charset *charset, int kind);

// Fills `descriptor` for the character set `name`. Returns 1, or 0 with an empty descriptor when it is not
// known.
KV_EXPORT int ccs_GetCSDescriptor(const char *name, ccs_descriptor *descriptor);

// Returns non-zero when all of the `length` bytes at `text` (-1: up to its terminator) are below 128, else 0.
KV_EXPORT int ccs_Is7BitAscii(const char *text, int length);

#ifdef __cplusplus
}
#endif

#endif
