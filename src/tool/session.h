// One run of the command: the options that every subcommand obeys, where its rows and diagnostics go, and how
// it will end.
#ifndef TOOL_SESSION_H
#define TOOL_SESSION_H

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

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

    // Writes the line "mim: KIND: TEXT" on standard error, after the rows so far.
    void report(std::string_view kind, std::string_view text);

    void note(Exit exit);

    // Each item between two calls: begin_item forgets what the item before raised and left open;
    // report_survived reports the last failure that the library raised since then and got over by itself.
    void begin_item();
    void report_survived();

    // Writes the last rows, and returns how the command ends.
    [[nodiscard]] Exit finish();

  private:
    void log(int severity, const char *line);
    void trace_event(const er_trace_event &event);
    void write_diagnostic();

    Output diagnostics_;
    CallTree call_tree_;
    std::optional<er_identity> raised_;  // the last failure since begin_item
    Exit worst_ = Exit::kDone;
};

// Runs `body` as a protected region of the error service. Returns 0 when it returned, 1 when a failure ended
// it, as er_Try.
template <typename Body>
[[nodiscard]] int protect(Body &&body) {
    return er_Try([](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); }, &body);
}

// The catalogue text of this thread's last failure, with its set and number.
[[nodiscard]] std::string describe(const er_identity &failure);

}  // namespace tool

#endif
