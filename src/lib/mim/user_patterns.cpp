// Lists of address patterns, such as a caller keeps of users who are handled in a way of their own.

#include <cstdint>
#include <string_view>

#include "mim.h"
#include "text/ascii.h"

namespace {

constexpr char kAnyRest = '*';

// An address, or a pattern of some, at its first "@". Without one the domain is empty.
struct Parts {
    std::string_view local;
    std::string_view domain;
};

Parts split(std::string_view address) {
    const std::size_t at = address.find('@');
    if (at == std::string_view::npos) {
        return {address, {}};
    }
    return {address.substr(0, at), address.substr(at + 1)};
}

bool matches(const Parts &address, const Parts &pattern) {
    if (!pattern.domain.empty() && !text::equal_ignoring_case(address.domain, pattern.domain)) {
        return false;
    }
    if (pattern.local.empty()) {
        return true;
    }
    const std::size_t star = pattern.local.find(kAnyRest);
    if (star == std::string_view::npos) {
        return text::equal_ignoring_case(address.local, pattern.local);
    }
    return text::starts_with_ignoring_case(address.local, pattern.local.substr(0, star));
}

}  // namespace

int32_t mim_catchUser(const char *address, const struct mim_user_pattern *list) {
    if (address == nullptr) {
        return 0;
    }
    const Parts parts = split(address);
    for (; list != nullptr; list = list->next) {
        if (matches(parts, split(list->pattern))) {
            return list->value;
        }
    }
    return 0;
}
