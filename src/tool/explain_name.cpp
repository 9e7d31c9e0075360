// From an O/R name to an Internet address: the sources in the order in which mim_ConvORNIaToArpaORN asks
// them.

#include <algorithm>
#include <array>

#include "akt.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "explain.h"
#include "explain_map.h"
#include "explain_rules.h"
#include "home_files.h"
#include "mdc.h"
#include "mes.h"
#include "mim.h"
#include "os.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr const char *kCommentsKey = "INET_DISPLAY_IA_COMMENTS";
constexpr std::array kHostKeys{"HOSTNAME", "UXO_FQDN", "UAL_POP3_HOSTNAME"};
constexpr std::size_t kHostSize = 64;
constexpr std::string_view kGroupMark = ":;";
constexpr int kNameAmbiguous = 1142;

constexpr std::int16_t kPositional = 1;
constexpr std::int16_t kAttributes = 2;
constexpr std::int16_t kPersonal = 3;
constexpr std::int16_t kAttributesOrPersonal = 4;

using Text = std::array<char, MIM_TEXT_SIZE>;

struct Host {
    std::string name;
    std::string origin;
};

Host local_host() {
    for (const char *key : kHostKeys) {
        if (const char *value = cust_GetString(key, nullptr, 0, 0); value != nullptr) {
            return {std::string{value}.substr(0, kHostSize - 1), key};
        }
    }
    std::array<char, kHostSize> name{};
    std::array<char, kHostSize> official{};
    os_gethostname(name.data(), static_cast<int>(name.size()));
    const bool is_known = mdc_gethostbyname(name.data(), official.data(), official.size()) != 0;
    return {is_known && official.front() != '\0' ? official.data() : name.data(), "the system"};
}

bool fits(std::string_view address) {
    return address.size() <= MIM_MAX_TEXT;
}

class NameTrace {
  public:
    NameTrace(const OrName &orn, bool routable, const InternetConversion &conversion, const Session &session,
              Explanation &explanation)
        : orn_(orn),
          name_(orn),
          is_routable_(routable),
          options_(conversion.options()),
          settings_(conversion.settings()),
          directory_(conversion.directory()),
          session_(session),
          explanation_(explanation) {}

    std::string run() {
        show_routing();
        const std::string found = ask_sources();
        return finish(found);
    }

  private:
    // The first source that answers decides.
    std::string ask_sources() {
        if (std::string found = ask_record(); !found.empty()) {
            return found;
        }
        if (std::string found = ask_template(); !found.empty()) {
            return found;
        }
        if (std::string found = is_routable_ ? ask_attributes() : ask_directory(); !found.empty()) {
            return found;
        }
        if (std::optional<std::string> found = ask_map()) {
            return *found;
        }
        if (!options_.fallback) {
            explanation_.add("last resorts", "left out, as was asked for");
            return {};
        }
        if (is_routable_) {
            const std::string surname{field_text(name_, NM_SURNAME)};
            const std::string rewritten = explain_rules(kOutboundRules, surname, explanation_);
            if (!rewritten.empty() && fits(rewritten)) {
                return rewritten;
            }
        }
        return format_whole(name_, false);
    }

    // ---- Routing ----

    void show_routing() {
        akt_route route{};
        const bool routes = akt_CheckRoutable(orn_.text.data(), &route) != 0;
        std::string text = routes ? std::string{"to the node "} + route.node : "nowhere";
        if (options_.routable) {
            text = "as was asked for";
        } else if (!routes && is_routable_) {
            text += ", and its first domain-defined attribute may hold an address";
        }
        text += is_routable_ ? ": a name of the Internet gateway" : ": no name of the Internet gateway";
        explanation_.add("routes", text).facts = {{"routable", is_routable_}};
    }

    // ---- What somebody gave ----

    Step &answer(const char *source, std::string_view address, const std::string &otherwise) {
        Step &step = explanation_.add(source, address.empty() ? otherwise : in_quotes(address));
        step.facts = {{"answer", address.empty() ? Json(nullptr) : Json(address)}};
        return step;
    }

    std::string ask_record() {
        if (!options_.read_address_field) {
            answer("recorded", "", "passed over, as was asked for");
            return {};
        }
        const bool keep_text = options_.comments && cust_PresentAndFalse(kCommentsKey) == 0;
        Text address{};
        int from_system_name = 0;
        mim_GetIA(orn_.text.data(), address.data(), keep_text ? 1 : 0, &from_system_name);
        Step &step = answer("recorded", address.data(),
                            field_text(orn_, NM_INTERNET_ADDRESS).empty()
                                ? "no address (IA), and no common name of the mail system"
                                : "what is recorded (IA) holds no address");
        is_system_name_ = from_system_name != 0;
        if (is_system_name_) {
            step.text += ", the common name of the mail system";
        }
        return address.data();
    }

    std::string ask_template() {
        const std::string &form = options_.address_template;
        if (form.empty()) {
            return {};
        }
        if (is_routable_) {
            answer("template", "", "not for names of the Internet gateway");
            return {};
        }
        std::string address = expand(form, format_whole(orn_, false), local_host().name);
        if (!fits(address)) {
            address.clear();
        }
        answer("template", address, in_quotes(form) + " gives no address");
        return address;
    }

    static std::string expand(const std::string &form, const std::string &name, const std::string &host) {
        std::string out;
        bool is_marked = false;
        for (const char c : form) {
            if (c == '$') {
                is_marked = true;
            } else {
                out += !is_marked ? std::string(1, c)
                       : c == 'h' ? host
                       : c == 'u' ? name
                                  : std::string{'$', c};
                is_marked = false;
            }
        }
        return out;
    }

    // The domain-defined attribute of the name, that of its entry, and the entry's address. One that is not
    // 7-bit text counts only when nothing after it is found.
    std::string ask_attributes() {
        Text address{};
        const bool is_found = mim_GetDDA(orn_.text.data(), address.data()) != 0;
        Step &step = answer("attribute", address.data(), "no domain-defined attribute of an accepted type");
        if (is_found) {
            return address.data();
        }
        if (address.front() != '\0') {
            step.notes.emplace_back("no 7-bit text: it counts when the directory has none");
        }
        if (ask_entry_attributes(address)) {
            return address.data();
        }
        const std::string found = ask_directory();
        return found.empty() ? address.data() : found;
    }

    bool ask_entry_attributes(Text &address) {
        OrName entry{};
        bool is_found = false;
        const int failed = protect([&] {
            is_found = directory_ != 0 && find_entry(entry.text.data()) &&
                       mim_GetDDA(entry.text.data(), address.data()) != 0;
        });
        if (failed != 0) {
            static_cast<void>(take_failure());
            address.front() = '\0';
        }
        const std::string found = is_found ? address.data() : "";
        answer("entry's attribute", found,
               directory_ == 0 ? "no directory is open" : "no entry with such an attribute");
        return is_found;
    }

    bool find_entry(char *found) {
        da_list list;
        if (da_ConvORNToAttribList(orn_.text.data(), &list) == 0) {
            return false;
        }
        const da_entry *entry = nullptr;
        int count = 0;
        const int status =
            dr_Search(directory_, "", "", &list, 0, 1, DA_X400_ATTRIBUTES, &entry, "", 1, -1, &count);
        if (status != 0 || count != 1) {
            return false;
        }
        da_ParseAttribList(entry, &list);
        return da_ConvAttribListToORN(&list, found) != 0;
    }

    std::string ask_directory() {
        const char *attribute = settings_.attribute.data();
        Text address{};
        const bool is_found = mim_GetDirArpaORN(orn_.text.data(), address.data(), settings_.mapping_on,
                                                directory_, attribute) != 0;
        std::string otherwise = std::string{"no entry of this name has the attribute "} + attribute;
        if (settings_.mapping_on == 0) {
            otherwise = "not asked: name mapping is off";
        } else if (directory_ == 0) {
            otherwise = "not asked: none is open";
        } else if (session_.was_logged(MES_SET_GATEWAY, kNameAmbiguous)) {
            otherwise = "several entries fit the name";
        }
        Step &step = answer("directory", is_found ? address.data() : "", otherwise);
        if (is_found) {
            step.text += std::string{", the attribute "} + attribute;
        }
        return is_found ? address.data() : "";
    }

    // ---- What is made from the name ----

    // Nothing when the next source is to be asked.
    std::optional<std::string> ask_map() {
        const std::optional<std::string> domain = explain_x400_map(name_, explanation_);
        if (!domain) {
            return std::nullopt;
        }
        if (!is_routable_ && !options_.fallback) {
            explanation_.add("last resorts", "left out, as was asked for");
            return std::string{};
        }
        const std::string local_part = is_routable_ ? format_personal(name_) : format_whole(name_, true);
        const std::string mark = is_routable_ && domain->empty() ? "" : "@";
        const std::string address = local_part + mark + *domain;
        if (!fits(address)) {
            explanation_.add("map", "not used: the address would be too long");
            name_ = orn_;
            return std::nullopt;
        }
        return address.empty() ? std::nullopt : std::optional{address};
    }

    void show_local_part(const std::string &text, const char *form) {
        Step &step = explanation_.add("local part", in_quotes(text) + ", " + form);
        const std::string delimiter(1, settings_.delimiter);
        step.notes.push_back("style " + std::to_string(settings_.style) + ", mode " +
                             std::to_string(settings_.mode) + ", delimiter " + delimiter +
                             (settings_.add_delimiter != 0 ? ", added at the end" : "") +
                             (settings_.t61 != 0 ? ", with T.61 forms" : "") +
                             (text.starts_with('"') ? ", quoted" : ", not quoted"));
        step.facts = {{"local_part", text},
                      {"style", settings_.style},
                      {"mode", settings_.mode},
                      {"delimiter", delimiter}};
    }

    std::string format_personal(OrName &name) {
        Text text{};
        mim_DoFormatPersonalName(name.text.data(), &name.index, text.data(), settings_.style, settings_.mode,
                                 settings_.t61);
        show_local_part(text.data(), settings_.style == kPositional ? "the personal name, surname first"
                                                                    : "the personal name");
        return text.data();
    }

    std::string format_whole(const OrName &name, bool personal) {
        Text text{};
        mim_DoFormatORN(name.text.data(), text.data(), personal ? 1 : 0, settings_.style, settings_.mode,
                        settings_.t61);
        const std::int16_t style = settings_.style;
        const bool is_numeric =
            name.index.kind == NM_KIND_NUMERIC && (style == kPersonal || style == kAttributesOrPersonal);
        const bool as_attributes =
            style == kAttributes || is_numeric || (style == kAttributesOrPersonal && !personal);
        show_local_part(text.data(), as_attributes          ? "the name as attributes"
                                     : style == kPositional ? "the name by position"
                                                            : "the personal name and what else there is");
        return text.data();
    }

    // ---- The end ----

    std::string finish(const std::string &found) {
        std::string address = found;
        std::erase_if(address, [](char c) { return c == '\r' || c == '\n'; });
        if (!address.empty() && !options_.comments) {
            std::array<char, MIM_ADDRESS_SIZE> bare{};
            mim_parse_address(address.c_str(), nullptr, bare.data(), nullptr, nullptr, nullptr);
            address = bare.data();
        }
        if (address != found) {
            explanation_.add("bare address", in_quotes(address));
        }
        return address.empty() || is_system_name_ ? address : complete(address);
    }

    std::string complete(const std::string &address) {
        std::array<char, MIM_ADDRESS_SIZE> phrase{};
        std::array<char, MIM_ADDRESS_SIZE> local_part{};
        std::array<char, MIM_ADDRESS_SIZE> domain{};
        mim_parse_address(address.c_str(), phrase.data(), nullptr, nullptr, local_part.data(), domain.data());
        const std::string local = local_part.data();
        if (domain.front() != '\0') {
            return address;
        }
        if (local.find(kGroupMark) != std::string::npos) {
            explanation_.add("host", "none: the address is a group");
            return address;
        }
        const Host host = local_host();
        Step &step = explanation_.add(
            "host", in_quotes(host.name) + " from " + host.origin + ", for there is no domain");
        step.facts = {{"host", host.name}, {"origin", host.origin}};
        const std::string completed = phrase.front() != '\0'
                                          ? std::string{phrase.data()} + " <" + local + "@" + host.name + ">"
                                          : local + "@" + host.name;
        if (fits(completed)) {
            return completed;
        }
        step.notes.emplace_back("left out: the address would be too long");
        return address;
    }

    const OrName &orn_;
    OrName name_;  // what is left of it
    bool is_routable_;
    const InternetOptions &options_;
    const InternetSettings &settings_;
    std::int16_t directory_;
    const Session &session_;
    Explanation &explanation_;
    bool is_system_name_ = false;
};

}  // namespace

std::string explain_name(const OrName &orn, bool routable, const InternetConversion &conversion,
                         const Session &session, Explanation &explanation) {
    return NameTrace{orn, routable, conversion, session, explanation}.run();
}

}  // namespace tool
