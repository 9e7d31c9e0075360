// The gateway domain map: which X.400 attributes an Internet domain stands for.
//
// The map is read from the file at every lookup, line by line in constant memory, so that an administrator's
// change holds at once. Keys and values are bytes; only keys and keywords are compared without regard to
// case.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr int kMapLineCapacity = 1026;  // a line of at most 1,025 characters and its terminator
constexpr const char *kNoDomain = "@";  // the key of an address without a domain
constexpr const char *kUnset = "@";     // the value that leaves its attribute unset
constexpr char kItemEnd = '.';
constexpr char kKeywordEnd = '$';

// The slots of an attribute list, from the country down, and the fields that they go to.
constexpr std::array<int, 8> kSlotFields{NM_COUNTRY, NM_ADMD,    NM_PRMD,    NM_ORGANISATION,
                                         NM_OU1,     NM_OU1 + 1, NM_OU1 + 2, NM_OU4};
constexpr std::size_t kFirstUnitSlot = 4;
constexpr std::size_t kLastSlot = kSlotFields.size() - 1;

// The keywords above the organisational unit, each in the place of its slot.
constexpr std::array<const char *, kFirstUnitSlot> kSlotKeywords{"C", "ADMD", "PRMD", "O"};
constexpr const char *kUnitKeyword = "OU";

constexpr text::CharSet kLabelCharacters = text::kLetters | text::kDigits | text::CharSet{"-"};

// The attributes that a lookup has gathered: null where there is none.
struct Attributes {
    std::array<char *, kSlotFields.size()> slots{};
    std::size_t level = 0;  // how far down the list reaches: the slot after the lowest attribute

    void raise_level(std::size_t at_least) { level = std::max(level, at_least); }

    // Makes room at `slot` by moving what is there and below one slot down; what was in the last slot is
    // dropped.
    void push_down(std::size_t slot, char *value) {
        std::copy_backward(slots.begin() + static_cast<std::ptrdiff_t>(slot), slots.end() - 1, slots.end());
        slots[slot] = value;
    }
};

// Cuts `list` (in-out) at its first unescaped `delimiter`, and returns the text before it. `list` goes on
// after it, or is at its end when there is none.
char *cut_at(char *&list, char delimiter) {
    char *const begin = list;
    char *place = begin;
    while (*place != '\0' && *place != delimiter) {
        place += *place == '\\' && place[1] != '\0' ? 2 : 1;
    }
    if (*place == delimiter) {
        *place++ = '\0';
    }
    list = place;
    return begin;
}

// Gathers the items of an attribute list; returns false when it has too many units.
bool gather_attributes(char *list, Attributes &attributes) {
    while (*list != '\0') {
        const char *keyword = cut_at(list, kKeywordEnd);
        char *value = cut_at(list, kItemEnd);
        const auto *known = std::find_if(
            kSlotKeywords.begin(), kSlotKeywords.end(),
            [keyword](const char *candidate) { return mim_StrCaseCmp(keyword, candidate) != 0; });
        if (known != kSlotKeywords.end()) {
            const auto slot = static_cast<std::size_t>(known - kSlotKeywords.begin());
            attributes.slots[slot] = value;
            attributes.raise_level(slot + 1);
        } else if (mim_StrCaseCmp(keyword, kUnitKeyword) != 0) {
            attributes.push_down(kFirstUnitSlot, value);
            if (attributes.level > kLastSlot) {
                return false;
            }
            attributes.level = std::max(attributes.level, kFirstUnitSlot) + 1;
        }
    }
    return true;
}

bool is_domain_label(std::string_view label) {
    return text::kLetters.contains(label.front()) &&
           std::all_of(label.begin(), label.end(), [](char c) { return kLabelCharacters.contains(c); });
}

// Places the labels of the rest of a domain; returns false at one that is no label or for which there is no
// room.
bool gather_labels(char *rest, Attributes &attributes) {
    while (*rest != '\0') {
        char *label = rest;
        rest += std::strcspn(rest, ".");
        if (*rest != '\0') {
            *rest++ = '\0';
        }
        if (*label == '\0') {
            continue;
        }
        if (!is_domain_label(label) || attributes.level > kLastSlot ||
            attributes.slots[kLastSlot] != nullptr) {
            return false;
        }
        attributes.push_down(attributes.level, label);
    }
    return true;
}

int replace_domain(char *orn, nm_index *index, char *list, char *rest, bool extend) {
    Attributes attributes;
    if (!gather_attributes(list, attributes)) {
        return 0;
    }
    if (extend && rest != nullptr && !gather_labels(rest, attributes)) {
        return 0;
    }
    for (std::size_t slot = 0; slot < attributes.slots.size(); ++slot) {
        const char *value = attributes.slots[slot];
        if (value != nullptr && std::strcmp(value, kUnset) != 0) {
            nm_PutFieldStr(orn, index, kSlotFields[slot], value);
        }
    }
    return 1;
}

// The best entry for a domain while the map is read.
struct BestEntry {
    std::size_t key_length = 0;
    std::array<char, kMapLineCapacity> attributes;  // without a value until there is a key
};

// Whether a key of `key_length` characters can be a whole-label suffix of the domain.
bool is_label_boundary(std::string_view domain, std::size_t key_length) {
    return key_length == domain.size() ||
           (key_length < domain.size() && domain[domain.size() - key_length - 1] == '.');
}

// Takes the entry in `line` (in-out, terminated; `length` characters were read) if it is better than the best
// so far.
void consider_entry(char *line, std::size_t length, std::string_view domain, BestEntry &best) {
    constexpr char kSeparator = '#';
    const auto *key_end = static_cast<const char *>(std::memchr(line, kSeparator, length));
    if (key_end == nullptr || key_end == line) {
        return;
    }
    const auto key_length = static_cast<std::size_t>(key_end - line);
    if (!is_label_boundary(domain, key_length)) {
        return;
    }
    const std::string_view list{key_end + 1, length - key_length - 1};
    const std::size_t list_end = list.find(kSeparator);
    const bool text_ends_before = list.substr(0, list_end).find('\0') != std::string_view::npos;
    if (list_end == std::string_view::npos || text_ends_before) {
        return;
    }
    line[key_length] = '\0';
    if (mim_StrCaseCmp(domain.data() + domain.size() - key_length, line) != 0 &&
        key_length > best.key_length) {
        best.key_length = key_length;
        text::copy_text(list.substr(0, list_end), best.attributes.data(), best.attributes.size());
    }
}

void read_map(mim::LineFile &file, const char *path, std::string_view domain, BestEntry &best) {
    if (!file.open(path)) {
        return;
    }
    std::array<char, kMapLineCapacity> line;  // NOLINT(*-member-init): filled by the next call
    while (const int count = file.read(line.data(), kMapLineCapacity)) {
        auto length = static_cast<std::size_t>(count);
        if (line[length - 1] == '\n') {
            line[--length] = '\0';
        }
        consider_entry(line.data(), length, domain, best);
    }
    file.close();
}

int lookup_domain(const char *path, const char *domain, char *orn, nm_index *index, bool extend) {
    std::array<char, MIM_TEXT_SIZE> copy;  // NOLINT(*-member-init): filled by the next call
    const char *sought = *domain != '\0' ? domain : kNoDomain;
    const std::size_t length =
        text::copy_text({sought, strnlen(sought, MIM_MAX_TEXT)}, copy.data(), copy.size());
    if (os_fexists(path) == 0) {
        return 0;
    }
    BestEntry best;  // NOLINT(*-member-init)
    mim::LineFile file;
    mim::protected_region(
        mim::kArpOrnFile,
        [&] {
            read_map(file, path, {copy.data(), length}, best);
        },
        [&] { file.close_quietly(); });
    int result = 0;
    if (best.key_length > 0) {
        copy[length - best.key_length] = '\0';
        result = mim_ArpaDomainReplace(orn, index, best.attributes.data(), copy.data(), extend ? 1 : 0);
    }
    er_LogInfo(1, "", nullptr);
    return result;
}

}  // namespace

int mim_ArpaDomainLookup(const char *path, const char *domain, char *orn, nm_index *index, int extend) {
    return mim::traced<TraceClass::kMain>(
        __func__, [&] { return lookup_domain(path, domain, orn, index, extend != 0); });
}

int mim_ArpaDomainReplace(char *orn, nm_index *index, char *attributes, char *rest, int extend) {
    return mim::traced<TraceClass::kMain>(
        __func__, [&] { return replace_domain(orn, index, attributes, rest, extend != 0); });
}

int mim_StrCaseCmp(const char *a, const char *b) {
    return mim::traced<TraceClass::kHelper>(__func__,
                                            [&] { return text::equal_ignoring_case(a, b) ? 1 : 0; });
}
