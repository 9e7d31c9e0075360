// mim to-internet: O/R names to Internet addresses.

#include "to_internet.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "cust.h"
#include "da.h"
#include "dr.h"
#include "home_files.h"
#include "orn_text.h"
#include "os.h"
#include "rows.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace tool {

namespace {

void read_mapping(Session &session, const InternetOptions &options, InternetSettings &settings,
                  Directories &directories) {
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

void read_formatting(Session &session, const InternetOptions &options, InternetSettings &settings) {
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
    ToInternet(Session &session, InternetOptions options) : conversion_(session, std::move(options)) {}

    void convert_orn(OrName &orn, Answer &answer) override {
        const char *text = orn.text.data();
        const bool routable = conversion_.is_routable(text);
        const int code = conversion_.convert(text, routable);
        if (*conversion_.address() != '\0') {
            answer.set(conversion_.address());
        } else {
            answer.miss("no address");
        }
        if (answer.as_json) {
            answer.details["routable"] = routable;
            answer.details["code"] = code;
        }
    }

  private:
    InternetConversion conversion_;
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

Directories::~Directories() {
    mim_CloseMapDir(mapping, server);
    mim_CloseMapDir(server, 0);
}

InternetConversion::InternetConversion(Session &session, InternetOptions options)
    : options_(std::move(options)) {
    read_mapping(session, options_, settings_, directories_);
    read_formatting(session, options_, settings_);
}

bool InternetConversion::is_routable(const char *orn) const {
    return options_.routable ? *options_.routable : mim_RoutableToUnix(orn) != 0;
}

int InternetConversion::convert(const char *orn, bool routable) {
    const InternetSettings &with = settings_;
    const char *form = options_.address_template.c_str();
    const int to_gateway = routable ? 1 : 0;
    const int fallback = options_.fallback ? 1 : 0;
    return options_.read_address_field
               ? mim_ConvORNIaToArpaORN(orn, address_.data(), to_gateway, form, with.mapping_on,
                                        directories_.mapping, with.attribute.data(), with.add_delimiter,
                                        with.mode, with.style, with.delimiter, with.t61, fallback,
                                        options_.comments ? 1 : 0)
               : mim_ConvORNToArpaORN(orn, address_.data(), to_gateway, form, with.mapping_on,
                                      directories_.mapping, with.attribute.data(), with.add_delimiter,
                                      with.mode, with.style, with.delimiter, with.t61, fallback);
}

std::function<InternetOptions()> add_internet_options(CLI::App &app) {
    const CLI::Option *address_template =
        add_value(app, "--template", "T", "Make the address of a name that is not routable from this");
    const CLI::Option *routable =
        add_choice(app, "--routable", "Whether a name routes to the Internet gateway (auto: ask the home)");
    CLI::Option *no_ia = add_flag(app, "--no-ia", "Pass over the Internet address recorded in a name");
    CLI::Option *comments = add_flag(app, "--comments", "Keep display names and comments");
    exclude(comments, no_ia);
    const CLI::Option *no_fallback =
        add_flag(app, "--no-fallback", "Leave out the last resorts, the rules and the formatted name");
    const CLI::Option *mapping = add_choice(app, "--mapping", "Whether to look in the directory");
    const CLI::Option *directory = add_value(app, "--directory", "NAME", "The directory to look in");
    const CLI::Option *attribute = add_value(
        app, "--attribute", "NAME", "The directory's attribute with the address", find_attribute_fault);
    const CLI::Option *style = add_number(app, "--style", "N", "The name style");
    const CLI::Option *mode = add_number(app, "--mode", "N", "The character mode");
    const CLI::Option *delimiter =
        add_value(app, "--delimiter", "C", "The attribute delimiter", find_delimiter_fault);
    const CLI::Option *add_delimiter =
        add_switch(app, "add-delimiter", "Whether the delimiter stands at the end of a name");
    const CLI::Option *t61 = add_switch(app, "t61", "Whether T.61 forms are written");
    return [=] {
        return InternetOptions{.address_template = value_of(address_template).value_or(""),
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
                               .mode = number_of(mode)};
    };
}

void add_to_internet(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "to-internet", "Turn O/R names into Internet addresses");
    const std::function<InternetOptions()> options = add_internet_options(*app);
    const CLI::Option *names = add_items(*app, "NAME");
    commands.push_back({app, [=](Session &session) {
                            require_home({kDomainMap, kOutboundRules});
                            ToInternet conversion{session, options()};
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
