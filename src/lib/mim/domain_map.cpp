// Attribute lists of the domain maps, cut apart in place.

#include "domain_map.h"

#include "mim.h"
#include "text/ascii.h"

namespace {

constexpr char kItemEnd = '.';
constexpr char kKeywordEnd = '$';

// The keywords above the organisational unit, each in the place of its slot.
constexpr std::size_t kFirstUnitSlot = 4;
constexpr std::array<std::string_view, kFirstUnitSlot> kSlotKeywords{"C", "ADMD", "PRMD", "O"};
constexpr std::string_view kUnitKeyword = "OU";

// A piece that was cut off, and the delimiter that ended it, or the terminator.
struct Piece {
    mim::MapText text;
    char end;
};

// Cuts `list` (in-out) at its first unescaped character of the two (which may be one), and returns the text
// before it. `list` goes on after it, or is at its end when there is none.
Piece cut_at(char *&list, char delimiter, char other) {
    char *const begin = list;
    char *place = begin;
    while (*place != '\0' && *place != delimiter && *place != other) {
        place += *place == '\\' && place[1] != '\0' ? 2 : 1;
    }
    const char end = *place;
    const auto length = static_cast<std::size_t>(place - begin);
    if (end != '\0') {
        *place++ = '\0';
    }
    list = place;
    return {{begin, length}, end};
}

}  // namespace

bool mim::gather_attributes(char *list, BareKeyword bare, MapAttributes &attributes) {
    const char other_end = bare == BareKeyword::kEndsWithItem ? kItemEnd : kKeywordEnd;
    while (*list != '\0') {
        const Piece name = cut_at(list, kKeywordEnd, other_end);
        const std::string_view keyword = name.text.view();
        MapText value{name.text.text + keyword.size(), 0};
        if (name.end == kKeywordEnd) {
            value = cut_at(list, kItemEnd, kItemEnd).text;
        }
        const auto *known =
            std::find_if(kSlotKeywords.begin(), kSlotKeywords.end(),
                         [keyword](std::string_view candidate) { return equal_names(keyword, candidate); });
        if (known != kSlotKeywords.end()) {
            const auto slot = static_cast<std::size_t>(known - kSlotKeywords.begin());
            attributes.slots[slot] = value;
            attributes.raise_level(slot + 1);
        } else if (equal_names(keyword, kUnitKeyword)) {
            attributes.push_down(kFirstUnitSlot, value);
            if (attributes.level > kLastSlot) {
                return false;
            }
            attributes.level = std::max(attributes.level, kFirstUnitSlot) + 1;
        }
    }
    return true;
}

bool mim::equal_names(std::string_view a, std::string_view b) {
    return traced<TraceClass::kHelper>("mim_StrCaseCmp", [&] { return text::equal_ignoring_case(a, b); });
}

int mim_StrCaseCmp(const char *a, const char *b) {
    return mim::equal_names(a, b) ? 1 : 0;
}
