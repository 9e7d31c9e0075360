// Where a ready Internet address for an O/R name may stand: in the name itself (recorded, or in a
// domain-defined attribute) or in the directory; and whether a name is the Internet gateway's.
//
// What the customisation decides is read once per process, at the first use.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "akt.h"
#include "ccs.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "frame.h"
#include "mdc.h"
#include "mes.h"
#include "mim.h"
#include "orn_field.h"
#include "q.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using mim::kNextBlock;
using mim::kNextField;
using mim::TraceClass;

constexpr const char *kStrictKey = "UAL_GIVE_GROUP5_INET_NAME_STRICT";
constexpr const char *kLongCheckKey = "UAL_DO_LONG_INET_CHECK";
constexpr const char *kDdaTypesKey = "UXO_CHECK_TYPES_OF_DDA";
constexpr const char *kResolveMaskKey = "INET_IA_RESOLVE_MASK";
constexpr const char *kGatewayNode = "UNIX";

constexpr int kSystemNameMessage = 7617;
constexpr std::size_t kSystemNameSize = 64;
constexpr const char *kSystemNameCharset = "ISO8859_1";
constexpr std::string_view kSystemNamePrefix = "MAIL-SYSTEM";

constexpr int kAddressFound = 1141;
constexpr int kAddressFoundSeverity = 13;
constexpr int kNameAmbiguous = 1142;
constexpr int kNameAmbiguousSeverity = 5;

// ---- Recorded address ----

// The mail system's own name. Read once per process.
class SystemName {
  public:
    [[nodiscard]] static const char *get() {
        static SystemName name;
        if (!name.is_read_) {
            mes_GetAnyMsg2(MES_SET_SERVER, kSystemNameMessage, name.text_.data(), kSystemNameSize,
                           kSystemNameCharset);
            name.is_read_ = true;
        }
        return name.text_.data();
    }

  private:
    bool is_read_ = false;
    std::array<char, kSystemNameSize> text_{};
};

int is_7bit(const char *text) {
    return ccs_Is7BitAscii(text, -1) != 0 ? 1 : 0;
}

int get_recorded_address(const char *orn, char *out, bool keep_text, int *from_system_name) {
    if (from_system_name != nullptr) {
        *from_system_name = 0;
    }
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    if (const std::string_view recorded = mim::field_text(orn, &index, NM_INTERNET_ADDRESS);
        !recorded.empty()) {
        std::array<char, MIM_TEXT_SIZE> text;  // NOLINT(*-member-init): filled by the next call
        text::copy_text(recorded, text.data(), text.size());
        std::array<char, MIM_ADDRESS_SIZE> address;  // NOLINT(*-member-init): filled by the next call
        mim_parse_address(text.data(), nullptr, address.data(), nullptr, nullptr, nullptr);
        text::copy_text(keep_text ? text.data() : address.data(), out, MIM_TEXT_SIZE);
        if (address.front() != '\0') {
            return is_7bit(address.data());
        }
    }
    const char *const system_name = SystemName::get();
    const std::string_view name = mim::field_text(orn, &index, NM_COMMON_NAME);
    if (name.empty() || name.size() != std::strlen(system_name) ||
        (name != system_name && !name.starts_with(kSystemNamePrefix))) {
        return 0;
    }
    text::copy_text(name, out, MIM_TEXT_SIZE);
    if (from_system_name != nullptr) {
        *from_system_name = 1;
    }
    return is_7bit(system_name);
}

// ---- Domain-defined attributes ----

// The types of domain-defined attribute that hold an Internet address. Read once per process.
class DdaTypes {
  public:
    [[nodiscard]] static const DdaTypes &get() {
        static DdaTypes types;
        if (!types.is_read_) {
            types.read();
            types.is_read_ = true;
        }
        return types;
    }

    [[nodiscard]] bool accepts(std::string_view type) const {
        return count_ == 0 || std::any_of(types_.begin(), types_.begin() + count_, [type](const Type &row) {
                   return text::equal_ignoring_case(row.data(), type);
               });
    }

    static constexpr std::size_t kMaxType = 20;

  private:
    using Type = std::array<char, kMaxType + 1>;

    void read() {
        const char *value = nullptr;
        if (cust_GetCustomiseInfo(kDdaTypesKey, &value) == 0) {
            return;
        }
        count_ = 0;
        std::string_view list = value;
        if (text::equal_ignoring_case(list, "false")) {
            return;
        }
        while (count_ < static_cast<std::ptrdiff_t>(types_.size())) {
            list.remove_prefix(std::min(list.find_first_not_of(' '), list.size()));
            if (list.empty()) {
                return;
            }
            const std::string_view item = list.substr(0, list.find(','));
            text::copy_text(item, types_[static_cast<std::size_t>(count_++)].data(), kMaxType + 1);
            list.remove_prefix(std::min(item.size() + 1, list.size()));
        }
    }

    bool is_read_ = false;
    std::ptrdiff_t count_ = 6;  // 0: every type
    std::array<Type, 10> types_{{{""}, {"RFC-822"}, {"ZTMEXT1"}, {"ZTMEXT2"}, {"ZTMEXT3"}, {"ZTMEXT4"}}};
};

bool is_accepted_type(std::string_view type) {
    return mim::traced<TraceClass::kMain>("mim_IsValidDDT", [type] { return DdaTypes::get().accepts(type); });
}

// The fields of the domain-defined attributes: their types, and their values one field further.
constexpr bool is_type_field(int field) {
    const int base = field >= NM_T61 ? field - NM_T61 : field;
    return base >= NM_DDA1_TYPE && base < NM_DDA4_VALUE && base % 2 != 0;
}
constexpr bool is_value_field(int field) {
    return is_type_field(field - 1);
}
constexpr int kLastValueField = NM_T61 + NM_DDA4_VALUE;

// Goes through an O/R name as it is written, so that a malformed one gives what stands before its fault.
class DdaSearch {
  public:
    explicit DdaSearch(std::string_view orn) : rest_(orn) {}

    // The first value of an accepted type; empty when there is none.
    [[nodiscard]] std::string_view find() {
        while (!is_malformed_ && field_ <= kLastValueField) {
            const std::string_view text = take_text();
            if (is_type_field(field_)) {
                if (text.size() > DdaTypes::kMaxType) {
                    break;
                }
                type_ = text;
            } else if (is_value_field(field_) && is_accepted_type(type_) && !text.empty()) {
                return text;
            }
            if (rest_.empty()) {
                break;
            }
            take_separator();
        }
        return {};
    }

  private:
    std::string_view take_text() {
        std::size_t length = 0;
        while (length < rest_.size() && rest_[length] != kNextField && rest_[length] != kNextBlock) {
            ++length;
        }
        const std::string_view text = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return text;
    }

    void take_separator() {
        if (rest_.front() == kNextField) {
            ++field_;
        } else if (field_ < NM_COMMON_NAME) {
            field_ = NM_COMMON_NAME;
        } else if (field_ < NM_T61) {
            field_ = NM_T61;
        } else {
            is_malformed_ = true;
        }
        rest_.remove_prefix(1);
    }

    std::string_view rest_;
    std::string_view type_;
    int field_ = 0;
    bool is_malformed_ = false;
};

int get_dda(const char *orn, char *out) {
    *out = '\0';
    const std::string_view value = DdaSearch{{orn, strnlen(orn, NM_ORN_SIZE - 1)}}.find();
    text::copy_text(value, out, MIM_TEXT_SIZE);
    return value.empty() ? 0 : is_7bit(out);
}

// ---- Routing ----

bool has_strict_routing() {
    static const bool is_strict = cust_PresentAndTrue(kStrictKey) != 0;
    return is_strict;
}

bool is_long_check_wanted() {
    static const bool is_wanted = cust_GetCustomiseInfo(kLongCheckKey, nullptr) != 0;
    return is_wanted;
}

bool is_routable(const char *orn, const nm_index *index) {
    return mim::traced<TraceClass::kMain>("mim_BaseRoutableToUnix", [&] {
        const bool is_strict = has_strict_routing();
        akt_route route{};
        if (akt_CheckRoutable(orn, &route) != 0) {
            return Q_NamesMatch(route.node, kGatewayNode) == 0;
        }
        return !is_strict && !mim::field_text(orn, index, NM_DDA1_VALUE).empty() &&
               is_accepted_type(mim::field_text(orn, index, NM_DDA1_TYPE));
    });
}

// ---- Directory ----

// The attributes that are enough to find a name. Read once per process.
class ResolveMask {
  public:
    // Null when there is none.
    [[nodiscard]] static const da_list *get() {
        static ResolveMask mask;
        if (!mask.is_read_) {
            mask.read();
            mask.is_read_ = true;
        }
        return mask.is_set_ ? &mask.list_ : nullptr;
    }

  private:
    void read() {
        const char *value = nullptr;
        if (cust_GetCustomiseInfo(kResolveMaskKey, &value) != 0) {
            mdc_strlcpy(text_.data(), value, text_.size());
            is_set_ = da_ParseEntry2(text_.data(), &list_, 0, 0, 0, 0) != 0;
        }
    }

    bool is_read_ = false;
    bool is_set_ = false;
    std::array<char, 128> text_{};
    da_list list_{};
};

// Compares without regard to case and blanks while it lives.
struct LooseComparison {
    LooseComparison() { dr_SetFilterModifier(DR_COMPARE_LOOSELY); }
    LooseComparison(const LooseComparison &) = delete;
    LooseComparison &operator=(const LooseComparison &) = delete;
    ~LooseComparison() {
        mim::clean_up_quietly([] { dr_SetFilterModifier(DR_COMPARE_EXACTLY); });
    }
};

struct Found {
    int status;
    int count;
    const da_entry *entry;
};

Found search(int16_t directory, const da_list &list, const char *attribute) {
    Found found{};
    found.status =
        dr_Search(directory, "", "", &list, 0, 1, attribute, &found.entry, "", 1, -1, &found.count);
    return found;
}

// Searches for the attributes in `list` (in-out) to the letter, else loosely, else for those of the mask.
Found search_in_steps(int16_t directory, da_list &list, const char *attribute) {
    Found found = search(directory, list, attribute);
    if (found.status == 1) {
        const LooseComparison loosely;
        found = search(directory, list, attribute);
    } else if (found.count == 0) {
        if (const da_list *mask = ResolveMask::get(); mask != nullptr && da_MaskEntry(&list, mask) != 0) {
            found = search(directory, list, attribute);
        }
    }
    return found;
}

// Copies the first value of the attribute that was asked for; returns false when the entry has none, or one
// that is too long for an address.
bool copy_address(const da_entry *entry, char *out) {
    da_list attributes;
    da_ParseAttribList(entry, &attributes);
    const da_attribute *address = da_GetAttrib(&attributes, 0);
    if (address == nullptr) {
        return false;
    }
    const std::string_view values{address->value, static_cast<std::size_t>(address->value_length)};
    const std::string_view first = values.substr(0, values.find(kNextField));
    if (first.size() > MIM_MAX_TEXT) {
        return false;
    }
    text::copy_text(first, out, MIM_TEXT_SIZE);
    return true;
}

void look_up(const char *orn, char *out, int16_t directory, const char *attribute, int &result) {
    da_list list;
    if (da_ConvORNToAttribList(orn, &list) == 0) {
        return;
    }
    const Found found = search_in_steps(directory, list, attribute);
    if (found.count > 1) {
        std::array<char, NM_LOG_SIZE> name;  // NOLINT(*-member-init): filled by the next call
        nm_FormatLogORN(orn, name.data());
        er_LogMsg(kNameAmbiguousSeverity, MES_SET_GATEWAY, kNameAmbiguous, name.data(), nullptr);
    } else if (found.status == 0 && found.count == 1 && copy_address(found.entry, out)) {
        result = 1;
        er_LogMsg(kAddressFoundSeverity, MES_SET_GATEWAY, kAddressFound, attribute, out, nullptr);
    }
}

}  // namespace

int mim_GetIA(const char *orn, char *out, int keep_text, int *from_system_name) {
    return mim::traced<TraceClass::kMain>(
        __func__, [&] { return get_recorded_address(orn, out, keep_text != 0, from_system_name); });
}

int mim_GetDDA(const char *orn, char *out) {
    return mim::traced<TraceClass::kMain>(__func__, [&] { return get_dda(orn, out); });
}

int mim_GetDirArpaORN(const char *orn, char *out, int mapping_on, int16_t directory, const char *attribute) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        int result = 0;
        if (mapping_on != 0 && directory != 0) {
            mim::protected_region(
                mim::kOrnArpFile, [&] { look_up(orn, out, directory, attribute, result); }, [] {},
                mim::Disposal::kAcceptConfiguration);
        }
        return result;
    });
}

int mim_RoutableToUnix(const char *orn) {
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    return is_routable(orn, &index) ? 1 : 0;
}

int mim_RoughRoutableToUnix(const char *orn) {
    const bool is_long_check = is_long_check_wanted();
    nm_index index;
    std::array<std::uint32_t, NM_MAP_WORDS> presence{};
    nm_ParseORN(orn, &index, presence.data());
    if (!is_long_check && nm_CheckBit(NM_DDA1_VALUE, presence.data()) == 0) {
        return 0;
    }
    return is_routable(orn, &index) ? 1 : 0;
}
