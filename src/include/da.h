// da: lists of directory attributes.
//
// An attribute is a name and a value. Names are compared without regard to case. The attributes of an O/R
// name are called by the keywords of its text form (nm.h): S, G, OU1 to OU4, O, C ..., DD.TYPE for a
// domain-defined attribute, IA for the Internet address, and T61. before any of them for a T.61 form.
// Attributes of the server's own have numbers for names (167: the Internet address of a user; 1300: the
// address in the user's certificates). Any other name is an attribute that only the directory knows of.
#ifndef DA_H
#define DA_H

#include <stdint.h>

#include "kv_export.h"
#include "nm.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    DA_MAX_ATTRIBUTES = 100,  // attributes of a list
    DA_NAME_SIZE = 65,        // bytes of an attribute's name with its terminator
    DA_NAMES_SIZE = NM_ORN_SIZE + 64
};

#define DA_X400_ATTRIBUTES "@X400-ATTR@"  // in a search: all the attributes that make the entry's O/R name

// An attribute whose value is `value_length` bytes; the values of a multi-valued one are joined by the
// byte 29. Neither text is terminated.
typedef struct da_attribute {
    const char *name;
    const char *value;
    int32_t name_length;
    int32_t value_length;
} da_attribute;

// A list of attributes. A work area of the caller's that holds no values: they stay where they came from (an
// O/R name, a directory's entry, the caller's texts), which must outlive the list, and nothing is to be
// released. Not to be copied.
typedef struct da_list {
    int32_t count;
    int32_t names_used;
    da_attribute attributes[DA_MAX_ATTRIBUTES];  // the first `count` hold something
    char names[DA_NAMES_SIZE];                   // names that had to be put together
} da_list;

// An entry that a search found (dr.h), cut down to the attributes that were asked for.
typedef struct da_entry da_entry;

// Makes `list` an empty list.
KV_EXPORT void da_InitAttribList(da_list *list);

// Adds an attribute to `list`, which then refers to both texts. `capacity` bounds the list
// (DA_MAX_ATTRIBUTES). Failures, which leave the list as it was: (100, 930) `name` is no name of an
// attribute: it is empty, longer than DA_NAME_SIZE - 1 characters, or has a character besides letters,
// digits, "-", "." and "_"; (100, 931) the list is full.
KV_EXPORT void da_AddAttribToList(da_list *list, int capacity, const char *name, const char *value);

// Makes `list` the attributes of an O/R name. The type of a DDA becomes part of its attribute's name as it
// is, whatever its characters. Returns 1, or 0 with an empty list when the name has no attribute, is
// malformed (nm_ParseORN), or holds a field that has no keyword.
KV_EXPORT int da_ConvORNToAttribList(const char *orn, da_list *list);

// Makes `orn` (NM_ORN_SIZE bytes, none that `list` refers to) the O/R name that the attributes of `list`
// describe, passing over those that are no part of an O/R name. Of a multi-valued attribute the first value
// counts, and of several attributes of one name, DDAs apart, the first that is not empty. Returns 1, or 0
// with an empty O/R name when there are none, more than four domain-defined attributes of a form, or when it
// would be longer than NM_ORN_SIZE - 1 bytes.
KV_EXPORT int da_ConvAttribListToORN(const da_list *list, char *orn);

// Makes `list` the attributes of an entry; of none (null), the empty list. Returns how many they are.
KV_EXPORT int da_ParseAttribList(const da_entry *entry, da_list *list);

// Returns attribute number `number` (from 0) of `list`, or null when there are not so many.
KV_EXPORT const da_attribute *da_GetAttrib(const da_list *list, int number);

// Reads a list in text form into `list`, which refers to `text`: /NAME=VALUE/NAME/.../, where a name alone
// has the empty value and the first and last "/" may be missing. There are no escapes: a value ends at the
// next "/". The last four arguments are not used; pass 0. Returns 1, or 0 with an empty list when there is no
// attribute, a name is not valid, or there are too many.
KV_EXPORT int da_ParseEntry2(const char *text, da_list *list, int unused1, int unused2, int unused3,
                             int unused4);

// Drops from `list` the attributes whose names `mask` does not hold. Returns 1 when some were dropped and
// some remain, else 0, with `list` as it was.
KV_EXPORT int da_MaskEntry(da_list *list, const da_list *mask);

#ifdef __cplusplus
}
#endif

#endif
