// Reads O/R names from the line files of the home.

#include "orn_file.h"

#include <string>

const char *kv::read_orn_line(std::string_view rest, char *orn, nm_index &index) {
    if (rest.empty()) {
        return "it has no O/R name";
    }
    nm_text_error error{};
    return nm_ParseText(std::string{rest}.c_str(), orn, &index, &error) != 0 ? nullptr : error.reason;
}
