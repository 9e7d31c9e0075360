// mes: the texts of the server's messages.
//
// Every message has a text built in; a line `SET NUMBER TEXT` of ~/sys/messages replaces it (`#` begins a
// comment line). The file is read at the first use in a home; a line that cannot be read is skipped and
// logged.
#ifndef MES_H
#define MES_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// The message sets.
enum { MES_SET_SERVER = 100, MES_SET_GATEWAY = 102 };

// Returns the text of message (set, number), zero-terminated, or null when there is none. Owned by the
// service; valid until the next ext_SetHome. Failures, while the file is read: memory
// exhausted; (100, 904).
KV_EXPORT const char *mes_GetText(int set, int number);

#ifdef __cplusplus
}
#endif

#endif
