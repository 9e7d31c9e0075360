// akt: checks of O/R names, and where they route to.
#ifndef AKT_H
#define AKT_H

#include <stdint.h>

#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    AKT_NODE_SIZE = 65  // bytes of a mail node's name with its terminator
};

// Where an O/R name routes to.
typedef struct akt_route {
    char node[AKT_NODE_SIZE];
} akt_route;

// Returns non-zero when the O/R name is well formed: it is not empty, nm_ParseORN understands all of it, it
// holds known fields only, and every field but the T.61 forms and the Internet address is 7-bit text. Else 0.
KV_EXPORT int akt_CheckORName(const char *orn);

// Returns non-zero when the fields in `maps` (NM_MAP_WORDS words, see nm_GetFieldMaps) make an O/R address of
// one of the forms of X.402, 18.5: mnemonic (country, ADMD, and one of PRMD, organisation, unit, personal
// name, common name, DDA), numeric (country, ADMD, numeric user identifier), postal (country, ADMD, postal
// country and code) or terminal (network address). A T.61 form counts as its field. Else 0.
KV_EXPORT int akt_CheckFieldsPresent(const uint32_t *maps);

// Looks up in ~/sys/routes the mail node that an O/R name routes to. Lines have the form NODE O/R-NAME, the
// O/R name in the text form of nm.h; `#` begins a comment line. The first line holds whose routing fields (4
// to 11 and their T.61 forms) all equal those of `orn`, without regard to case; fields that the line does not
// list may be anything. Returns non-zero with the node's name in `*result`, or 0 with an empty name. The file
// is read at the first use in a home; a line that cannot be read is skipped and logged, and a missing file
// routes nothing.
KV_EXPORT int akt_CheckRoutable(const char *orn, akt_route *result);

#ifdef __cplusplus
}
#endif

#endif
