// A call with each of its service calls failing once.
#ifndef TESTS_FAULT_MATRIX_H
#define TESTS_FAULT_MATRIX_H

#include <functional>
#include <optional>
#include <string>

#include "er_capture.h"
#include "fresh_process.h"
#include "service_spy.h"

// Runs `call` with its first service call failing, then its second, until none is left, each time in a process
// of its own: it ends in its normal way or with that failure in the caller's environment, announces one exit
// for each entry that it left normally, and works again after it, or then gives `given_up`. Returns how many
// calls it makes.
inline int fail_every_call(const char *name, spy::Fault fault, const std::function<std::string()> &call,
                           const std::optional<std::string> &given_up = std::nullopt) {
    const std::string normal = in_fresh_process(call);
    for (int nth = 1;; ++nth) {
        std::string failed = in_fresh_process([&] {
            const TraceCapture trace;
            spy::fail_call(nth, fault);
            const auto failure = failure_of([&call] { call(); });
            std::string failed_call = spy::end_fault();
            std::string calls_left_open;
            for (const std::string &event : trace.events) {
                if (event.starts_with(">")) {
                    calls_left_open += event.substr(1) + ";";
                } else {
                    calls_left_open.erase(calls_left_open.rfind(event.substr(1)));
                }
            }
            EXPECT_EQ(er_GetCurrEnv(), nullptr) << name << " " << failed_call;
            EXPECT_TRUE(!failure || is_failure(failure, spy::kFaultSet, spy::kFaultNumber) ||
                        is_failure(failure, spy::kMemorySet, spy::kMemoryNumber))
                << name << failed_call;
            EXPECT_EQ(calls_left_open.empty(), !failure) << name << " " << failed_call << " left " << calls_left_open;
            const std::string again = call();
            EXPECT_TRUE(again == normal || again == given_up) << name << " after " << failed_call << ": " << again;
            return failed_call;
        });
        if (failed.empty()) {
            return nth - 1;
        }
    }
}

#endif
