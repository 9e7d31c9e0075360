// How the library and the services read the files of the home.
#ifndef TOOL_HOME_FORMATS_H
#define TOOL_HOME_FORMATS_H

#include <array>
#include <string_view>

#include "nm.h"
#include "text/tokens.h"

namespace tool {

inline constexpr int kRuleLineCapacity = 256;
inline constexpr text::Tokens kRuleTokens{text::CharSet{" \t\n"}, "#"};
inline constexpr std::string_view kOnce = "$:";
inline constexpr std::string_view kOnceAndStop = "$@";

inline constexpr int kMapLineCapacity = 1026;
inline constexpr char kMapSeparator = '#';
inline constexpr const char *kNoDomain = "@";  // the key of an address without a domain
inline constexpr std::string_view kUnset = "@";

// The attributes that the levels of a map's key stand for.
inline constexpr std::array<int, 8> kLevelFields{NM_COUNTRY, NM_ADMD,    NM_PRMD,    NM_ORGANISATION,
                                                 NM_OU1,     NM_OU1 + 1, NM_OU1 + 2, NM_OU4};

// The keywords of the first levels; units, the levels behind them, have one in common.
inline constexpr std::array<const char *, 4> kLevelKeywords{"C", "ADMD", "PRMD", "O"};
inline constexpr const char *kUnitKeyword = "OU";

// The longest line that the services read from a file.
inline constexpr int kServiceLine = 8192;

// What a setting that counts by its first character begins with when it is true; so does an empty one.
inline constexpr std::string_view kTrueInitials = "TtYy1";

}  // namespace tool

#endif
