// mim config: the settings as they take effect. config file: the four fields of ~/sys/config, shown and
// written.

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "commands.h"
#include "config_file.h"
#include "home_files.h"
#include "known_settings.h"
#include "mim.h"
#include "numbers.h"
#include "rows.h"
#include "settings.h"
#include "text/ascii.h"

namespace tool {

namespace {

constexpr std::size_t kHexDigitsOfByte = 2;
constexpr std::size_t kReservedDigits = kHexDigitsOfByte * MIM_RESERVED_SIZE;
constexpr int kHexBase = 16;

// The bytes that 8 hex digits stand for, or nothing.
std::optional<ReservedField> read_reserved(std::string_view digits) {
    if (digits.size() != kReservedDigits) {
        return std::nullopt;
    }
    ReservedField bytes{};
    for (char &byte : bytes) {
        const auto code = read_number<std::uint8_t>(digits.substr(0, kHexDigitsOfByte), kHexBase);
        if (!code) {
            return std::nullopt;
        }
        byte = static_cast<char>(*code);
        digits.remove_prefix(kHexDigitsOfByte);
    }
    return bytes;
}

// A character where the code is that of a visible one.
std::string format_delimiter(std::int16_t code) {
    const bool is_visible = code > ' ' && code < '\x7F';
    return is_visible ? std::string(1, static_cast<char>(code)) : "code " + std::to_string(code);
}

// A field's value as a row shows it.
std::optional<std::string> shown(const std::optional<ReservedField> &reserved) {
    return reserved ? std::optional{format_reserved(*reserved)} : std::nullopt;
}
std::optional<std::string> shown(std::optional<std::int16_t> number) {
    return number ? std::optional{std::to_string(*number)} : std::nullopt;
}

// Writes the row of a field. `taken` is what the library takes the value for, where that is known.
void write_row(Session &session, const char *name, const std::optional<std::string> &value,
               const std::optional<std::string> &taken, bool has_file) {
    Answer answer{session.json};
    if (!value) {
        session.note(Exit::kNoResult);
        answer.miss(has_file ? "the file ends before it" : "no such file");
    } else if (!session.json && taken && *taken != *value) {
        answer.set(*value + " (taken as " + *taken + ")");
    } else {
        answer.set(*value);
    }
    if (session.json && taken) {
        answer.details["taken_as"] = *taken;
    }
    append_row(session, {name, false}, answer);
}

// What the library takes the fields for, nothing where it does not say.
struct Taken {
    std::optional<std::string> delimiter;
    std::optional<std::string> style;
    std::optional<std::string> mode;
};

// The library reads the file itself: its rules are asked of it, not repeated here.
Taken ask_library(Session &session) {
    Taken taken;
    session.prepare("config", [&] {
        int add_delimiter = 0;
        int t61 = 0;
        char delimiter = '\0';
        ReservedField reserved{};
        std::int16_t style = 0;
        std::int16_t mode = 0;
        mim_SetDelimsAndLimits(&add_delimiter, &t61, &delimiter, reserved.data(), &style, &mode);
        taken = {std::string(1, delimiter), shown(style), shown(mode)};
    });
    return taken;
}

void show_fields(Session &session, const ConfigFile &file) {
    const ConfigFields fields = file.fields();
    // Of a file that ends early the library says that it is too short, as the rows do.
    const Taken taken = fields.mode ? ask_library(session) : Taken{};
    const bool has_file = file.exists();
    write_row(session, "reserved", shown(fields.reserved), std::nullopt, has_file);
    write_row(session, "delimiter",
              fields.delimiter ? std::optional{format_delimiter(*fields.delimiter)} : std::nullopt,
              taken.delimiter, has_file);
    write_row(session, "style", shown(fields.style), taken.style, has_file);
    write_row(session, "mode", shown(fields.mode), taken.mode, has_file);
}

std::string find_delimiter_fault(const std::string &delimiter) {
    return delimiter == ";" || delimiter == "/" ? "" : "neither ; nor /";
}

std::string find_reserved_fault(const std::string &digits) {
    return read_reserved(digits) ? "" : "not 8 hexadecimal digits";
}

}  // namespace

void add_config(CLI::App &parent, std::vector<Command> &commands) {
    constexpr std::int16_t kLeastSetting = 1;  // the library takes one below for this one
    CLI::App *config =
        add_command(parent, "config", "Show the settings as they take effect, and where each comes from");
    commands.push_back({config, [](Session &session) {
                            require_home({kCustomise, kConfig});
                            show_settings(session);
                        }});
    CLI::App *app = add_command(*config, "file", "Show the four fields of sys/config, or write some of them");
    const CLI::Option *delimiter =
        add_value(*app, "--delimiter", "C", "Write the attribute delimiter, ; or /", find_delimiter_fault);
    const CLI::Option *style = add_number(*app, "--style", "N", "Write the name style", kLeastSetting);
    const CLI::Option *mode = add_number(*app, "--mode", "N", "Write the character mode", kLeastSetting);
    const CLI::Option *reserved = add_value(*app, "--reserved", "HEX8",
                                            "Write the field that is handed on unread", find_reserved_fault);
    commands.push_back({app, [=](Session &session) {
                            require_home({});
                            ConfigFields given{.reserved = std::nullopt,
                                               .delimiter = std::nullopt,
                                               .style = number_of(style),
                                               .mode = number_of(mode)};
                            if (const std::optional<std::string> character = value_of(delimiter)) {
                                given.delimiter = character->front();
                            }
                            if (const std::optional<std::string> digits = value_of(reserved)) {
                                given.reserved = read_reserved(*digits);
                            }
                            ConfigFile file;
                            if (given.reserved || given.delimiter || given.style || given.mode) {
                                file.set(given);
                                file.write();
                            }
                            show_fields(session, file);
                        }});
}

}  // namespace tool
