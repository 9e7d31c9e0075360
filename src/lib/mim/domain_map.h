// What the two domain maps share: lines KEY#VALUE#, read from the file at every lookup, and lists of routing
// attributes, KEYWORD$VALUE items with "." between them.
#ifndef MIM_DOMAIN_MAP_H
#define MIM_DOMAIN_MAP_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "frame.h"
#include "nm.h"

namespace mim {

inline constexpr int kMapLineCapacity = 1026;  // a line of at most 1,025 characters and its terminator
inline constexpr char kMapSeparator = '#';

// The value of a line, of which `rest` is what follows the key and its separator; nothing when no separator
// ends it.
[[nodiscard]] inline std::optional<std::string_view> map_value(std::string_view rest) {
    const std::size_t end = rest.find(kMapSeparator);
    const std::string_view value = rest.substr(0, end);
    if (end == std::string_view::npos || value.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    return value;
}

// The slots of an attribute list, from the country down, and the fields that they stand for.
inline constexpr std::array<int, 8> kSlotFields{NM_COUNTRY, NM_ADMD,    NM_PRMD,    NM_ORGANISATION,
                                                NM_OU1,     NM_OU1 + 1, NM_OU1 + 2, NM_OU4};
inline constexpr std::size_t kLastSlot = kSlotFields.size() - 1;

// The value that stands for no value.
inline constexpr std::string_view kUnset = "@";

// A piece of a list that was cut apart: terminated, and null where there is none. The length is kept because
// a scan for the terminator would wait for the store that has just put it there.
struct MapText {
    char *text = nullptr;
    std::size_t length = 0;

    [[nodiscard]] std::string_view view() const { return {text, length}; }
};

// The attributes that a list names: null where it does not.
struct MapAttributes {
    std::array<MapText, kSlotFields.size()> slots{};
    std::size_t level = 0;  // how far down the list reaches: the slot after the lowest attribute

    void raise_level(std::size_t at_least) { level = std::max(level, at_least); }

    // Makes room at `slot` by moving what is there and below one slot down; what was in the last slot is
    // dropped.
    void push_down(std::size_t slot, MapText value) {
        std::copy_backward(slots.begin() + static_cast<std::ptrdiff_t>(slot), slots.end() - 1, slots.end());
        slots[slot] = value;
    }
};

// Where the keyword of an item ends that has no "$": at the item's own end, or not before the next "$".
enum class BareKeyword { kEndsWithItem, kRunsOn };

// Gathers the items of `list` (in-out, cut apart in place; escapes stay); returns false when it has too many
// units.
[[nodiscard]] bool gather_attributes(char *list, BareKeyword bare, MapAttributes &attributes);

// mim_StrCaseCmp, for texts that are not terminated.
[[nodiscard]] bool equal_names(std::string_view a, std::string_view b);

}  // namespace mim

#endif
