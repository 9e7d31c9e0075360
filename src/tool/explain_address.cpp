// From an Internet address to an O/R name: the steps of mim_ArpaToORN2, in its order.

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "cl.h"
#include "cust.h"
#include "explain.h"
#include "explain_map.h"
#include "explain_rules.h"
#include "home_files.h"
#include "home_formats.h"
#include "mim.h"
#include "node_override.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr int kDefaultSurname = 1413;
constexpr text::CharSet kSurnameCharacters = text::kLetters | text::kDigits | text::CharSet{" '()+-/:=?.,"};

constexpr const char *kDdaTypeKey = "UXI_DDATYPE_ZTMEXT";

// A setting as it stands in ~/sys/customise, or nothing.
std::optional<std::string> setting(const char *key) {
    const char *value = nullptr;
    return cust_GetCustomiseInfo(key, &value) != 0 ? std::optional<std::string>{value} : std::nullopt;
}

// ---- Cleaning and domain ----

using Text = std::array<char, MIM_TEXT_SIZE>;

std::string clean(const char *address) {
    Text text{};
    text::copy_text(std::string_view{address}.substr(0, MIM_MAX_TEXT), text.data(), text.size());
    mim_RemoveQuotes(text.data());
    mim_SpaceTrimming(text.data());
    return text.data();
}

// The place of `mark` in `text` outside quotes and brackets, when it is not at the start; else 0.
std::size_t find_mark(const std::string &text, char mark) {
    return static_cast<std::size_t>(std::max(mim_ScanArpaStrForSpecialChar(text.c_str(), mark), 0));
}

std::string find_domain(std::string rest, Explanation &explanation) {
    Step &step = explanation.add("domain", "none");
    std::string domain;
    const auto take = [&](std::string text, const std::string &from) {
        if (step.text != "none") {
            step.notes.push_back("not " + step.text);
        }
        domain = std::move(text);
        step.text = in_quotes(domain) + ", " + from;
    };
    if (const std::size_t colon = find_mark(rest, ':'); rest.starts_with('@') && colon > 0) {
        step.notes.push_back("without the route " + in_quotes(rest.substr(0, colon + 1)));
        rest.erase(0, colon + 1);
    }
    if (const std::size_t at = find_mark(rest, '@'); at > 0) {
        take(rest.substr(at + 1), "what follows the first @");
        rest.erase(at);
    }
    for (std::size_t bang = 0; (bang = find_mark(rest, '!')) > 0;) {
        take(rest.substr(0, bang), "what stands before a !");
        rest.erase(0, bang + 1);
    }
    if (const std::size_t percent = find_mark(rest, '%'); percent > 0) {
        take(rest.substr(percent + 1), "what follows a %");
    }
    *step.facts = {{"domain", domain}};
    return domain;
}

// ---- Surname ----

std::string default_surname() {
    std::string text(static_cast<std::size_t>(os_MCFindMessage(kDefaultSurname)) + 1, '\0');
    os_MCGetMessage(text.data(), static_cast<int>(text.size()) - 1);
    return text.c_str();
}

std::string make_surname(const std::string &left, Explanation &explanation) {
    std::string surname = left.empty() ? default_surname() : left;
    const bool is_cut = surname.size() > MIM_MAX_SURNAME;
    surname.resize(std::min<std::size_t>(surname.size(), MIM_MAX_SURNAME));
    const std::string before = surname;
    std::replace_if(
        surname.begin(), surname.end(), [](char c) { return !kSurnameCharacters.contains(c); }, '.');
    const bool is_replaced = surname != before;
    mim_SpaceTrimming(surname.data());
    surname = surname.c_str();

    Step &step = explanation.add("surname", in_quotes(surname));
    *step.facts = {{"surname", surname}};
    if (left.empty()) {
        step.text += ", the text of message 102 1413, for nothing was left";
    }
    if (is_cut) {
        step.notes.push_back("cut at " + std::to_string(MIM_MAX_SURNAME) + " characters");
    }
    if (is_replaced) {
        step.notes.emplace_back("with full stops for what X.400 does not have");
    }
    return surname;
}

// ---- Routing ----

struct Gateway {
    const char *name;
    int node_type;
    const char *override_key;
    const char *charset_key;
};
constexpr Gateway kMimeGateway{"MIME", CL_MIME_GATEWAY, "UAL_DEF_MIME_MN_OVERRIDE",
                               "UAL_DEF_MIME_MN_OVERRIDE_CS"};
constexpr Gateway kTnefGateway{"TNEF", CL_TNEF_GATEWAY, "UAL_DEF_TNEF_MN_OVERRIDE",
                               "UAL_DEF_TNEF_MN_OVERRIDE_CS"};

void copy_present(const OrName &node, int first, int last, OrName &orn) {
    for (int field = first; field <= last; ++field) {
        if (const std::string text{field_text(node, field)}; !text.empty()) {
            nm_PutFieldStr(orn.text.data(), &orn.index, field, text.c_str());
        }
    }
}

// Takes the routing of the setting, where it can be used.
bool take_override(const Gateway &gateway, OrName &orn, Explanation &explanation) {
    Step &step = explanation.add("override", "");
    *step.facts = {{"key", gateway.override_key}};
    const std::optional<std::string> name = setting(gateway.override_key);
    if (!name) {
        step.text = std::string{gateway.override_key} + " is not set";
        return false;
    }
    OrName node{};
    const bool is_usable =
        read_override(*name, setting(gateway.charset_key).value_or(kOverrideCharset), node);
    step.text = std::string{gateway.override_key} + "=" + *name;
    step.facts["value"] = *name;
    if (!is_usable) {
        step.text += " cannot be used: it is no O/R address in its character set";
        return false;
    }
    copy_present(node, NM_FIRST_ROUTING, NM_LAST_ROUTING, orn);
    copy_present(node, NM_FIRST_T61_ROUTING, NM_LAST_T61_ROUTING, orn);
    return true;
}

void take_default_node(const Gateway &gateway, OrName &orn, Explanation &explanation) {
    std::array<char, CL_NODE_SIZE> node{};
    int type = gateway.node_type;
    cl_ReadDefMNode(type, node.data());
    if (node.front() == '\0') {
        type = CL_MIME_GATEWAY;
        cl_ReadDefMNode(type, node.data());
    }
    nm_FormatText(node.data(), orn.form.data(), NM_TEXT_SIZE);
    Step &step = explanation.add("mail node",
                                 "type " + std::to_string(type) + " of ~/sys/mailnodes, " + orn.form.data());
    if (node.front() == '\0') {
        step.text = "~/sys/mailnodes has none for the " + std::string{gateway.name} + " gateway";
    }
    *step.facts = {{"type", type}, {"node", orn.form.data()}};
    mim_SetOrgUAddress(orn.text.data(), &orn.index, gateway.node_type);
}

void put(OrName &orn, int field, const std::string &text) {
    nm_PutFieldStr(orn.text.data(), &orn.index, field, text.c_str());
}

}  // namespace

void explain_address(const char *address, unsigned flags, OrName &orn, Explanation &explanation) {
    nm_InitORN(orn.text.data(), &orn.index);
    const std::string cleaned = clean(address);
    *explanation.add("cleaned", in_quotes(cleaned)).facts = {{"cleaned", cleaned}};
    const std::string domain = find_domain(cleaned, explanation);

    const std::string surname = make_surname(explain_rules(kInboundRules, cleaned, explanation), explanation);
    put(orn, NM_SURNAME, surname);
    if ((flags & MIM_FLAG_COMMON_NAME) != 0) {
        put(orn, NM_COMMON_NAME, surname);
        explanation.add("common name", in_quotes(surname) + ", as was asked for");
    }

    if (!explain_gateway_map(domain, orn, explanation)) {
        const Gateway &gateway = (flags & MIM_FLAG_TNEF) != 0 ? kTnefGateway : kMimeGateway;
        if (!take_override(gateway, orn, explanation)) {
            take_default_node(gateway, orn, explanation);
        }
    }

    const std::optional<std::string> wanted = setting(kDdaTypeKey);
    const bool is_extended =
        wanted && (wanted->empty() || kTrueInitials.find(wanted->front()) != std::string_view::npos);
    const std::string type = is_extended ? "ZTMEXT1" : "RFC-822";
    put(orn, NM_DDA1_TYPE, type);
    put(orn, NM_DDA1_VALUE, address);
    explanation.add("attribute", "DD." + type + " holds the address as it came; " + kDdaTypeKey +
                                     (wanted ? "=" + *wanted : std::string{" is not set"}));
}

}  // namespace tool
