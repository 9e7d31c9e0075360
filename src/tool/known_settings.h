// The keys of ~/sys/customise that the library and the services read.
#ifndef TOOL_KNOWN_SETTINGS_H
#define TOOL_KNOWN_SETTINGS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "dr.h"
#include "mim.h"

namespace tool {

inline constexpr const char *kCustomise = "~/sys/customise";

// What a value is read as.
enum class SettingKind {
    kTruth,          // true/yes/on/1 or false/no/off/0 without regard to case; any other value is neither
    kPresence,       // on when the key is there, whatever its value
    kInitial,        // on when the value is empty or begins with T, t, Y, y or 1
    kOrName,         // an O/R name in text form
    kCharset,        // a character set
    kDirectory,      // the name of a directory, the file ~/sys/directory/NAME.ldif
    kPassword,       // of a directory
    kAttribute,      // the name of a directory's attribute
    kAttributeList,  // /NAME/NAME/.../, without escapes
    kTypes,          // types with commas; false or the empty text for any type
    kHost            // the name of a host
};

struct KnownSetting {
    const char *key;
    SettingKind kind;
    const char *fallback;  // what holds when the key is absent: a value, or in words
    const char *does;
    std::size_t longest = 0;  // how many characters of the value count; 0 for all
};

inline constexpr std::size_t kMaxResolveMask = 127;
inline constexpr std::size_t kMaxHost = 63;

// The types of kTypes: how many count, and how many characters of each.
inline constexpr std::size_t kMaxDdaTypes = 10;
inline constexpr std::size_t kMaxDdaType = 20;

// In the order of the administrator's guide.
inline constexpr std::array kKnownSettings{
    KnownSetting{"UAL_DEF_MIME_MN_OVERRIDE", SettingKind::kOrName, "mail node 1",
                 "routing of mail that the domain map does not cover"},
    KnownSetting{"UAL_DEF_MIME_MN_OVERRIDE_CS", SettingKind::kCharset, "ISO8859_1",
                 "character set of UAL_DEF_MIME_MN_OVERRIDE"},
    KnownSetting{"UAL_DEF_TNEF_MN_OVERRIDE", SettingKind::kOrName, "mail node 7",
                 "the same for the TNEF gateway"},
    KnownSetting{"UAL_DEF_TNEF_MN_OVERRIDE_CS", SettingKind::kCharset, "ISO8859_1",
                 "character set of UAL_DEF_TNEF_MN_OVERRIDE"},
    KnownSetting{"UXI_DDATYPE_ZTMEXT", SettingKind::kInitial, "no",
                 "addresses travel as DD.ZTMEXT1 instead of DD.RFC-822"},
    KnownSetting{"INET_AUTO_IAM", SettingKind::kTruth, "no", "all users have Internet addresses"},
    KnownSetting{"UXO_NAME_MAPPING", SettingKind::kTruth, "as INET_AUTO_IAM",
                 "the directory is asked for the Internet address of a name"},
    KnownSetting{"UX_NAME_MAPPING_DIR", SettingKind::kDirectory, "the program's own", "the directory to ask",
                 MIM_DIRECTORY_SIZE - 1},
    KnownSetting{"UX_NAME_MAPPING_DIR_PASSWD", SettingKind::kPassword, "", "its password",
                 DR_PASSWORD_LENGTH},
    KnownSetting{"UX_NAME_MAPPING_ATTRIB", SettingKind::kAttribute, "167",
                 "the attribute with the Internet address", MIM_ATTRIBUTE_SIZE - 1},
    KnownSetting{"INET_IA_RESOLVE_MASK", SettingKind::kAttributeList, "none",
                 "the attributes by which a name is looked up when no entry has all it has", kMaxResolveMask},
    KnownSetting{"UXO_ADD_DELIMITER", SettingKind::kPresence, "no",
                 "a local part made from a name ends in the delimiter"},
    KnownSetting{"UXO_INCLUDE_T61_FIELDS", SettingKind::kPresence, "no", "T.61 forms are written as well"},
    KnownSetting{"UXO_CHECK_TYPES_OF_DDA", SettingKind::kTypes, ",RFC-822,ZTMEXT1,ZTMEXT2,ZTMEXT3,ZTMEXT4",
                 "the types of domain-defined attribute that hold an Internet address"},
    KnownSetting{"UAL_GIVE_GROUP5_INET_NAME_STRICT", SettingKind::kTruth, "no",
                 "only a name that routes to the Internet gateway is an Internet name"},
    KnownSetting{"UAL_DO_LONG_INET_CHECK", SettingKind::kPresence, "no",
                 "the quick test of a name asks the routes for any name"},
    KnownSetting{"INET_DISPLAY_IA_COMMENTS", SettingKind::kTruth, "yes",
                 "recorded addresses keep display names and comments where a program asks for them"},
    KnownSetting{"HOSTNAME", SettingKind::kHost, "the machine's",
                 "the host of addresses that have none; of the three that is set the first counts", kMaxHost},
    KnownSetting{"UXO_FQDN", SettingKind::kHost, "the machine's", "the same, when HOSTNAME is absent",
                 kMaxHost},
    KnownSetting{"UAL_POP3_HOSTNAME", SettingKind::kHost, "the machine's",
                 "the same, when HOSTNAME and UXO_FQDN are absent", kMaxHost},
};

// The row of `key`, which is compared to the letter, or null.
[[nodiscard]] constexpr const KnownSetting *find_setting(std::string_view key) {
    const auto *const row = std::find_if(kKnownSettings.begin(), kKnownSettings.end(),
                                         [key](const KnownSetting &setting) { return setting.key == key; });
    return row != kKnownSettings.end() ? row : nullptr;
}

}  // namespace tool

#endif
