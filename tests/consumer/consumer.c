// A program outside the project: converts one address and checks the field that keeps it as received.
#include <stdio.h>
#include <string.h>

#include "mim.h"

int main(void) {
    const char *address = "Jane Doe <jdoe@example.org>";
    char orn[NM_ORN_SIZE];
    char received[NM_ORN_SIZE];
    nm_index index;

    mim_ArpaToORN2(address, orn, &index, 0);
    nm_GetFieldStr(orn, &index, NM_DDA1_VALUE, received, (int)sizeof received);
    printf("%s\n", received);
    return strcmp(received, address) == 0 ? 0 : 1;
}
