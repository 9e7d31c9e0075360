// dstring: the server's dynamic string.
#ifndef DSTRING_H
#define DSTRING_H

#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// A string that grows. `data` and `length` are read directly: the bytes, which a zero byte follows and which
// may hold others, and how many they are. Both change with each call below; `capacity`, the size of the block
// that the string owns, is the service's own.
typedef struct dstring {
    char *data;
    int32_t length;
    int32_t capacity;
} dstring;

// Makes `string` empty, whatever it held before; it owns no block yet, and `data` is the empty text.
KV_EXPORT void dstring_init(dstring *string);

// Releases what `string` owns, and makes it empty; it can be used on.
KV_EXPORT void dstring_free(dstring *string);

// Set `string` to a zero-terminated text (dstring_set and dstring_set1 do the same), or to `length` bytes.
// The source may be part of the string itself. Failure: memory exhausted, or 2 GiB passed; the string is then
// as it was.
KV_EXPORT void dstring_set(dstring *string, const char *text);
KV_EXPORT void dstring_set1(dstring *string, const char *text);
KV_EXPORT void dstring_setN(dstring *string, const char *bytes, int32_t length);

// Append a zero-terminated text, or `length` bytes. The source and the failures are as above.
KV_EXPORT void dstring_append1(dstring *string, const char *text);
KV_EXPORT void dstring_appendN(dstring *string, const char *bytes, int32_t length);

// Sets the length, and the zero byte behind it. Bytes that are new are zero; there is room for them to be
// written directly. Failures as above.
KV_EXPORT void dstring_setLength(dstring *string, int32_t length);

#ifdef __cplusplus
}
#endif

#endif
