// ext: where the server's home is, and the real names of its files.
//
// The home is the directory given to ext_SetHome, else the environment variable KV_HOME, else /var/lib/mim.
#ifndef EXT_H
#define EXT_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    EXT_PATH_SIZE = 4096  // bytes of a file name with its terminator
};

// Makes `directory` the server's home for this process; null goes back to KV_HOME or the default. What
// services read from the old home (customisation, messages, mail nodes, routes) is read anew. Failure: (100,
// 903) the name is longer than EXT_PATH_SIZE - 1 characters; the home stays as it was.
KV_EXPORT void ext_SetHome(const char *directory);

// Returns the server's home, without a trailing "/". Owned by the service; valid until the next ext_SetHome.
KV_EXPORT const char *ext_GetHome(void);

// Writes the real name of the file `path` into `result`, which holds EXT_PATH_SIZE bytes: a leading "~/"
// becomes the server's home; any other path stays as it is. Failure: (100, 903) the name would be longer;
// `result` is then empty.
KV_EXPORT void ext_GetActualFName(const char *path, char *result);

#ifdef __cplusplus
}
#endif

#endif
