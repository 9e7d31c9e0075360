// mdc: heap blocks, bounded copies, descriptors, and names of hosts.
#ifndef MDC_H
#define MDC_H

#include <stddef.h>
#include <stdint.h>

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

// ---- Descriptors (os_open) ----

enum { MDC_SEEK_SET = 0 };  // `origin`: from the start of the file

// Moves the place where the next read begins to `offset` from `origin`. Returns it, or -1 when the file
// cannot be positioned or `offset` is below 0. Behind the file's end is a place where nothing can be read.
KV_EXPORT int64_t mdc_lseek(int descriptor, int64_t offset, int origin);

// Reads up to `count` bytes into `buffer`; goes on after an interruption or a short read. Returns how many
// were read: fewer than `count` only at the end of the file or when it cannot be read on; -1 when it cannot
// be read at all. Failure: shutdown asked for.
KV_EXPORT int64_t mdc_read(int descriptor, void *buffer, size_t count);

// Closes a descriptor; one below 0 is accepted.
KV_EXPORT void mdc_close(int descriptor);

// ---- Hosts ----

// Copies the official name of the host `name`, as the system's resolver gives it, into `official`, which
// holds `size` bytes (at least one), cut to fit. Returns 1, or 0 with the empty text when it is not known.
// May wait for the resolver.
KV_EXPORT int mdc_gethostbyname(const char *name, char *official, size_t size);

#ifdef __cplusplus
}
#endif

#endif
