// What the error service reports: the failure that ended a call, log lines, trace events.
#ifndef TESTS_ER_CAPTURE_H
#define TESTS_ER_CAPTURE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "er.h"
#include "service_spy.h"

// What `call` raised: runs it as a protected region; the failure that ended it, if one did, is disposed of.
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

// The severity and the line of each log entry.
using LogEntries = std::vector<std::pair<int, std::string>>;

// The entry for a line of a file under sys/, at "FILE:LINE", that is skipped.
inline LogEntries::value_type skipped_line(const std::string &place, const char *reason) {
    return {ER_SEVERITY_WARNING, "100/920: ~/sys/" + place + ": line skipped: " + reason};
}

// What is logged while it lives.
class LogCapture {
  public:
    LogCapture() {
        er_SetLogSink(
            [](void *context, int severity, const char *line) {
                const spy::OwnMemory guard;
                static_cast<LogCapture *>(context)->entries_.emplace_back(severity, line);
            },
            this);
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;
    ~LogCapture() { er_SetLogSink(nullptr, nullptr); }

    // The entries since the last call.
    LogEntries take() { return std::exchange(entries_, {}); }

  private:
    LogEntries entries_;
};

// What is traced while it lives.
class TraceCapture {
  public:
    explicit TraceCapture(int level = 0) {
        er_SubSystemLoggingLevel = level;
        er_SetTraceSink(
            [](void *context, const er_trace_event *event) { static_cast<TraceCapture *>(context)->add(*event); },
            this);
    }
    TraceCapture(const TraceCapture &) = delete;
    TraceCapture &operator=(const TraceCapture &) = delete;
    ~TraceCapture() {
        er_SetTraceSink(nullptr, nullptr);
        er_SubSystemLoggingLevel = 0;
    }

    // As "> function class" and "< function class".
    std::vector<std::string> events;

  private:
    void add(const er_trace_event &event) {
        const spy::OwnMemory guard;
        if (event.function != nullptr) {
            const char *mark = event.kind == er_trace_event::ER_TRACE_ENTRY ? "> " : "< ";
            events.push_back(mark + std::string{event.function} + " " + std::to_string(event.trace_class));
        }
    }
};

#endif
