// The directory is asked to the letter: a name that only resembles another may be somebody else's.

#include "directory_name.h"

#include "da.h"
#include "dr.h"

bool mim::find_directory_name(std::int16_t directory, const char *orn, char *found) {
    da_list list;
    if (da_ConvORNToAttribList(orn, &list) == 0) {
        return false;
    }
    const da_entry *entry = nullptr;
    int count = 0;
    const int status =
        dr_Search(directory, "", "", &list, 0, 1, DA_X400_ATTRIBUTES, &entry, "", 1, -1, &count);
    if (status != 0 || count != 1) {
        return false;
    }
    da_ParseAttribList(entry, &list);
    return da_ConvAttribListToORN(&list, found) != 0;
}
