// mim to-internet: O/R names to Internet addresses, with the settings that the home gives unless an option
// takes the place of one.

#include <algorithm>
#include <array>
#include <utility>

#include "commands.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "home_files.h"
#include "mim.h"
#include "orn_text.h"
#include "os.h"
#include "rows.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace tool {

namespace {

// The options; nothing where the home's own setting holds.
struct Options {
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

// The settings that the conversion is called with.
struct Settings {
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
    ~Directories() {
        mim_CloseMapDir(mapping, server);
        mim_CloseMapDir(server, 0);
    }
};

void read_mapping(Session &session, const Options &options, Settings &settings, Directories &directories) {
    session.prepare("default directory", [&] { directories.server = dr_OpenDir(0, DR_READ, "", ""); });
    directories.mapping = directories.server;
    if (options.mapping.value_or(true)) {
        session.prepare("name mapping", [&] {
            std::array<char, MIM_DIRECTORY_SIZE> name{};
            settings.mapping_on =
                mim_ChkMappingConfig("UXO_NAME_MAPPING", name.data(), &directories.mapping,
                                     directories.server, settings.attribute.data(), options.mapping ? 1 : 0);
        });
    }
    settings.mapping_on = options.mapping.value_or(settings.mapping_on != 0) ? 1 : 0;
    if (options.directory) {
        mim_CloseMapDir(std::exchange(directories.mapping, 0), directories.server);
        session.prepare("directory " + *options.directory, [&] {
            const std::string password{cust_GetString("UX_NAME_MAPPING_DIR_PASSWD", "", 0, 0)};
            directories.mapping = dr_OpenDir(0, DR_READ, options.directory->c_str(),
                                             password.substr(0, DR_PASSWORD_LENGTH).c_str());
        });
    }
    if (options.attribute) {
        text::copy_text(*options.attribute, settings.attribute.data(), settings.attribute.size());
    }
}

void read_formatting(Session &session, const Options &options, Settings &settings) {
    session.prepare("formatting", [&] {
        if (os_fexists(kConfig) != 0) {
            std::array<char, MIM_RESERVED_SIZE> reserved{};
            mim_SetDelimsAndLimits(&settings.add_delimiter, &settings.t61, &settings.delimiter,
                                   reserved.data(), &settings.style, &settings.mode);
        } else {
            settings.add_delimiter = cust_GetCustomiseInfo("UXO_ADD_DELIMITER", nullptr);
            settings.t61 = cust_GetCustomiseInfo("UXO_INCLUDE_T61_FIELDS", nullptr);
        }
    });
    settings.add_delimiter = options.add_delimiter.value_or(settings.add_delimiter != 0) ? 1 : 0;
    settings.t61 = options.t61.value_or(settings.t61 != 0) ? 1 : 0;
    if (options.delimiter) {
        settings.delimiter = options.delimiter->front();
    }
    settings.style = options.style.value_or(settings.style);
    settings.mode = options.mode.value_or(settings.mode);
}

class ToInternet : public OrnConversion {
  public:
    ToInternet(Session &session, Options options) : options_(std::move(options)) {
        read_mapping(session, options_, settings_, directories_);
        read_formatting(session, options_, settings_);
    }

    void convert_orn(OrName &orn, Answer &answer) override {
        const char *text = orn.text.data();
        const int routable =
            options_.routable ? static_cast<int>(*options_.routable) : mim_RoutableToUnix(text);
        const int code = call(text, routable);
        if (address_.front() != '\0') {
            answer.set(address_.data());
        } else {
            answer.miss("no address");
        }
        if (answer.as_json) {
            answer.details["routable"] = routable != 0;
            answer.details["code"] = code;
        }
    }

  private:
    int call(const char *orn, int routable) {
        const Settings &with = settings_;
        const char *form = options_.address_template.c_str();
        const int fallback = options_.fallback ? 1 : 0;
        return options_.read_address_field
                   ? mim_ConvORNIaToArpaORN(orn, address_.data(), routable, form, with.mapping_on,
                                            directories_.mapping, with.attribute.data(), with.add_delimiter,
                                            with.mode, with.style, with.delimiter, with.t61, fallback,
                                            options_.comments ? 1 : 0)
                   : mim_ConvORNToArpaORN(orn, address_.data(), routable, form, with.mapping_on,
                                          directories_.mapping, with.attribute.data(), with.add_delimiter,
                                          with.mode, with.style, with.delimiter, with.t61, fallback);
    }

    Options options_;
    Settings settings_;
    Directories directories_;
    std::array<char, MIM_TEXT_SIZE> address_{};
};

// The names that the directory services take (da.h).
constexpr text::CharSet kAttributeCharacters = text::kLetters | text::kDigits | text::CharSet{"-._"};

std::string find_attribute_fault(const std::string &name) {
    const bool is_name =
        !name.empty() && name.size() < MIM_ATTRIBUTE_SIZE &&
        std::all_of(name.begin(), name.end(), [](char c) { return kAttributeCharacters.contains(c); });
    return is_name ? "" : "no name of an attribute";
}

std::string find_delimiter_fault(const std::string &delimiter) {
    return delimiter.size() == 1 ? "" : "not one character";
}

}  // namespace

void add_to_internet(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "to-internet", "Turn O/R names into Internet addresses");
    const CLI::Option *address_template =
        add_value(*app, "--template", "T", "Make the address of a name that is not routable from this");
    const CLI::Option *routable =
        add_choice(*app, "--routable", "Whether a name routes to the Internet gateway (auto: ask the home)");
    CLI::Option *no_ia = add_flag(*app, "--no-ia", "Pass over the Internet address recorded in a name");
    CLI::Option *comments = add_flag(*app, "--comments", "Keep display names and comments");
    exclude(comments, no_ia);
    const CLI::Option *no_fallback =
        add_flag(*app, "--no-fallback", "Leave out the last resorts, the rules and the formatted name");
    const CLI::Option *mapping = add_choice(*app, "--mapping", "Whether to look in the directory");
    const CLI::Option *directory = add_value(*app, "--directory", "NAME", "The directory to look in");
    const CLI::Option *attribute = add_value(
        *app, "--attribute", "NAME", "The directory's attribute with the address", find_attribute_fault);
    const CLI::Option *style = add_number(*app, "--style", "N", "The name style");
    const CLI::Option *mode = add_number(*app, "--mode", "N", "The character mode");
    const CLI::Option *delimiter =
        add_value(*app, "--delimiter", "C", "The attribute delimiter", find_delimiter_fault);
    const CLI::Option *add_delimiter =
        add_switch(*app, "add-delimiter", "Whether the delimiter stands at the end of a name");
    const CLI::Option *t61 = add_switch(*app, "t61", "Whether T.61 forms are written");
    const CLI::Option *names = add_items(*app, "NAME");
    commands.push_back({app, [=](Session &session) {
                            require_home({kDomainMap, kOutboundRules});
                            ToInternet conversion{
                                session,
                                {.address_template = value_of(address_template).value_or(""),
                                 .routable = choice_of(routable),
                                 .read_address_field = !is_set(no_ia),
                                 .fallback = !is_set(no_fallback),
                                 .comments = is_set(comments),
                                 .mapping = choice_of(mapping),
                                 .directory = value_of(directory),
                                 .attribute = value_of(attribute),
                                 .add_delimiter = switch_of(add_delimiter),
                                 .t61 = switch_of(t61),
                                 .delimiter = value_of(delimiter),
                                 .style = number_of(style),
                                 .mode = number_of(mode)}};
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
