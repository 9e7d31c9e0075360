// The X.400 domain map: which Internet domain the routing fields of an O/R name stand for.
//
// The best line is the one whose key reaches furthest down. Fields below it become labels of the domain, so
// that one line serves all the units of an organisation; a field that cannot be a label makes the lookup
// fail, since an address that leads elsewhere is worse than none. The map is read anew at every lookup.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "domain_map.h"
#include "frame.h"
#include "mim.h"
#include "orn_field.h"
#include "text/domain_label.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

void remove_backslashes(mim::MapText &value) {
    char *const end = std::remove(value.text, value.text + value.length, '\\');
    *end = '\0';
    value.length = static_cast<std::size_t>(end - value.text);
}

int match_key(const char *orn, const nm_index *index, char *key) {
    mim::MapAttributes attributes;
    if (!mim::gather_attributes(key, mim::BareKeyword::kEndsWithItem, attributes)) {
        return 0;
    }
    for (std::size_t slot = 0; slot < attributes.level; ++slot) {
        const std::string_view field = mim::field_text(orn, index, mim::kSlotFields[slot]);
        mim::MapText &value = attributes.slots[slot];
        if (value.text != nullptr) {
            remove_backslashes(value);
        }
        const bool must_be_absent = value.length == 0 || value.view() == mim::kUnset;
        if (must_be_absent ? !field.empty() : !mim::equal_names(field, value.view())) {
            return 0;
        }
    }
    return static_cast<int>(attributes.level);
}

int match(const char *orn, const nm_index *index, char *key) {
    return mim::traced<TraceClass::kMain>("mim_MatchX400Domain", [&] { return match_key(orn, index, key); });
}

// The best line for an O/R name while the map is read.
struct BestLine {
    int level = 0;
    std::array<char, mim::kMapLineCapacity> domain;  // without a value until there is a level
};

// Takes the line in `line` (in-out, terminated; `length` characters were read) if it is better than the best
// so far.
void consider_line(char *line, std::size_t length, const char *orn, const nm_index *index, BestLine &best) {
    const std::size_t text_length = strnlen(line, length);
    const auto *key_end = static_cast<const char *>(std::memchr(line, mim::kMapSeparator, text_length));
    if (key_end == nullptr || key_end == line) {
        return;  // no key, or a comment
    }
    const auto key_length = static_cast<std::size_t>(key_end - line);
    const auto domain = mim::map_value({key_end + 1, text_length - key_length - 1});
    if (!domain) {
        return;
    }
    line[key_length] = '\0';
    const int level = match(orn, index, line);
    if (level > best.level) {
        best.level = level;
        text::copy_text(*domain, best.domain.data(), best.domain.size());
    }
}

// Builds the domain for the best line; returns false when a field is no label or the domain is too long.
bool build_domain(const char *orn, const nm_index *index, const BestLine &best, char *domain) {
    std::array<char, MIM_TEXT_SIZE> built;  // NOLINT(*-member-init): filled by the writer
    text::Writer out{built.data(), built.size()};
    const auto append = [&out](std::string_view part) {
        if (out.length() > 0) {
            out.append('.');
        }
        out.append(part);
    };
    for (std::size_t slot = mim::kSlotFields.size(); slot-- > static_cast<std::size_t>(best.level);) {
        const std::string_view field = mim::field_text(orn, index, mim::kSlotFields[slot]);
        if (field.empty()) {
            continue;
        }
        if (!text::is_domain_label(field)) {
            return false;
        }
        append(field);
    }
    if (const std::string_view mapped = best.domain.data(); !mapped.empty() && mapped != mim::kUnset) {
        append(mapped);
    }
    const std::size_t length = out.finish();
    if (length > MIM_MAX_TEXT) {
        return false;
    }
    text::copy_text({built.data(), length}, domain, MIM_TEXT_SIZE);
    return true;
}

int lookup_domain(const char *path, char *orn, char *domain) {
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    BestLine best;  // NOLINT(*-member-init)
    mim::LineFile file;
    mim::protected_region(
        mim::kOrnArpFile,
        [&] {
            mim::for_each_line<mim::kMapLineCapacity>(file, path, [&](char *line, std::size_t length) {
                consider_line(line, length, orn, &index, best);
            });
        },
        [&] { file.close_quietly(); });
    if (best.level == 0 || !build_domain(orn, &index, best, domain)) {
        return 0;
    }
    for (const int field : mim::kSlotFields) {
        if (!mim::field_text(orn, &index, field).empty()) {
            nm_PutFieldStr(orn, &index, field, "");
        }
    }
    return 1;
}

}  // namespace

int mim_X400DomainLookup(const char *path, char *orn, char *domain) {
    return mim::traced<TraceClass::kMain>(__func__, [&] { return lookup_domain(path, orn, domain); });
}

int mim_MatchX400Domain(const char *orn, nm_index *index, char *key) {
    return match(orn, index, key);
}
