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

#include "domain_map.h"
#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/domain_label.h"
#include "text/writer.h"

namespace {

using mim::BareKeyword;
using mim::MapAttributes;
using mim::TraceClass;

constexpr const char *kNoDomain = "@";  // the key of an address without a domain

// Places the labels of the rest of a domain; returns false at one that is no label or for which there is no
// room.
bool gather_labels(char *rest, MapAttributes &attributes) {
    while (*rest != '\0') {
        const mim::MapText label{rest, std::strcspn(rest, ".")};
        rest += label.length;
        if (*rest != '\0') {
            *rest++ = '\0';
        }
        if (label.length == 0) {
            continue;
        }
        if (!text::is_domain_label(label.view()) || attributes.level > mim::kLastSlot ||
            attributes.slots[mim::kLastSlot].text != nullptr) {
            return false;
        }
        attributes.push_down(attributes.level, label);
    }
    return true;
}

int replace_domain(char *orn, nm_index *index, char *list, char *rest, bool extend) {
    MapAttributes attributes;
    if (!mim::gather_attributes(list, BareKeyword::kRunsOn, attributes)) {
        return 0;
    }
    if (extend && rest != nullptr && !gather_labels(rest, attributes)) {
        return 0;
    }
    for (std::size_t slot = 0; slot < attributes.slots.size(); ++slot) {
        const mim::MapText &value = attributes.slots[slot];
        if (value.text != nullptr && value.view() != mim::kUnset) {
            nm_PutFieldStr(orn, index, mim::kSlotFields[slot], value.text);
        }
    }
    return 1;
}

// The best entry for a domain while the map is read.
struct BestEntry {
    std::size_t key_length = 0;
    std::array<char, mim::kMapLineCapacity> attributes;  // without a value until there is a key
};

// Whether a key of `key_length` characters can be a whole-label suffix of the domain.
bool is_label_boundary(std::string_view domain, std::size_t key_length) {
    return key_length == domain.size() ||
           (key_length < domain.size() && domain[domain.size() - key_length - 1] == '.');
}

// Takes the entry in `line` (in-out, terminated; `length` characters were read) if it is better than the best
// so far.
void consider_entry(char *line, std::size_t length, std::string_view domain, BestEntry &best) {
    const auto *key_end = static_cast<const char *>(std::memchr(line, mim::kMapSeparator, length));
    if (key_end == nullptr || key_end == line) {
        return;
    }
    const auto key_length = static_cast<std::size_t>(key_end - line);
    if (!is_label_boundary(domain, key_length)) {
        return;
    }
    const auto list = mim::map_value({key_end + 1, length - key_length - 1});
    if (!list) {
        return;
    }
    line[key_length] = '\0';
    if (mim_StrCaseCmp(domain.data() + domain.size() - key_length, line) != 0 &&
        key_length > best.key_length) {
        best.key_length = key_length;
        text::copy_text(*list, best.attributes.data(), best.attributes.size());
    }
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
            mim::for_each_line<mim::kMapLineCapacity>(file, path, [&](char *line, std::size_t line_length) {
                consider_entry(line, line_length, {copy.data(), length}, best);
            });
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
