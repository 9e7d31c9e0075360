// The run's options, its diagnostics and its end.

#include "session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "escape.h"
#include "mes.h"

namespace tool {

namespace {

bool end_in_one_file(int one, int other) {
    struct stat first {};
    struct stat second {};
    return fstat(one, &first) == 0 && fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

std::string error_text(int error) {
    return std::generic_category().message(error);
}

}  // namespace

ToolError::ToolError(const std::string &subject, int error)
    : std::runtime_error(subject + ": " + error_text(error)) {}

ToolError::ToolError(const std::string &subject, const char *reason)
    : std::runtime_error(subject + ": " + reason) {}

Session::Session()
    : rows(STDOUT_FILENO),
      diagnostics_(STDERR_FILENO),
      is_one_stream_(end_in_one_file(STDOUT_FILENO, STDERR_FILENO)) {
    er_SetLogSink([](void *session, int severity,
                     const char *line) { static_cast<Session *>(session)->log(severity, line); },
                  this);
    // This is how failures are seen that the library gets over in silence.
    er_WatchFailures([](void *session,
                        const er_identity *failure) { static_cast<Session *>(session)->raised_ = *failure; },
                     this);
}

Session::~Session() {
    er_SetLogSink(nullptr, nullptr);
    er_WatchFailures(nullptr, nullptr);
    er_SetTraceSink(nullptr, nullptr);
}

void Session::show_calls() {
    er_SetTraceSink([](void *session,
                       const er_trace_event *event) { static_cast<Session *>(session)->trace_event(*event); },
                    this);
}

void Session::report(std::string_view kind, std::string_view text) {
    std::string &line = diagnostics_.buffer();
    line += "mim: ";
    line += kind;
    line += ": ";
    append_escaped(line, text, text::kControls);
    line += '\n';
    write_diagnostic();
}

bool Session::was_logged(int set, int number) const {
    return logged_.starts_with(std::to_string(set) + "/" + std::to_string(number) + ":");
}

void Session::log(int severity, const char *line) {
    logged_ = line;
    if (log_capture_ != nullptr) {
        log_capture_->emplace_back(line);
        return;
    }
    if (severity <= ER_SEVERITY_ERROR) {
        note(Exit::kFailed);
        report("error", line);
    } else if (!quiet) {
        report(severity <= ER_SEVERITY_WARNING ? "warning" : "note", line);
    }
}

// What a service tells through errno outlives it.
void Session::trace_event(const er_trace_event &event) {
    const int error = errno;
    call_tree_.append(event, diagnostics_.buffer());
    write_diagnostic();
    errno = error;
}

// Rows first where both streams end in one terminal or file, so that each line stands where it belongs.
void Session::write_diagnostic() {
    if (is_one_stream_) {
        rows.flush();
    }
    diagnostics_.flush();
}

void Session::note(Exit exit) {
    worst_ = std::max(worst_, exit);
}

// Forgets what the step before raised, logged and left open.
void Session::begin_step() {
    call_tree_.restart();
    raised_.reset();
    logged_.clear();
}

void Session::report_failure(std::string_view subject, const er_identity &failure) {
    note(Exit::kFailed);
    report("error", (subject.empty() ? std::string{} : std::string{subject} + ": ") + describe(failure));
}

Exit Session::finish() {
    rows.flush();
    if (rows.error() != 0) {
        note(Exit::kFailed);
        report("error", "standard output: " + error_text(rows.error()));
    }
    return worst_;
}

er_identity take_failure() {
    er_identity failure{};
    er_LastFailure(&failure);
    er_Clear();
    if (er_GetLive() != 0) {
        er_TraceBeforeJump("session", __LINE__);
        er_Jump(er_GetCurrEnv(), 1);
    }
    return failure;
}

std::string describe(const er_identity &failure) {
    const char *text = nullptr;
    // The texts are a file's too, and reading it may be what failed.
    if (protect([&] { text = mes_GetText(failure.set, failure.number); }) != 0) {
        er_Clear();
    }
    return std::to_string(failure.set) + "/" + std::to_string(failure.number) + ": " +
           (text != nullptr ? text : "no text");
}

}  // namespace tool
