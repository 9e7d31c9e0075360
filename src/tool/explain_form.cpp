// Formatting as the settings say, and the domain of addresses without one.

#include "explain_form.h"

#include <array>
#include <nlohmann/json.hpp>

#include "cust.h"
#include "mdc.h"
#include "os.h"

namespace tool {

namespace {

constexpr std::array kHostKeys{"HOSTNAME", "UXO_FQDN", "UAL_POP3_HOSTNAME"};
constexpr std::size_t kHostSize = 64;
constexpr std::string_view kGroupMark = ":;";

constexpr std::int16_t kPositional = 1;
constexpr std::int16_t kAttributes = 2;
constexpr std::int16_t kPersonal = 3;
constexpr std::int16_t kAttributesOrPersonal = 4;

Host read_host() {
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

std::string show(const char *text, const char *form, const InternetSettings &settings,
                 Explanation &explanation) {
    Step &step = explanation.add("local part", in_quotes(text) + ", " + form);
    const std::string delimiter(1, settings.delimiter);
    step.notes.push_back(
        "style " + std::to_string(settings.style) + ", mode " + std::to_string(settings.mode) +
        ", delimiter " + delimiter + (settings.add_delimiter != 0 ? ", added at the end" : "") +
        (settings.t61 != 0 ? ", with T.61 forms" : "") + (*text == '"' ? ", quoted" : ", not quoted"));
    *step.facts = {
        {"local_part", text}, {"style", settings.style}, {"mode", settings.mode}, {"delimiter", delimiter}};
    return text;
}

std::string complete_domain(const std::string &address, Explanation &explanation) {
    std::array<char, MIM_ADDRESS_SIZE> phrase{};
    std::array<char, MIM_ADDRESS_SIZE> local_part{};
    std::array<char, MIM_ADDRESS_SIZE> domain{};
    mim_parse_address(address.c_str(), phrase.data(), nullptr, nullptr, local_part.data(), domain.data());
    if (domain.front() != '\0') {
        return address;
    }
    if (std::string_view{local_part.data()}.find(kGroupMark) != std::string_view::npos) {
        explanation.add("host", "none: the address is a group");
        return address;
    }
    const Host &host = local_host();
    Step &step =
        explanation.add("host", in_quotes(host.name) + " from " + host.origin + ", for there is no domain");
    *step.facts = {{"host", host.name}, {"origin", host.origin}};
    std::string completed = std::string{local_part.data()} + "@" + host.name;
    if (phrase.front() != '\0') {
        completed = std::string{phrase.data()} + " <" + completed + ">";
    }
    if (fits(completed)) {
        return completed;
    }
    step.notes.emplace_back("left out: the address would be too long");
    return address;
}

}  // namespace

const Host &local_host() {
    static const Host host = read_host();
    return host;
}

std::string explain_personal_name(OrName &orn, const InternetSettings &settings, Explanation &explanation) {
    std::array<char, MIM_TEXT_SIZE> text{};
    mim_DoFormatPersonalName(orn.text.data(), &orn.index, text.data(), settings.style, settings.mode,
                             settings.t61);
    return show(text.data(),
                settings.style == kPositional ? "the personal name, surname first" : "the personal name",
                settings, explanation);
}

std::string explain_whole_name(const OrName &orn, bool personal, const InternetSettings &settings,
                               Explanation &explanation) {
    std::array<char, MIM_TEXT_SIZE> text{};
    const std::int16_t style = settings.style;
    mim_DoFormatORN(orn.text.data(), text.data(), personal ? 1 : 0, style, settings.mode, settings.t61);
    const bool is_numeric =
        orn.index.kind == NM_KIND_NUMERIC && (style == kPersonal || style == kAttributesOrPersonal);
    const bool as_attributes =
        style == kAttributes || is_numeric || (style == kAttributesOrPersonal && !personal);
    return show(text.data(),
                as_attributes          ? "the name as attributes"
                : style == kPositional ? "the name by position"
                                       : "the personal name and what else there is",
                settings, explanation);
}

std::string explain_finish(const std::string &found, bool comments, bool complete, Explanation &explanation) {
    std::string address = found;
    std::erase_if(address, [](char c) { return c == '\r' || c == '\n'; });
    if (!address.empty() && !comments) {
        std::array<char, MIM_ADDRESS_SIZE> bare{};
        mim_parse_address(address.c_str(), nullptr, bare.data(), nullptr, nullptr, nullptr);
        address = bare.data();
    }
    if (address != found) {
        explanation.add("bare address", in_quotes(address));
    }
    return address.empty() || !complete ? address : complete_domain(address, explanation);
}

}  // namespace tool
