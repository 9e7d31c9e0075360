// nm: O/R names, field by field.
//
// An O/R name is a zero-terminated text of at most NM_ORN_SIZE - 1 bytes: the field texts in ascending field
// order, starting with field 0. The byte 29 ends a field, and the text after it is the field with the next
// number; the byte 23 skips to field 32 when the current field is below 32, and to field 64 when it is from
// 32 to 63. A field index beside it tells where each field stands; every function that takes both expects an
// index that nm_InitORN or nm_ParseORN made for that very text, and keeps the two in step.
//
// An absent field and an empty field are the same. A field text never holds the bytes 0, 23 and 29: where a
// text that is stored holds one, a blank is stored in its place, so that no text from mail can make a field
// of its own.
#ifndef NM_H
#define NM_H

#include <stddef.h>
#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Field numbers (X.402 O/R address attributes).
enum {
    NM_SURNAME = 0,
    NM_GIVEN_NAME = 1,
    NM_INITIALS = 2,
    NM_GENERATION = 3,
    NM_OU1 = 4,  // the first, highest organisational unit; OU 2 to 4 are fields 5 to 7
    NM_OU4 = 7,
    NM_ORGANISATION = 8,
    NM_COUNTRY = 9,
    NM_ADMD = 10,
    NM_PRMD = 11,
    NM_X121 = 12,
    NM_UA_ID = 13,
    NM_TERMINAL_ID = 14,
    NM_DDA1_TYPE = 15,  // DDA n: its type in field 13 + 2n, its value in field 14 + 2n
    NM_DDA1_VALUE = 16,
    NM_DDA4_VALUE = 22,
    NM_COMMON_NAME = 32,
    NM_FIRST_POSTAL = 33,  // network and postal attributes, see nm_KeywordTable
    NM_POSTAL_COUNTRY = 38,
    NM_POSTAL_CODE = 39,
    NM_LAST_POSTAL = 51,
    NM_T61 = 64,  // NM_T61 + n is the T.61 form of field n
    NM_INTERNET_ADDRESS = 130,

    NM_FIRST_ROUTING = NM_OU1,  // the routing fields, and the T.61 forms that some of them have
    NM_LAST_ROUTING = NM_PRMD,
    NM_FIRST_T61_ROUTING = NM_T61 + NM_OU1,
    NM_LAST_T61_ROUTING = NM_T61 + NM_ORGANISATION,

    NM_FIELD_COUNT = 131,
    NM_ORN_SIZE = 4097,    // bytes of an O/R name with its terminator
    NM_MAP_WORDS = 5,      // 32-bit words of a field map: the bit of field n is bit n % 32 of word n / 32
    NM_TEXT_SIZE = 20480,  // bytes that hold any O/R name in text form, with the terminator
    NM_LOG_SIZE = 1024     // bytes that hold an O/R name as nm_FormatLogORN writes it
};

// The kinds of O/R name.
enum {
    NM_KIND_NAMED = 0,
    NM_KIND_NUMERIC =
        1  // a numeric user identifier (field 13), without a surname or common name in either form
};

// Where each field of an O/R name stands. A work area of the caller's; only this service reads or writes what
// is in it, but for `kind`, which anyone may read.
typedef struct nm_index {
    uint16_t kind;  // NM_KIND_NAMED or NM_KIND_NUMERIC
    uint16_t start[NM_FIELD_COUNT];
    uint16_t length[NM_FIELD_COUNT];
    uint16_t end;  // where the text that was understood ends, and in which field
    uint16_t end_field;
    uint32_t present[NM_MAP_WORDS];  // a field map; start and length hold something for its fields only
} nm_index;

// Makes `orn` (NM_ORN_SIZE bytes) an empty O/R name, and `index` its index.
KV_EXPORT void nm_InitORN(char *orn, nm_index *index);

// Builds the index over an existing O/R name and, unless `presence` is null, the map of the fields that are
// present (NM_MAP_WORDS words). Returns 1 when the whole text was understood. Returns 0 when it is malformed:
// a byte 23 from field 64 on, a byte 29 after the last field, or more than NM_ORN_SIZE - 1 bytes; the fields
// that end before that place are indexed, and what follows belongs to no field. It stays, unread, behind the
// fields when one of them is stored; nothing can be stored in a text that is too long.
KV_EXPORT int nm_ParseORN(const char *orn, nm_index *index, uint32_t *presence);

// Returns non-zero when field number `field` is in the map, else 0 (also for a number that is no field).
KV_EXPORT int nm_CheckBit(int field, const uint32_t *presence);

// Fills `maps` (NM_MAP_WORDS words) with one bit for each field that is present. The third word tells of the
// fields 64 to 95, the T.61 forms.
KV_EXPORT void nm_GetFieldMaps(const nm_index *index, uint32_t *maps);

// Copies a field as a terminated text into `destination`, which holds `capacity` bytes (at least one), cut at
// `capacity` - 1. An absent field, or a number that is no field, gives the empty text.
KV_EXPORT void nm_GetFieldStr(const char *orn, const nm_index *index, int field, char *destination,
                              int capacity);

// Returns a pointer to the bytes of a field inside `orn`, not terminated, and their count in `*length`; null
// and 0 when it is absent or the number is no field. Valid until the O/R name changes.
KV_EXPORT const char *nm_GetFieldMemPtr(const char *orn, const nm_index *index, int field, int *length);

// Stores the terminated text `text` in a field, in place of what it held; the empty text, or null, empties
// the field. Storing a field's own value changes nothing. `text` may lie inside `orn`. Failures, which leave
// the O/R name as it was: (100, 905) it would pass NM_ORN_SIZE - 1 bytes; (100, 906) `field` is no field
// number.
KV_EXPORT void nm_PutFieldStr(char *orn, nm_index *index, int field, const char *text);

// The same for `length` bytes at `bytes`; a null pointer with length 0 empties the field.
KV_EXPORT void nm_PutFieldMem(char *orn, nm_index *index, int field, const char *bytes, int length);

// Returns the number of the field that holds the T.61 form of `field`, or -1 when there is none. There is one
// for the personal name (0 to 3), the organisational units and the organisation (4 to 8), the DDAs (15 to 22)
// and the common name (32).
KV_EXPORT int nm_GetCorrT61FNum(int field);

// Writes the O/R name in the text form below, cut to NM_LOG_SIZE - 1 characters, into `destination`
// (NM_LOG_SIZE bytes).
KV_EXPORT void nm_FormatLogORN(const char *orn, char *destination);

// ---- Text form ----
//
// /S=Smith/G=John/OU1=Sales/O=Acme/PRMD=x/ADMD=y/C=us/DD.RFC-822=j@x.org/
//
// One KEYWORD=VALUE for each field that is present, each after a "/", with a "/" at the end; no field, no
// text. Keywords: those of nm_KeywordTable, with OU1 to OU4 for the fields 4 to 7; DD.TYPE=VALUE for a DDA,
// in the order of the four, where an absent one before another is written DD.= to keep its place; IA for
// field 130; FIELD.n for a field without keyword; and T61. before a keyword (T61.DD.TYPE too) for its T.61
// form. In types and values a backslash stands before "/", "=" and itself, and a control character is written
// as \xHH.

// A keyword and its field.
typedef struct nm_keyword {
    const char *keyword;
    int field;
} nm_keyword;

enum {
    NM_KEYWORD_COUNT = 36,    // rows of nm_KeywordTable, the closing row ("", -1) included
    NM_FIRST_ROUTING_ROW = 4  // the rows before it are the personal name
};

// The keywords from the most specific attribute to the least: personal name, units from the fourth up to the
// first, organisation, PRMD, ADMD, country, then the network and postal attributes.
KV_EXPORT extern const nm_keyword nm_KeywordTable[NM_KEYWORD_COUNT];

// Why a text is no O/R name: the place in the text, and a reason in plain words (static text).
typedef struct nm_text_error {
    int offset;
    const char *reason;
} nm_text_error;

// Reads an O/R name in text form into `orn` (NM_ORN_SIZE bytes) and `index`. Keywords are read without regard
// to case, the first and the last "/" may be missing, and a plain OU may be given up to four times, the
// highest unit last, as in the gateway map. Returns 1, or 0 with the reason in `*error` (may be null) and an
// empty O/R name: an unknown or repeated keyword, OU beside OU1 to OU4, a part without "=", an escape that is
// none of the above, a value with a byte 0, 23 or 29, more than four DDAs or units, or more than NM_ORN_SIZE
// - 1 bytes.
KV_EXPORT int nm_ParseText(const char *text, char *orn, nm_index *index, nm_text_error *error);

// Writes an O/R name in text form into `out`, which holds `capacity` bytes, cut at `capacity` - 1 and
// terminated (nothing is written when `capacity` is 0); NM_TEXT_SIZE bytes hold any. Returns the length of
// the whole text form.
KV_EXPORT int nm_FormatText(const char *orn, char *out, int capacity);

#ifdef __cplusplus
}
#endif

#endif
