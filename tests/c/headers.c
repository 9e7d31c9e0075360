// The public headers as a C program sees them, all in one unit, and a failure that crosses its frames.
#include <stdio.h>

#include "all_public_headers.h"  // made by the build from the headers that there are

enum { SET = 9999, NUMBER = 7 };

static void raise_failure(void *reached) {
    *(int *)reached = 1;
    er_TracedEscape(SET, NUMBER, __FILE__, __LINE__);
}

// Between the raise and the handler stands a frame of C, of a program that knows nothing of C++.
static void call_through_c(void *reached) {
    raise_failure(reached);
    *(int *)reached = 2;
}

static void compare_names(void *equal) { *(int *)equal = mim_StrCaseCmp("Example.ORG", "example.org"); }

static int expect(const char *what, int got, int want) {
    if (got != want) {
        fprintf(stderr, "%s: got %d, want %d\n", what, got, want);
    }
    return got != want;
}

int main(void) {
    int reached = 0;
    int equal = 0;
    er_identity failure;
    int faults = expect("er_Try of a body that raises", er_Try(call_through_c, &reached), 1);
    er_LastFailure(&failure);
    faults += expect("how far the body came", reached, 1);
    faults += expect("set of the failure", failure.set, SET);
    faults += expect("number of the failure", failure.number, NUMBER);
    faults += expect("er_Try of a body that returns", er_Try(compare_names, &equal), 0);
    faults += expect("mim_StrCaseCmp", equal, 1);
    faults +=
        expect("mim_StrCaseCmp of other texts", mim_StrCaseCmp("[\xE4", "{\xC4") + mim_StrCaseCmp("a", "ab"), 0);
    return faults != 0;
}
