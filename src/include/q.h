// q: the message queue's names.
#ifndef Q_H
#define Q_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns 0 when two names of mail nodes match: they are equal without regard to case (ASCII) and to blanks
// at their ends. Else non-zero.
KV_EXPORT int Q_NamesMatch(const char *a, const char *b);

#ifdef __cplusplus
}
#endif

#endif
