// inet: what the server knows of Internet mail.
#ifndef INET_H
#define INET_H

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Returns non-zero when users have Internet addresses in the directory as a matter of course (automatic
// Internet addressing): the customisation key INET_AUTO_IAM is defined with a true value. Else 0.
KV_EXPORT int inet_AutoIamOn(void);

#ifdef __cplusplus
}
#endif

#endif
