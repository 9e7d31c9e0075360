// The server's fixed-layout file ~/sys/config: the four fields that the library reads. All else in it belongs
// to other parts of the server, and stays.
#ifndef TOOL_CONFIG_FILE_H
#define TOOL_CONFIG_FILE_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "mim.h"

namespace tool {

using ReservedField = std::array<char, MIM_RESERVED_SIZE>;

// The field in hexadecimal digits.
[[nodiscard]] std::string format_reserved(const ReservedField &bytes);

// In the host's byte order; a field has no value where the file ends before it.
struct ConfigFields {
    std::optional<ReservedField> reserved;
    std::optional<std::int16_t> delimiter;
    std::optional<std::int16_t> style;
    std::optional<std::int16_t> mode;
};

class ConfigFile {
  public:
    // Reads the file, which may be missing. Throws ToolError when it cannot be read.
    ConfigFile();

    [[nodiscard]] bool exists() const { return exists_; }
    [[nodiscard]] ConfigFields fields() const;

    // Sets the fields that have a value. A file that is missing or ends before them is filled up with zeros.
    void set(const ConfigFields &fields);

    // Puts the file in the place of the old one, whose mode and owner it keeps, in one step. Throws ToolError
    // when it cannot; the old one is then still there.
    void write();

  private:
    std::string path_;
    bool exists_ = false;
    std::string bytes_;
};

}  // namespace tool

#endif
