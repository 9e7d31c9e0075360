// cust: the customisation store, ~/sys/customise.
//
// Lines have the form KEY=VALUE; blanks around key and value are dropped, a line whose first character is `#`
// is a comment, and of two lines with one key the later holds. Keys are compared to the letter. The file is
// read at the first use in a home; a missing file defines no key, and one that cannot be opened is logged and
// defines none.
#ifndef CUST_H
#define CUST_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns non-zero when `key` is defined (KEY= defines it with an empty value), and then points `*value` at
// its text, owned by the service and valid until the next ext_SetHome; `*value` is untouched otherwise.
// `value` may be null. Failures of this and of the other functions, while the file is read: memory exhausted;
// (100, 904).
KV_EXPORT int cust_GetCustomiseInfo(const char *key, const char **value);

// Returns non-zero when `key` is defined with a true value: true, yes, on or 1, without regard to case.
KV_EXPORT int cust_PresentAndTrue(const char *key);

// Returns non-zero when `key` is defined with a false value: false, no, off or 0, without regard to case.
KV_EXPORT int cust_PresentAndFalse(const char *key);

// Returns the text of `key`, owned by the service and valid until the next ext_SetHome, or `fallback` when it
// is not defined. The last two arguments are not used; pass 0.
KV_EXPORT const char *cust_GetString(const char *key, const char *fallback, int unused1, int unused2);

#ifdef __cplusplus
}
#endif

#endif
