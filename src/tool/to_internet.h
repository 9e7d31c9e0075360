// The conversion of O/R names into Internet addresses as the command does it: with the settings that the home
// gives, unless an option takes the place of one.
#ifndef TOOL_TO_INTERNET_H
#define TOOL_TO_INTERNET_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "commands.h"
#include "mim.h"
#include "session.h"

namespace tool {

// The options; nothing where the home's own setting holds.
struct InternetOptions {
    std::string address_template;
    std::optional<bool> routable;
    bool read_address_field = true;
    bool fallback = true;
    bool comments = false;
    std::optional<bool> mapping;
    std::optional<std::string> directory;
    std::optional<std::string> attribute;
    std::optional<bool> add_delimiter;
    std::optional<bool> t61;
    std::optional<std::string> delimiter;
    std::optional<std::int16_t> style;
    std::optional<std::int16_t> mode;
};

// Adds these options to a subcommand, and tells which were given.
[[nodiscard]] std::function<InternetOptions()> add_internet_options(CLI::App &app);

// The settings that the library is called with.
struct InternetSettings {
    int mapping_on = 0;
    std::array<char, MIM_ATTRIBUTE_SIZE> attribute{"167"};
    int add_delimiter = 0;
    int t61 = 0;
    char delimiter = '/';
    std::int16_t style = 1;
    std::int16_t mode = 1;
};

// The directories that are open, 0 for none.
struct Directories {
    std::int16_t server = 0;   // the server's own
    std::int16_t mapping = 0;  // the one to look in, which may be the server's own

    Directories() = default;
    Directories(const Directories &) = delete;
    Directories &operator=(const Directories &) = delete;
    ~Directories();
};

class InternetConversion {
  public:
    // Reads the settings; one that cannot be had is reported, and the names are converted without it.
    InternetConversion(Session &session, InternetOptions options);

    [[nodiscard]] const InternetOptions &options() const { return options_; }
    [[nodiscard]] const InternetSettings &settings() const { return settings_; }
    [[nodiscard]] std::int16_t directory() const { return directories_.mapping; }

    // Whether `orn` is converted as one that routes to the Internet gateway.
    [[nodiscard]] bool is_routable(const char *orn) const;

    // Converts `orn`; returns what the library returns. The address, empty when there is none, stays until
    // the next conversion.
    int convert(const char *orn, bool routable);
    [[nodiscard]] const char *address() const { return address_.data(); }

  private:
    InternetOptions options_;
    InternetSettings settings_;
    Directories directories_;
    std::array<char, MIM_TEXT_SIZE> address_{};
};

}  // namespace tool

#endif
