// Single texts taken out of an O/R name, each held by the library until the next one.

#include <array>
#include <memory>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "orn_field.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

using HeldText = std::unique_ptr<char, mim::Release<os_free>>;

// What the last call of each function returned.
HeldText held_address;
HeldText held_common_name;

const char *hold(HeldText &slot, const char *text) {
    slot.reset(os_strdup(text));
    return slot.get();
}

const char *extract_address(const char *orn) {
    held_address.reset();
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    const std::string_view recorded = mim::field_text(orn, &index, NM_INTERNET_ADDRESS);
    if (recorded.empty()) {
        return nullptr;
    }
    std::array<char, MIM_TEXT_SIZE> text;  // NOLINT(*-member-init): filled by the next call
    text::copy_text(recorded, text.data(), text.size());
    std::array<char, MIM_ADDRESS_SIZE> address;  // NOLINT(*-member-init): filled by the next call
    mim_parse_address(text.data(), nullptr, address.data(), nullptr, nullptr, nullptr);
    return address.front() != '\0' ? hold(held_address, address.data()) : nullptr;
}

const char *extract_common_name(const char *orn) {
    held_common_name.reset();
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    std::string_view name = mim::field_text(orn, &index, NM_T61 + NM_COMMON_NAME);
    if (name.empty()) {
        name = mim::field_text(orn, &index, NM_COMMON_NAME);
    }
    if (name.empty()) {
        return nullptr;
    }
    std::array<char, NM_ORN_SIZE> text;  // NOLINT(*-member-init): filled by the next call
    text::copy_text(name, text.data(), text.size());
    return hold(held_common_name, text.data());
}

}  // namespace

const char *mim_ExtractIaFromORN(const char *orn) {
    return mim::traced<TraceClass::kMain>(__func__, [&] { return extract_address(orn); });
}

const char *mim_ExtractCnFromORN(const char *orn) {
    return mim::traced<TraceClass::kMain>(__func__, [&] { return extract_common_name(orn); });
}
