// From an O/R name to an Internet address: the sources in the order in which mim_ConvORNIaToArpaORN asks
// them.

#include <array>
#include <nlohmann/json.hpp>

#include "akt.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "explain.h"
#include "explain_form.h"
#include "explain_map.h"
#include "explain_rules.h"
#include "home_files.h"
#include "mes.h"
#include "mim.h"

namespace tool {

namespace {

constexpr const char *kCommentsKey = "INET_DISPLAY_IA_COMMENTS";
constexpr int kNameAmbiguous = 1142;

using Text = std::array<char, MIM_TEXT_SIZE>;

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
        return explain_finish(found, options_.comments, !is_system_name_, explanation_);
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
            std::string rewritten = explain_rules(kOutboundRules, surname, explanation_);
            if (!rewritten.empty() && fits(rewritten)) {
                return rewritten;
            }
        }
        return explain_whole_name(name_, false, settings_, explanation_);
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
        *explanation_.add("routes", text).facts = {{"routable", is_routable_}};
    }

    // ---- What somebody gave ----

    Step &answer(const char *source, std::string_view address, const std::string &otherwise) {
        Step &step = explanation_.add(source, address.empty() ? otherwise : in_quotes(address));
        *step.facts = {{"answer", address.empty() ? Json(nullptr) : Json(address)}};
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
        std::string address =
            expand(form, explain_whole_name(orn_, false, settings_, explanation_), local_host().name);
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
        const std::string local_part = is_routable_
                                           ? explain_personal_name(name_, settings_, explanation_)
                                           : explain_whole_name(name_, true, settings_, explanation_);
        const std::string mark = is_routable_ && domain->empty() ? "" : "@";
        const std::string address = local_part + mark + *domain;
        if (!fits(address)) {
            explanation_.add("map", "not used: the address would be too long");
            name_ = orn_;
            return std::nullopt;
        }
        return address.empty() ? std::nullopt : std::optional{address};
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
