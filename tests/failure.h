// What a call raised: failure_of([&] { ... }).
#ifndef TESTS_FAILURE_H
#define TESTS_FAILURE_H

#include <optional>

#include "er.h"

// Runs `call` as a protected region; the failure that ended it, if one did, is disposed of.
template <typename Call>
std::optional<er_identity> failure_of(Call call) {
    if (er_Try([](void *context) { (*static_cast<Call *>(context))(); }, &call) == 0) {
        return std::nullopt;
    }
    er_Clear();
    er_identity identity{};
    er_LastFailure(&identity);
    return identity;
}

// Whether `failure` has the message (set, number).
inline bool is_failure(const std::optional<er_identity> &failure, int set, int number) {
    return failure && failure->set == set && failure->number == number;
}

#endif
