// ccs: what the server knows of character sets.
//
// Character sets have names of the server's own (IA5, UTF8, ISO8859_1, T61INTL ...). Wherever a name is
// looked up, MIME names and their usual aliases ("ISO-8859-1", "latin1") serve as well, and so does "MIME-"
// with a MIME name behind it; letters' case does not count. A family is the internal set that the server
// keeps texts in; every set that converts into it belongs to it.
//
// Some sets switch between code pages by escape sequences (ISO 2022). A code page has a number of the
// server's own, above 0: it stands for all that such a text has switched to at a place.
#ifndef CCS_H
#define CCS_H

#include <stdbool.h>
#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    CCS_NAME_SIZE = 32,    // bytes of a character-set name with its terminator
    CCS_ESCAPE_SIZE = 20,  // bytes that hold any escape sequence below with a terminator
    CCS_INTERNAL = 2,      // the kind of ccs_GetInternalCharset
    CCS_CONFIGURED = 1     // the kind of ccs_GetConfAsciiEscs and ccs_Get1CfgEsc
};

// Facts of a character set or a code page.
enum ccs_flags {
    CCS_FLAG_7BIT = 1,        // holds no byte above 127
    CCS_FLAG_PLAIN = 2,       // of a code page: it is ASCII, and nothing needs to be switched back
    CCS_FLAG_MULTIBYTE = 4,   // a character may take several bytes
    CCS_FLAG_SINGLE = 8,      // one byte is one character
    CCS_FLAG_ASCII = 16,      // a byte below 128 where a character begins is that character of ASCII, whole
    CCS_FLAG_ESCAPES = 0x800  // switches state with escape sequences
};

// A character set as functions take it, filled by ccs_GetCSDescriptor. Owned by the caller, who may set
// `code_page` in a copy to ask about a code page of the set.
typedef struct ccs_descriptor {
    int16_t code_page;  // 0: the set itself
    int16_t charset;    // the server's number of the set, above 0
    int32_t flags;      // of the set
    char name[CCS_NAME_SIZE];
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

// Returns the server's name of the set, null for an empty descriptor. Static text.
KV_EXPORT const char *ccs_GetCSName(const ccs_descriptor *descriptor);

// Returns the flags of the descriptor's code page or, without one, of its set; 0 when there is no such.
KV_EXPORT int ccs_GetCSFlags(const ccs_descriptor *descriptor);

// Returns how many bytes a character of the descriptor's code page takes, or without one of its set the most
// that it takes; 0 when there is no such.
KV_EXPORT int16_t ccs_GetNumBytes(const ccs_descriptor *descriptor);

// Returns non-zero when all of the `length` bytes at `text` (-1: up to its terminator) are below 128, else 0.
KV_EXPORT int ccs_Is7BitAscii(const char *text, int length);

// ---- The units of a text ----

// Returns `text`, at which the next unit begins, or null when `length` is 0 or less. `first` is 1 where a
// text begins and 0 where it goes on behind the unit that the calling thread was given last. `*unit_length`
// is the unit's length, at most `length`, and `*state` its state value.
//
// A unit must not be split. In a set without CCS_FLAG_ESCAPES it is a character, and its state is 0; a byte
// that begins no character, or one cut short, is a unit by itself. In the others it is a character of the
// code page in force, of state 0; or one or more escape sequences and shifts with the character behind them,
// if any: its state is then the code page that they switch to. An LF ends what was designated in a set in
// which lines do.
KV_EXPORT const char *ccs_GetNextMimeUnit(const char *text, int length, const ccs_descriptor *charset,
                                          int first, int *state, int *unit_length);

// Returns 256 entries, true for each byte that is a unit by itself, of state 0, wherever a unit may begin: in
// the descriptor's code page or, without one, in its set. Static.
KV_EXPORT const bool *ccs_GetWholeBytes(const ccs_descriptor *descriptor);

// Returns the code page in force behind the unit of a set with CCS_FLAG_ESCAPES that the calling thread was
// given last; 0 before any. `which` is 0, and `*scratch` is not used.
KV_EXPORT int16_t ccs_GetCP(int which, int32_t *scratch);

// Returns the escape sequence that switches a text of the set back to ASCII from any code page, and its
// length in `*length`; the empty text for a set without escapes. `kind` is CCS_CONFIGURED. Static text.
KV_EXPORT const char *ccs_GetConfAsciiEscs(const ccs_descriptor *charset, int kind, int *length);

// Writes the escape sequence that switches from ASCII, with nothing designated, to the code page `code_page`
// into `buffer` (CCS_ESCAPE_SIZE bytes), terminated; the empty text when there is no such code page. `kind`
// is CCS_CONFIGURED, and `flags` 0.
KV_EXPORT void ccs_Get1CfgEsc(int code_page, int kind, char *buffer, int flags);

#ifdef __cplusplus
}
#endif

#endif
