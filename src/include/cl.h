// cl: the server's mail nodes.
#ifndef CL_H
#define CL_H

#include "ccs.h"
#include "kv_export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    CL_MIME_GATEWAY = 1,  // node types
    CL_TNEF_GATEWAY = 7,
    CL_NODE_SIZE = 1024  // bytes of a mail node's O/R name with its terminator
};

// Writes the O/R name of the default mail node of `node_type` into `orn` (CL_NODE_SIZE bytes), or the empty
// text when there is none. The nodes stand in ~/sys/mailnodes, lines of the form TYPE O/R-NAME, the O/R name
// in the text form of nm.h; `#` begins a comment line, and of two lines of one type the first holds. The file
// is read at the first use in a home; a line that cannot be read, or whose name is too long, is skipped and
// logged.
KV_EXPORT void cl_ReadDefMNode(int node_type, char *orn);

// Turns the name of a mail node, written in the text form of nm.h in the character set of `descriptor`, into
// an O/R name in `orn` (NM_ORN_SIZE bytes). A value that is not 7-bit text becomes the T.61 form of its
// field, in T61INTL. `form` and `check` are 1. Failures, which leave `orn` empty: (100, 910) the text is no
// O/R name, or gives an attribute both as 8-bit text and in its T.61 form; (100, 911) a field that has no
// T.61 form holds 8-bit text; (100, 811) the character set is not known; memory exhausted.
KV_EXPORT void cl_ConvClMntoORN(const char *text, char *orn, int form, int check,
                                const ccs_descriptor *descriptor);

#ifdef __cplusplus
}
#endif

#endif
