// One run of the command: the options that every subcommand obeys, where its rows and diagnostics go, and how
// it will end.
#ifndef TOOL_SESSION_H
#define TOOL_SESSION_H

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "call_tree.h"
#include "er.h"
#include "output.h"

namespace tool {

// How the command ends; the worst of all that happened wins.
enum class Exit {
    kDone = 0,
    kNoResult = 1,  // some item had no result
    kWrongUse = 2,
    kFailed = 3  // a file or a service failed
};

// Why the command cannot go on: a file of its own, not an item. Ends it with Exit::kFailed.
class ToolError : public std::runtime_error {
  public:
    // "SUBJECT: what errno `error` means"
    ToolError(const std::string &subject, int error);

    // "SUBJECT: REASON"
    ToolError(const std::string &subject, const char *reason);
};

class Session {
  public:
    Session();
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // The global options, as given.
    std::string home;
    bool json = false;
    bool trace = false;
    bool quiet = false;

    // The rows, for standard output.
    Output rows;

    // Shows each call of the library on standard error from now on.
    void show_calls();

    // Writes the line "mim: KIND: TEXT" on standard error; in a terminal or file that has the rows too, after
    // those so far.
    void report(std::string_view kind, std::string_view text);

    void note(Exit exit);

    // While it lives, warnings and notes of the library's log are not reported: what is asked again in it was
    // reported the first time.
    class Silence {
      public:
        explicit Silence(Session &session) : session_(session), was_quiet_(session.quiet) {
            session_.quiet = true;
        }
        Silence(const Silence &) = delete;
        Silence &operator=(const Silence &) = delete;
        ~Silence() { session_.quiet = was_quiet_; }

      private:
        Session &session_;
        bool was_quiet_;
    };

    // While it lives, what the library logs is gathered in `lines` and not reported.
    class LogCapture {
      public:
        LogCapture(Session &session, std::vector<std::string> &lines) : session_(session) {
            session_.log_capture_ = &lines;
        }
        LogCapture(const LogCapture &) = delete;
        LogCapture &operator=(const LogCapture &) = delete;
        ~LogCapture() { session_.log_capture_ = nullptr; }

      private:
        Session &session_;
    };

    // Whether message (set, number) was what the current step logged last.
    [[nodiscard]] bool was_logged(int set, int number) const;

    // Runs `body`, which does what belongs to one item, or to none. Returns the failure that ended it, if one
    // did; a persistent one goes on to the outermost handler. The last one that the library raised and got
    // over by itself is reported, as one of `subject` unless that is empty.
    template <typename Body>
    [[nodiscard]] std::optional<er_identity> run_step(std::string_view subject, Body &&body);

    // Runs `body`, which prepares `subject` for the items. A failure is reported, and the run goes on.
    template <typename Body>
    void prepare(std::string_view subject, Body &&body);

    // Writes the last rows, and returns how the command ends.
    [[nodiscard]] Exit finish();

  private:
    void log(int severity, const char *line);
    void trace_event(const er_trace_event &event);
    void write_diagnostic();
    void begin_step();
    void report_failure(std::string_view subject, const er_identity &failure);

    Output diagnostics_;
    bool is_one_stream_;  // rows and diagnostics end in the same place
    CallTree call_tree_;
    std::optional<er_identity> raised_;  // the last failure since begin_step
    std::string logged_;                 // the last line of the log since then
    std::vector<std::string> *log_capture_ = nullptr;
    Exit worst_ = Exit::kDone;
};

// Runs `body` as a protected region of the error service. Returns 0 when it returned, 1 when a failure ended
// it, as er_Try.
template <typename Body>
[[nodiscard]] int protect(Body &&body) {
    return er_Try([](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); }, &body);
}

// Disposes of the failure that ended a protected region, and returns it; a persistent one goes on to the
// outermost handler.
[[nodiscard]] er_identity take_failure();

// The catalogue text of this thread's last failure, with its set and number.
[[nodiscard]] std::string describe(const er_identity &failure);

template <typename Body>
std::optional<er_identity> Session::run_step(std::string_view subject, Body &&body) {
    begin_step();
    if (protect(body) != 0) {
        return take_failure();
    }
    if (raised_) {
        report_failure(subject, *raised_);
    }
    return std::nullopt;
}

template <typename Body>
void Session::prepare(std::string_view subject, Body &&body) {
    if (const std::optional<er_identity> failure = run_step(subject, body)) {
        report_failure(subject, *failure);
    }
}

}  // namespace tool

#endif
