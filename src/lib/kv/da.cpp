// Lists of directory attributes, and O/R names as such lists.

#include "da.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>

#include "da_internal.h"
#include "failures.h"
#include "nm_internal.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using kv::kNoField;

constexpr int kMapWordBits = 32;
constexpr text::CharSet kNameCharacters = text::kLetters | text::kDigits | text::CharSet{"-._"};

// An O/R name has fewer attributes than a list holds, and its DDAs' names fit: each byte of a type is a byte
// of the O/R name, and the prefixes come on top.
static_assert(NM_FIELD_COUNT - NM_LAST_POSTAL <= DA_MAX_ATTRIBUTES);
static_assert(2 * kv::kDdaCount * (kv::kT61Prefix.size() + kv::kDdaPrefix.size()) + NM_ORN_SIZE <=
              DA_NAMES_SIZE);

void append(da_list &list, std::string_view name, std::string_view value) {
    list.attributes[list.count++] = kv::make_attribute(name, value);
}

// The name of a DDA, put together in `list`.
std::string_view dda_name(da_list &list, bool is_t61, std::string_view type) {
    char *name = list.names + list.names_used;
    text::Writer out{name, sizeof list.names - static_cast<std::size_t>(list.names_used)};
    out.append(is_t61 ? kv::kT61Prefix : std::string_view{});
    out.append(kv::kDdaPrefix);
    out.append(type);
    const std::size_t length = out.finish();
    list.names_used += static_cast<int>(length);
    return {name, length};
}

// The field with the type of the DDA that `field` is part of, or kNoField.
int type_of_dda(int field) {
    const int base = kv::is_t61_form(field) ? field - NM_T61 : field;
    if (base < NM_DDA1_TYPE || base > NM_DDA4_VALUE) {
        return kNoField;
    }
    return field - (base - NM_DDA1_TYPE) % 2;
}

// Appends the attribute of a field that is present; false when it has no keyword.
bool append_field(const char *orn, const nm_index &index, int field, da_list &list) {
    if (const std::string_view keyword = kv::keyword_of_field(field); !keyword.empty()) {
        append(list, keyword, kv::field_text(orn, index, field));
        return true;
    }
    const int type_field = type_of_dda(field);
    if (type_field == kNoField) {
        return false;
    }
    const std::string_view type = kv::field_text(orn, index, type_field);
    if (field == type_field || type.empty()) {  // else the type brought the value along
        append(list, dda_name(list, kv::is_t61_form(field), type),
               kv::field_text(orn, index, type_field + 1));
    }
    return true;
}

bool append_fields(const char *orn, const nm_index &index, da_list &list) {
    std::array<std::uint32_t, NM_MAP_WORDS> present{};
    nm_GetFieldMaps(&index, present.data());
    for (std::size_t word = 0; word < present.size(); ++word) {
        for (std::uint32_t bits = present[word]; bits != 0; bits &= bits - 1) {
            const int field = static_cast<int>(word) * kMapWordBits + std::countr_zero(bits);
            if (!append_field(orn, index, field, list)) {
                return false;
            }
        }
    }
    return true;
}

// The type in the name of a DDA, and which form it is.
struct DdaName {
    bool is_t61;
    std::string_view type;
};

std::optional<DdaName> parse_dda_name(std::string_view name) {
    const bool is_t61 = kv::take_prefix(name, kv::kT61Prefix);
    if (!kv::take_prefix(name, kv::kDdaPrefix)) {
        return std::nullopt;
    }
    return DdaName{is_t61, name};
}

// Stores attributes in an O/R name, which is empty at first.
class NameBuilder {
  public:
    explicit NameBuilder(char *orn) : orn_(orn) { nm_InitORN(orn, &index_); }

    // False when it does not fit.
    bool add(const da_attribute &attribute) {
        const std::string_view values = kv::value_of(attribute);
        const std::string_view value = values.substr(0, values.find(kv::kValueSeparator));
        if (const auto dda = parse_dda_name(kv::name_of(attribute))) {
            return add_dda(*dda, value);
        }
        const int field = kv::field_of_keyword(kv::name_of(attribute));
        return field == kNoField || !kv::field_text(orn_, index_, field).empty() ||
               kv::try_put_field(orn_, index_, field, value);
    }

  private:
    bool add_dda(const DdaName &dda, std::string_view value) {
        if (dda.type.empty() && value.empty()) {
            return true;
        }
        std::size_t &count = dda.is_t61 ? t61_ddas_ : ddas_;
        if (count == kv::kDdaCount) {
            return false;
        }
        const int type_field = kv::dda_type_field(count++) + (dda.is_t61 ? NM_T61 : 0);
        return kv::try_put_field(orn_, index_, type_field, dda.type) &&
               kv::try_put_field(orn_, index_, type_field + 1, value);
    }

    char *orn_;
    nm_index index_{};
    std::size_t ddas_ = 0;
    std::size_t t61_ddas_ = 0;
};

bool holds_name(const da_list &list, std::string_view name) {
    return std::any_of(list.attributes, list.attributes + list.count, [name](const da_attribute &attribute) {
        return text::equal_ignoring_case(kv::name_of(attribute), name);
    });
}

// Reads NAME=VALUE or NAME; false when the name is none or the list is full.
bool append_item(std::string_view item, da_list &list) {
    const std::size_t equals = item.find('=');
    const std::string_view name = item.substr(0, equals);
    if (!kv::is_attribute_name(name) || list.count == DA_MAX_ATTRIBUTES) {
        return false;
    }
    append(list, name, equals == std::string_view::npos ? item.substr(item.size()) : item.substr(equals + 1));
    return true;
}

bool append_items(std::string_view items, da_list &list) {
    if (items.starts_with('/')) {
        items.remove_prefix(1);
    }
    if (items.ends_with('/')) {
        items.remove_suffix(1);
    }
    for (;;) {
        const std::size_t slash = items.find('/');
        if (!append_item(items.substr(0, slash), list)) {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        items.remove_prefix(slash + 1);
    }
}

}  // namespace

bool kv::is_attribute_name(std::string_view name) {
    return !name.empty() && name.size() < DA_NAME_SIZE &&
           std::all_of(name.begin(), name.end(), [](char c) { return kNameCharacters.contains(c); });
}

bool kv::is_orn_attribute(std::string_view name) {
    return parse_dda_name(name).has_value() || field_of_keyword(name) != kNoField;
}

void da_InitAttribList(da_list *list) {
    list->count = 0;
    list->names_used = 0;
}

void da_AddAttribToList(da_list *list, int capacity, const char *name, const char *value) {
    if (!kv::is_attribute_name(name)) {
        er_TracedEscape(MES_SET_SERVER, kv::kBadAttributeName, "da", __LINE__);
    }
    if (list->count >= std::min<int>(capacity, DA_MAX_ATTRIBUTES)) {
        er_TracedEscape(MES_SET_SERVER, kv::kAttributeListFull, "da", __LINE__);
    }
    append(*list, name, value);
}

int da_ConvORNToAttribList(const char *orn, da_list *list) {
    da_InitAttribList(list);
    nm_index index;
    if (nm_ParseORN(orn, &index, nullptr) == 0 || !append_fields(orn, index, *list)) {
        da_InitAttribList(list);
    }
    return list->count > 0 ? 1 : 0;
}

int da_ConvAttribListToORN(const da_list *list, char *orn) {
    NameBuilder name{orn};
    for (int i = 0; i < list->count; ++i) {
        if (!name.add(list->attributes[i])) {
            *orn = '\0';
            return 0;
        }
    }
    return *orn != '\0' ? 1 : 0;
}

int da_ParseAttribList(const da_entry *entry, da_list *list) {
    da_InitAttribList(list);
    if (entry != nullptr) {
        std::copy_n(entry->attributes, entry->count, list->attributes);
        list->count = entry->count;
    }
    return list->count;
}

const da_attribute *da_GetAttrib(const da_list *list, int number) {
    return number >= 0 && number < list->count ? &list->attributes[number] : nullptr;
}

int da_ParseEntry2(const char *text, da_list *list, int /*unused1*/, int /*unused2*/, int /*unused3*/,
                   int /*unused4*/) {
    da_InitAttribList(list);
    if (!append_items(text, *list)) {
        da_InitAttribList(list);
    }
    return list->count > 0 ? 1 : 0;
}

int da_MaskEntry(da_list *list, const da_list *mask) {
    da_attribute *end = list->attributes + list->count;
    const auto is_dropped = [mask](const da_attribute &attribute) {
        return !holds_name(*mask, kv::name_of(attribute));
    };
    const auto dropped = std::count_if(list->attributes, end, is_dropped);
    if (dropped == 0 || dropped == list->count) {
        return 0;
    }
    list->count = static_cast<int>(std::remove_if(list->attributes, end, is_dropped) - list->attributes);
    return 1;
}
