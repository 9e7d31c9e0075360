// O/R names as text that can stand in the local part of an Internet address.
#ifndef MIM_ORN_FORMAT_H
#define MIM_ORN_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace mim {

// How names are formatted: process-wide, kept until the next setter.
struct FormatSettings {
    std::int16_t mode = 1;   // the character mode
    std::int16_t style = 1;  // the name style
    char delimiter = '/';    // stands before each attribute
    bool add_delimiter = false;
};
[[nodiscard]] FormatSettings &format_settings();

// Does what mim_FormatORN does, for a text of `limit` characters, of which `out` holds one more.
void format_orn(const char *orn, bool personal, bool t61, char *out, std::size_t limit);

}  // namespace mim

#endif
