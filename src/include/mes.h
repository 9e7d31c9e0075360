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

// Copies the text of message (set, number), in the character set `charset` (ccs.h), cut to fit, into
// `buffer`, which holds `size` bytes (at least one). The built-in texts and ~/sys/messages are UTF8; "?"
// stands for a character that the set does not have. Returns 1, or 0 with the empty text when there is no
// such message or set. Failures: as mes_GetText.
KV_EXPORT int mes_GetAnyMsg2(int set, int number, char *buffer, int size, const char *charset);

#ifdef __cplusplus
}
#endif

#endif
