// What a setting comes to is asked of the library and its services; the files are read here only to tell the
// line in which it stands.

#include "settings.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "cl.h"
#include "config_file.h"
#include "cust.h"
#include "da.h"
#include "explain_form.h"
#include "ext.h"
#include "home_files.h"
#include "home_formats.h"
#include "home_lines.h"
#include "inet.h"
#include "known_settings.h"
#include "mim.h"
#include "numbers.h"
#include "orn_text.h"
#include "os.h"
#include "rows.h"
#include "text/ascii.h"
#include "to_internet.h"

namespace tool {

namespace {

constexpr const char *kBuiltIn = "built in";
constexpr const char *kSystem = "the system";
constexpr const char *kDefaultDirectory = "default";
constexpr const char *kMappingKey = "UXO_NAME_MAPPING";
constexpr const char *kAutoKey = "INET_AUTO_IAM";
constexpr const char *kHostTemplate = "x@$h";
constexpr std::size_t kBeforeHost = 2;
constexpr const char *kUnmappable = "x@#";  // "#" ends the key of a map's line

const char *yes_or_no(bool yes) {
    return yes ? "yes" : "no";
}

// ---- Where a line stands ----

// Calls `visit` with each line that the services take from the file `path`, and with its place.
void for_each_line(const char *path,
                   const std::function<void(std::string_view, const std::string &)> &visit) {
    HomeLines lines{path, kServiceLine + 2};
    std::string place;
    while (lines.next()) {
        const std::string before = std::exchange(place, lines.place());
        const std::string_view line = text::trim(lines.view(), text::kWhiteSpace);
        if (place != before && lines.view().size() <= kServiceLine && !line.empty() && line.front() != '#') {
            visit(line, place);
        }
    }
}

using Places = std::map<std::string, std::string, std::less<>>;

// Of each key the line that counts.
Places read_customise() {
    Places places;
    for_each_line(kCustomise, [&places](std::string_view line, const std::string &place) {
        if (const std::size_t equals = line.find('='); equals != std::string_view::npos) {
            places.insert_or_assign(std::string{text::trim(line.substr(0, equals), text::kWhiteSpace)},
                                    place);
        }
    });
    return places;
}

std::string mail_node_place(int type) {
    OrName wanted{};
    cl_ReadDefMNode(type, wanted.text.data());
    std::string found;
    for_each_line(kMailNodes, [&](std::string_view line, const std::string &place) {
        const std::size_t blank = std::min(line.find_first_of(" \t"), line.size());
        const std::string name{text::trim(line.substr(blank), text::kWhiteSpace)};
        OrName node{};
        std::string fault;
        if (found.empty() && read_number<int>(line.substr(0, blank)) == type &&
            read_orn(name.c_str(), node, fault) && std::string_view{node.text.data()} == wanted.text.data()) {
            found = place;
        }
    });
    return found;
}

// ---- Rows ----

class Settings {
  public:
    explicit Settings(Session &session)
        : session_(session), conversion_(session, InternetOptions{}), places_(read_customise()) {}

    void show() {
        show_machine();
        for (const KnownSetting &setting : kKnownSettings) {
            session_.prepare(setting.key, [&] { show_setting(setting); });
        }
        show_formatting(ConfigFile{}.fields());
        for (const char *file : {kCustomise, kConfig, kMessages, kMailNodes, kRoutes, kInboundRules,
                                 kGatewayMap, kOutboundRules, kDomainMap, kMimeTypes, kMimeCharsets}) {
            show_file(file);
        }
        show_file(directory_file(kDefaultDirectory));
        if (const std::string name = value_of("UX_NAME_MAPPING_DIR");
            !name.empty() && name != kDefaultDirectory) {
            show_file(directory_file(name));
        }
    }

  private:
    void row(std::string_view name, std::string_view value, std::string_view from) {
        Answer answer{session_.json};
        answer.set_part("value", value);
        answer.set_part("from", from);
        append_row(session_, {name, false}, answer);
    }

    // ---- The machine and the home ----

    void show_machine() {
        const char *variable = std::getenv("KV_HOME");
        const bool has_variable = variable != nullptr && *variable != '\0';
        row("home", ext_GetHome(), !session_.home.empty() ? "--home" : has_variable ? "KV_HOME" : kBuiltIn);
        std::array<char, kMaxHost + 1> name{};
        os_gethostname(name.data(), static_cast<int>(name.size()));
        row("system name", name.data(), kSystem);
        session_.prepare("host", [&] { show_host(); });
    }

    // The library writes its host's name into a template.
    void show_host() {
        std::array<char, MIM_TEXT_SIZE> text{};
        mim_ConvORNIaToArpaORN("", text.data(), 0, kHostTemplate, 0, 0, "", 0, 1, 1, '/', 0, 0, 1);
        const std::string &origin = local_host().origin;
        row("host", text.data() + kBeforeHost, is_given(origin) ? origin + ", " + place_of(origin) : origin);
    }

    // ---- ~/sys/customise ----

    [[nodiscard]] static bool is_given(const std::string &key) {
        return cust_GetCustomiseInfo(key.c_str(), nullptr) != 0;
    }
    [[nodiscard]] std::string place_of(const std::string &key) const {
        const auto found = places_.find(key);
        return found != places_.end() ? found->second : kCustomise;
    }
    // The value of `key` as far as it counts, or what holds without it.
    [[nodiscard]] static std::string value_of(const char *key, const char *fallback = "") {
        const std::size_t longest = find_setting(key)->longest;
        return std::string{cust_GetString(key, fallback, 0, 0)}.substr(
            0, longest != 0 ? longest : std::string::npos);
    }

    // Where a value comes from that is the line's when that `counts`.
    [[nodiscard]] std::string origin(const char *key, bool counts) const {
        if (!is_given(key)) {
            return kBuiltIn;
        }
        return counts ? place_of(key) : kBuiltIn + std::string{": "} + place_of(key) + " cannot be used";
    }
    [[nodiscard]] std::string origin(const char *key) const { return origin(key, true); }

    static bool is_truth(const char *key) {
        return cust_PresentAndTrue(key) != 0 || cust_PresentAndFalse(key) != 0;
    }

    void show_setting(const KnownSetting &setting) {
        const char *key = setting.key;
        switch (setting.kind) {
            case SettingKind::kTruth:
                return show_truth(key);
            case SettingKind::kPresence:
                return row(key, yes_or_no(is_given(key)), origin(key));
            case SettingKind::kInitial:
                return show_dda_type(key);
            case SettingKind::kOrName:
                return show_routing(key);
            case SettingKind::kDirectory:
                return row(key, value_of(key, kDefaultDirectory), origin(key));
            case SettingKind::kPassword:
                return row(key, value_of(key).empty() ? "" : "(not shown)", origin(key));
            case SettingKind::kAttribute: {
                const std::string_view used = conversion_.settings().attribute.data();
                return row(key, used, origin(key, used == value_of(key)));
            }
            case SettingKind::kAttributeList:
                return show_mask(key);
            case SettingKind::kTypes:
                return show_types(setting);
            case SettingKind::kCharset:
                return row(key, value_of(key, setting.fallback), origin(key));
            case SettingKind::kHost:
                return;  // the row "host" tells which of them counts
        }
    }

    void show_truth(const char *key) {
        const std::string_view name{key};
        if (name == kMappingKey) {
            const bool is_on = conversion_.settings().mapping_on != 0;
            const bool decides = is_truth(key);
            const bool is_asked = decides ? cust_PresentAndTrue(key) != 0 : inet_AutoIamOn() != 0;
            const std::string from =
                decides ? origin(key) : kAutoKey + std::string{", "} + origin(kAutoKey, is_truth(kAutoKey));
            return row(key, yes_or_no(is_on),
                       is_on == is_asked ? from : from + ", but the directory cannot be asked");
        }
        const bool is_on = name == kAutoKey                     ? inet_AutoIamOn() != 0
                           : name == "INET_DISPLAY_IA_COMMENTS" ? cust_PresentAndFalse(key) == 0
                                                                : cust_PresentAndTrue(key) != 0;
        row(key, yes_or_no(is_on), origin(key, is_truth(key)));
    }

    void show_dda_type(const char *key) {
        mim_ArpaToORN2(kUnmappable, orn_.text.data(), &orn_.index, 0);
        row(key, yes_or_no(field_text(orn_, NM_DDA1_TYPE) == "ZTMEXT1"), origin(key));
    }

    // The routing of `orn_`, which loses the rest.
    [[nodiscard]] std::string routing() {
        for (const int field : {+NM_SURNAME, +NM_DDA1_TYPE, +NM_DDA1_VALUE}) {
            nm_PutFieldStr(orn_.text.data(), &orn_.index, field, "");
        }
        nm_FormatText(orn_.text.data(), orn_.form.data(), NM_TEXT_SIZE);
        return orn_.form.data();
    }

    // What an address that the domain map cannot cover gets, beside what the mail node alone gives.
    void show_routing(const char *key) {
        const bool is_tnef = std::string_view{key}.find("TNEF") != std::string_view::npos;
        mim_ArpaToORN2(kUnmappable, orn_.text.data(), &orn_.index, is_tnef ? MIM_FLAG_TNEF : 0);
        const std::string used = routing();
        row(key, used,
            is_given(key) && is_override(key, is_tnef, used) ? place_of(key) : node_origin(key, is_tnef));
    }

    [[nodiscard]] bool is_override(const char *key, bool is_tnef, const std::string &used) {
        const Session::Silence silence{session_};
        nm_InitORN(orn_.text.data(), &orn_.index);
        mim_SetOrgUAddress(orn_.text.data(), &orn_.index, is_tnef ? CL_TNEF_GATEWAY : CL_MIME_GATEWAY);
        if (routing() != used) {
            return true;
        }
        std::string fault;
        return read_orn(value_of(key).c_str(), orn_, fault) && routing() == used;
    }

    [[nodiscard]] std::string node_origin(const char *key, bool is_tnef) const {
        std::string place = is_tnef ? mail_node_place(CL_TNEF_GATEWAY) : "";
        if (place.empty()) {
            place = mail_node_place(CL_MIME_GATEWAY);
        }
        const std::string found = place.empty() ? kBuiltIn : place;
        return is_given(key) ? found + ": " + place_of(key) + " cannot be used" : found;
    }

    void show_mask(const char *key) {
        const std::string mask = value_of(key);
        const auto list = std::make_unique<da_list>();
        const bool is_list = da_ParseEntry2(mask.c_str(), list.get(), 0, 0, 0, 0) != 0;
        row(key, is_list ? mask : "", origin(key, is_list));
    }

    // ---- Types ----

    [[nodiscard]] bool is_accepted(const std::string &type) {
        std::array<char, MIM_TEXT_SIZE> address{};
        nm_InitORN(orn_.text.data(), &orn_.index);
        nm_PutFieldStr(orn_.text.data(), &orn_.index, NM_DDA1_TYPE, type.c_str());
        nm_PutFieldStr(orn_.text.data(), &orn_.index, NM_DDA1_VALUE, "x");
        return mim_GetDDA(orn_.text.data(), address.data()) != 0;
    }

    // Of the types in the list those that the library accepts.
    void show_types(const KnownSetting &setting) {
        const std::string list = value_of(setting.key, setting.fallback);
        if (is_accepted("?")) {
            return row(setting.key, "any type", origin(setting.key));
        }
        std::string accepted;
        const char *comma = "";
        for (std::size_t begin = 0; begin < list.size();) {
            const std::size_t end = std::min(list.find(',', begin), list.size());
            const std::size_t first = std::min(list.find_first_not_of(' ', begin), end);
            if (const std::string type = list.substr(first, end - first); is_accepted(type)) {
                accepted += comma + type;
                comma = ",";
            }
            begin = end + 1;
        }
        row(setting.key, accepted, origin(setting.key));
    }

    // ---- ~/sys/config ----

    template <typename Value>
    void show_field(const char *name, const std::string &value, Value used, const std::optional<Value> &field,
                    int offset) {
        const std::string place = std::string{kConfig} + ", byte " + std::to_string(offset);
        row(name, value,
            !field           ? kBuiltIn
            : *field == used ? place
                             : kBuiltIn + std::string{": "} + place + " cannot be used");
    }

    void show_formatting(const ConfigFields &fields) {
        const InternetSettings &used = conversion_.settings();
        const ReservedField none{};
        const ReservedField reserved = fields.reserved.value_or(none);
        show_field("reserved", fields.reserved ? format_reserved(reserved) : "", reserved, fields.reserved,
                   MIM_CONFIG_RESERVED);
        show_field("delimiter", std::string(1, used.delimiter), std::int16_t{used.delimiter},
                   fields.delimiter, MIM_CONFIG_DELIMITER);
        show_field("style", std::to_string(used.style), used.style, fields.style, MIM_CONFIG_STYLE);
        show_field("mode", std::to_string(used.mode), used.mode, fields.mode, MIM_CONFIG_MODE);
    }

    // ---- Files ----

    void show_file(const std::string &path) {
        std::array<char, EXT_PATH_SIZE> name{};
        ext_GetActualFName(path.c_str(), name.data());
        struct stat status {};
        const bool is_there = stat(name.data(), &status) == 0;
        row(path, is_there ? counted(static_cast<std::size_t>(status.st_size), "byte") : "missing",
            name.data());
    }
    [[nodiscard]] static std::string directory_file(const std::string &name) {
        return "~/sys/directory/" + name + ".ldif";
    }

    Session &session_;
    InternetConversion conversion_;
    Places places_;
    OrName orn_{};
};

}  // namespace

void show_settings(Session &session) {
    Settings{session}.show();
}

}  // namespace tool
