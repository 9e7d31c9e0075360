// mim check: the settings, the messages and the fields of ~/sys/config.

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check.h"
#include "config_file.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "explanation.h"
#include "ext.h"
#include "known_settings.h"
#include "mes.h"
#include "mim.h"
#include "node_override.h"
#include "numbers.h"
#include "text/ascii.h"

namespace tool {

namespace {

// ---- customise ----

constexpr const char *kCharsetSuffix = "_CS";
constexpr const char *kPasswordSuffix = "_PASSWD";

bool is_truth(const char *key) {
    return cust_PresentAndTrue(key) != 0 || cust_PresentAndFalse(key) != 0;
}

// Whether a value reads like "no" to people.
bool looks_false(std::string_view value) {
    for (const std::string_view word : {"false", "no", "off", "0"}) {
        if (text::equal_ignoring_case(value, word)) {
            return true;
        }
    }
    return false;
}

// Whether a value reads like "yes" to people, and is not so read where only its first letter counts.
bool is_false_by_its_initial(std::string_view value) {
    return text::equal_ignoring_case(value, "on") ||
           (!value.empty() && kTrueInitials.find(value.front()) == std::string_view::npos &&
            !looks_false(value) && text::to_upper(value.front()) != 'N' &&
            text::to_upper(value.front()) != 'F');
}

std::string charset_of_override(const std::string &key) {
    return cust_GetString((key + kCharsetSuffix).c_str(), kOverrideCharset, 0, 0);
}

std::string find_override_fault(const std::string &key, const std::string &value) {
    const std::string charset = charset_of_override(key);
    OrName node{};
    if (is_known_charset(charset) && !read_override(value, charset, node)) {
        return "it is no O/R address, and the default mail node holds";
    }
    return {};
}

void check_override_route(CheckedFile &file, int line, const KnownSetting &setting,
                          const std::string &value) {
    OrName node{};
    if (read_override(value, charset_of_override(setting.key), node)) {
        if (const std::string why = find_other_route(node); !why.empty()) {
            file.add(Fault::kOtherRoute, line,
                     "names with the routing of " + std::string{setting.key} + " " + why);
        }
    }
}

std::string find_directory_fault(const std::string &key, const std::string &value) {
    const char *const password = cust_GetString((key + kPasswordSuffix).c_str(), "", 0, 0);
    std::int16_t handle = 0;
    if (!try_call([&] { handle = dr_OpenDir(0, DR_READ, value.c_str(), password); })) {
        return "there is no such directory, it cannot be opened, or its password is another";
    }
    dr_CloseDir(handle);
    return {};
}

// The names of a list /NAME/NAME/.../ that are no attribute of an O/R name.
std::string find_mask_fault(const std::string &value) {
    da_list list;  // NOLINT(*-member-init): filled by the next call
    if (da_ParseEntry2(value.c_str(), &list, 0, 0, 0, 0) == 0) {
        return "it is no list of attributes, /NAME/NAME/.../, and is not used";
    }
    for (int i = 0; i < list.count; ++i) {
        const da_attribute &attribute = *da_GetAttrib(&list, i);
        const std::string name{attribute.name, static_cast<std::size_t>(attribute.name_length)};
        OrName orn{};
        std::string fault;
        if (!read_orn(("/" + name + "=x/").c_str(), orn, fault)) {
            return in_quotes(name) + " in it is no attribute of an O/R name";
        }
    }
    return {};
}

std::string find_types_fault(std::string_view value) {
    std::size_t count = 1;
    for (std::string_view rest = value;; ++count) {
        const std::size_t end = std::min(rest.find(','), rest.size());
        const std::string_view type = text::trim(rest.substr(0, end), text::CharSet{" "});
        if (count > kMaxDdaTypes) {
            return "only the first " + std::to_string(kMaxDdaTypes) + " types count";
        }
        if (type.size() > kMaxDdaType) {
            return in_quotes(type) + " is cut at " + std::to_string(kMaxDdaType) + " characters";
        }
        if (end > 0 && rest[end - 1] == ' ') {
            return "the blank behind " + in_quotes(type) + " is part of the type";
        }
        if (end == rest.size()) {
            return {};
        }
        rest.remove_prefix(end + 1);
    }
}

// Why the value of a setting does not do what it seems to, or the empty text.
std::string find_value_fault(const KnownSetting &setting, const std::string &value) {
    if (setting.longest != 0 && value.size() > setting.longest) {
        return "only the first " + std::to_string(setting.longest) + " characters count";
    }
    switch (setting.kind) {
        case SettingKind::kTruth:
            return is_truth(setting.key) ? "" : "it is neither true nor false, and the default holds";
        case SettingKind::kPresence:
            return looks_false(value) ? "the setting is on when it is there; leave it out to switch it off"
                                      : "";
        case SettingKind::kInitial:
            return is_false_by_its_initial(value) ? "it counts as no: write yes" : "";
        case SettingKind::kOrName:
            return find_override_fault(setting.key, value);
        case SettingKind::kDirectory:
            return find_directory_fault(setting.key, value);
        case SettingKind::kAttributeList:
            return find_mask_fault(value);
        case SettingKind::kTypes:
            return find_types_fault(value);
        case SettingKind::kHost:
            return is_domain(value) ? "" : "it is no domain";
        case SettingKind::kCharset:
        case SettingKind::kPassword:
        case SettingKind::kAttribute:
            return {};
    }
    return {};
}

void check_setting(CheckedFile &file, int line, const KnownSetting &setting) {
    const std::string value = cust_GetString(setting.key, "", 0, 0);
    const std::string shown = setting.kind == SettingKind::kPassword
                                  ? setting.key
                                  : std::string{setting.key} + "=" + quote_shortly(value);
    if (setting.kind == SettingKind::kCharset && !is_known_charset(value)) {
        file.add(Fault::kUnknownCharset, line, shown + ": no service knows that character set");
    } else if (const std::string why = find_value_fault(setting, value); !why.empty()) {
        file.add(Fault::kBadValue, line, shown + ": " + why);
    } else if (setting.kind == SettingKind::kOrName) {
        check_override_route(file, line, setting, value);
    }
}

// ---- messages ----

constexpr std::pair kDefaultSurname{102, 1413};
constexpr std::pair kSystemName{100, 7617};
constexpr std::size_t kMaxSystemName = 63;
constexpr const char *kNoHome = "/dev/null";  // a home without files

// The text of a message without the administrator's, or nothing.
std::optional<std::string> built_in_text(const std::pair<int, int> &message) {
    const char *const text = mes_GetText(message.first, message.second);
    return text != nullptr ? std::optional<std::string>{text} : std::nullopt;
}

// What a message tells of that the other text does not: "%3".
std::string find_unknown_place(std::string_view text, std::string_view built_in) {
    for (std::size_t i = text.find('%'); i < text.size(); i = text.find('%', i + 1)) {
        const std::string_view place = text.substr(i, 2);
        if (place.size() == 2 && text::kDigits.contains(place.back()) &&
            built_in.find(place) == std::string_view::npos) {
            return std::string{place};
        }
    }
    return {};
}

std::string find_surname_fault(const std::string &text) {
    constexpr text::CharSet kCharacters = text::kLetters | text::kDigits | text::CharSet{" '()+-/:=?.,"};
    for (const char c : text) {
        if (!kCharacters.contains(c)) {
            return in_quotes({&c, 1}) + " becomes a full stop in a surname";
        }
    }
    return text.size() > MIM_MAX_SURNAME
               ? "a surname has at most " + std::to_string(MIM_MAX_SURNAME) + " characters"
               : "";
}

struct MessageLine {
    int line;
    std::pair<int, int> number;
    std::string text;
};

std::optional<MessageLine> read_message(std::string_view text, int line) {
    const auto take_word = [&text] {
        const std::string_view word = text.substr(0, text.find_first_of(" \t"));
        text = text::trim(text.substr(word.size()), kServiceBlanks);
        return read_number<int>(word);
    };
    const std::optional<int> set = take_word();
    const std::optional<int> number = take_word();
    if (!set || !number) {
        return std::nullopt;
    }
    return MessageLine{line, {*set, *number}, std::string{text}};
}

}  // namespace

void check_customise(CheckedFile &file) {
    std::map<std::string, int, std::less<>> lines;
    each_service_line(file, [&](std::string_view text, int line) {
        const std::size_t equals = text.find('=');
        const std::string key{text::trim(text.substr(0, equals), kServiceBlanks)};
        if (equals == std::string_view::npos || key.empty()) {
            file.add(Fault::kSkippedLine, line, "it does not have the form KEY=VALUE");
            return;
        }
        if (const auto [place, is_new] = lines.emplace(key, line); !is_new) {
            file.add(Fault::kDuplicateKey, place->second,
                     key + " stands in line " + std::to_string(line) + " too, which counts");
            place->second = line;
        }
        if (find_setting(key) == nullptr) {
            file.add(Fault::kUnknownKey, line, "nothing asks for " + quote_shortly(key));
        }
    });
    for (const auto &[key, line] : lines) {
        if (const KnownSetting *const setting = find_setting(key)) {
            check_setting(file, line, *setting);
        }
    }
}

void check_messages(CheckedFile &file) {
    std::vector<MessageLine> messages;
    std::map<std::pair<int, int>, int> lines;
    each_service_line(file, [&](std::string_view text, int line) {
        std::optional<MessageLine> message = read_message(text, line);
        if (!message) {
            file.add(Fault::kSkippedLine, line, "it does not begin with SET NUMBER");
            return;
        }
        if (const auto [place, is_new] = lines.emplace(message->number, line); !is_new) {
            file.add(Fault::kDuplicateKey, place->second,
                     "the message stands in line " + std::to_string(line) + " too, which counts");
            place->second = line;
        }
        messages.push_back(std::move(*message));
    });
    const std::string home = ext_GetHome();
    ext_SetHome(kNoHome);
    for (const auto &[line, number, text] : messages) {
        const std::optional<std::string> built_in = built_in_text(number);
        if (!built_in) {
            file.add(Fault::kUnknownMessage, line,
                     "no message is " + std::to_string(number.first) + " " + std::to_string(number.second));
        } else if (const std::string place = find_unknown_place(text, *built_in); !place.empty()) {
            file.add(Fault::kBadValue, line, place + " stands for nothing in this message");
        } else if (const std::string why = find_surname_fault(text);
                   number == kDefaultSurname && !why.empty()) {
            file.add(Fault::kBadValue, line, why);
        } else if (number == kSystemName && text.size() > kMaxSystemName) {
            file.add(Fault::kBadValue, line,
                     "only " + std::to_string(kMaxSystemName) + " characters of the name count");
        }
    }
    ext_SetHome(home.c_str());
}

void check_config(CheckedFile &file) {
    const ConfigFields fields = ConfigFile{}.fields();
    if (!fields.mode) {
        file.add(Fault::kShortConfig, 0,
                 "the file ends before its fields: programs that read them fail with message 102 1420");
        return;
    }
    constexpr std::int16_t kLastStyle = 4;
    constexpr std::int16_t kLastMode = 2;
    if (*fields.delimiter != '/' && *fields.delimiter != ';') {
        file.add(Fault::kBadValue, 0, "the delimiter is neither / nor ;, and counts as /");
    }
    if (*fields.style < 1 || *fields.style > kLastStyle) {
        file.add(Fault::kBadValue, 0,
                 "style " + std::to_string(*fields.style) + " counts as " + (*fields.style < 1 ? "1" : "3"));
    }
    if (*fields.mode < 1 || *fields.mode > kLastMode) {
        file.add(
            Fault::kBadValue, 0,
            "mode " + std::to_string(*fields.mode) +
                (*fields.mode < 1 ? " counts as 1" : " quotes as mode 2 does, and writes as mode 1 does"));
    }
}

}  // namespace tool
