// dr: the server's directories.
//
// The directory NAME is the LDIF file ~/sys/directory/NAME.ldif (RFC 2849; content records, read whole and
// indexed when it is opened); without a name it is "default". A directory is a snapshot: a change of the file
// shows when it is opened anew. The attribute userPassword of the file's first record, where there is one,
// guards the directory; its first DR_PASSWORD_LENGTH characters count. No search sees an attribute of that
// name. The options of an attribute's name (";lang-en") are dropped; the names of the records do not count.
#ifndef DR_H
#define DR_H

#include <stdint.h>

#include "da.h"
#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    DR_NAME_SIZE = 65,       // bytes of a directory's name with its terminator
    DR_PASSWORD_LENGTH = 8,  // characters of a password that count
    DR_MAX_OPEN = 256,       // directories that a process may have open
    DR_READ = 1,             // the mode of dr_OpenDir

    // The filter modifiers.
    DR_COMPARE_EXACTLY = 0,  // values must be equal to the letter
    DR_COMPARE_LOOSELY = 3   // letters' case (ASCII), repeated blanks and blanks at the ends do not count
};

// Opens a directory and returns its handle, above 0, which dr_CloseDir gives back. `server` is 0 and `mode`
// DR_READ. With an empty `name` it is the default directory, which is empty when its file is missing.
// Failures, which leave nothing open: (100, 932) there is no such directory: the name is too long or holds a
// "/", or the file is missing or cannot be opened, when (100, 921) was logged with the file; (100, 933)
// `password` is not the directory's; (100, 934) the file is no LDIF, and (100, 937) was logged with file,
// line and reason; (100, 935) DR_MAX_OPEN directories are open; memory exhausted; those of os_fopen and
// os_fgets.
KV_EXPORT int16_t dr_OpenDir(int16_t server, int mode, const char *name, const char *password);

// Closes a directory; its entries are gone. Failure: (100, 936) `directory` is no handle.
KV_EXPORT void dr_CloseDir(int16_t directory);

// Searches a directory for the entries that hold every attribute of `filter` with an equal value (a
// multi-valued attribute: one equal value); an entry may hold more. Stores how many there are in `*count`
// and, when it is not 0, the first of them (in the file's order) in `*entry`, cut down to the attributes
// named `wanted`: one attribute, all that make its O/R name (DA_X400_ATTRIBUTES), or all (""). Where it has
// none of these it counts all the same, and is empty. Without an entry `*entry` is null. The entry is owned
// by the directory, valid until its next search. The time of a search grows with the number of entries that
// hold the rarest value of `filter`, not with that of all entries.
//
// Returns 0, or 1 when values are compared exactly and no entry was found, but comparing loosely would find
// some. An empty filter finds nothing. `base`, `scope` and `order` are "", `flags` is 0, `kind` 1, `max` 1
// and `time_limit` -1. Failure: (100, 936) `directory` is no handle.
KV_EXPORT int dr_Search(int16_t directory, const char *base, const char *scope, const da_list *filter,
                        int flags, int kind, const char *wanted, const da_entry **entry, const char *order,
                        int max, int time_limit, int *count);

// Sets how the searches of this process compare from now on: DR_COMPARE_EXACTLY, as at start, or
// DR_COMPARE_LOOSELY, to which a tab is a blank.
KV_EXPORT void dr_SetFilterModifier(int modifier);

#ifdef __cplusplus
}
#endif

#endif
