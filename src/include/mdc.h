// mdc: heap blocks and bounded copies.
#ifndef MDC_H
#define MDC_H

#include <stddef.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns a block of `size` bytes (at least one) that mdc_free releases. Failure: memory exhausted.
KV_EXPORT void *mdc_malloc(size_t size);

// Releases a block of mdc_malloc; null is accepted.
KV_EXPORT void mdc_free(void *block);

// Copies the text `source` into `destination`, which holds `capacity` bytes, cut at `capacity` - 1 characters
// and always terminated; nothing at all is written when `capacity` is 0. The two must not overlap. Returns
// the length of `source`: the copy was cut when it is `capacity` or more.
KV_EXPORT size_t mdc_strlcpy(char *destination, const char *source, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif
