// mim test: an administrator's own golden cases, lines of an item and what it is to become.

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "both_ways.h"
#include "changes.h"
#include "descriptor.h"
#include "escape.h"
#include "explanation.h"
#include "items.h"
#include "json_line.h"
#include "rows.h"

namespace tool {

namespace {

constexpr char kColumnMark = '\t';
constexpr const char *kNoResult = "no result";

// A line of a file of cases. A third column and what follows it do not count, so that rows are cases.
struct Case {
    std::string place;
    std::string item;
    std::string expected;  // empty: there is to be no result
};

// What became of a case.
struct Outcome {
    std::string got;              // empty: no result
    std::string fault;            // why there is none
    std::vector<Change> changes;  // from what was expected
    bool is_different = false;
};

struct Counts {
    std::size_t as_expected = 0;
    std::size_t different = 0;
    std::size_t bad_lines = 0;
};

class CaseRunner {
  public:
    CaseRunner(Session &session, BothWaysOptions options)
        : session_(session), ways_(session, std::move(options)) {}

    // Runs the cases of the file `path`, "-" for standard input. Throws ToolError when it cannot be read.
    void run_file(const std::string &path) {
        const bool is_standard = path == "-";
        const Descriptor file{is_standard ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)};
        const std::string name = is_standard ? kStandardInput : path;
        if (file.get() < 0) {
            throw ToolError(name, errno);
        }
        LineReader lines{file.get(), name, session_.rows};
        std::size_t number = 0;
        while (session_.rows.error() == 0) {
            const std::optional<Item> line = lines.next();
            if (!line) {
                return;
            }
            run_line(*line, name + ":" + std::to_string(++number));
            session_.rows.flush_full_block();
        }
    }

    void write_summary() {
        const std::size_t all = counts_.as_expected + counts_.different + counts_.bad_lines;
        std::string &out = session_.rows.buffer();
        if (session_.json) {
            Json row{{"cases", all},
                     {"as_expected", counts_.as_expected},
                     {"different", counts_.different},
                     {"bad_lines", counts_.bad_lines}};
            append_json_line(out, row);
            return;
        }
        out += std::to_string(counts_.as_expected) + " of " + counted(all, "case") + " as expected";
        if (counts_.different > 0) {
            out += ", " + std::to_string(counts_.different) + " different";
        }
        if (counts_.bad_lines > 0) {
            out += ", " + counted(counts_.bad_lines, "bad line");
        }
        out += '\n';
    }

  private:
    void run_line(const Item &line, const std::string &place) {
        if (line.cut) {
            return report_bad_line(line.text, place, "longer than " + std::to_string(kMaxLine) + " bytes");
        }
        if (line.text.empty() || line.text.front() == '#') {
            return;
        }
        const std::size_t mark = line.text.find(kColumnMark);
        if (mark == std::string_view::npos) {
            return report_bad_line(line.text, place, "no tab between an item and what is expected");
        }
        if (line.text.find('\0') != std::string_view::npos) {
            return report_bad_line(line.text, place, "holds a zero byte");
        }
        const std::string_view rest = line.text.substr(mark + 1);
        run_case({place, std::string{line.text.substr(0, mark)},
                  std::string{rest.substr(0, rest.find(kColumnMark))}});
    }

    void report_bad_line(std::string_view line, const std::string &place, const std::string &reason) {
        ++counts_.bad_lines;
        session_.note(Exit::kNoResult);
        if (session_.json) {
            Json row{{"input", line},
                     {"result", nullptr},
                     {"status", "error: " + reason},
                     {"expected", nullptr},
                     {"place", place}};
            append_json_line(session_.rows.buffer(), row);
        } else {
            append_line("", place + ": error: " + reason);
        }
    }

    void run_case(const Case &test) {
        const bool is_name = ways_.is_name(test.item.c_str());
        std::string reason;
        if (!is_name && !test.expected.empty() && !read_orn(test.expected.c_str(), expected_, reason)) {
            return report_bad_line(test.item + kColumnMark + test.expected, test.place,
                                   "no O/R name is expected: " + reason);
        }
        Outcome outcome;
        const std::optional<er_identity> failure = session_.run_step(test.place, [&] {
            if (ways_.read(test.item.c_str(), orn_, outcome.fault)) {
                is_name ? compare_address(test, outcome) : compare_name(test, outcome);
            }
        });
        if (failure) {
            session_.note(Exit::kFailed);
            outcome = {"", describe(*failure), {}, true};
        }
        outcome.is_different = outcome.is_different || outcome.got.empty() != test.expected.empty();
        ++(outcome.is_different ? counts_.different : counts_.as_expected);
        if (outcome.is_different) {
            session_.note(Exit::kNoResult);
        }
        report(test, outcome);
    }

    void compare_address(const Case &test, Outcome &outcome) {
        outcome.got = ways_.convert(orn_);
        if (outcome.got.empty()) {
            outcome.fault = "no address";
        } else if (!test.expected.empty() && outcome.got != test.expected) {
            outcome.is_different = true;
            outcome.changes = changes_of_address(test.expected, outcome.got, Comparison::kExact, true);
        }
    }

    void compare_name(const Case &test, Outcome &outcome) {
        const int length = nm_FormatText(orn_.text.data(), orn_.form.data(), NM_TEXT_SIZE);
        outcome.got.assign(orn_.form.data(), static_cast<std::size_t>(length));
        if (!test.expected.empty()) {
            outcome.changes = changes_of_name(expected_, orn_, Comparison::kExact);
            outcome.is_different = !outcome.changes.empty();
        }
    }

    void report(const Case &test, const Outcome &outcome) {
        if (session_.json) {
            Json row{{"input", test.item},
                     {"result", outcome.got.empty() ? Json{} : Json(outcome.got)},
                     {"status", outcome.is_different ? "different" : "ok"},
                     {"expected", test.expected.empty() ? Json{} : Json(test.expected)},
                     {"place", test.place},
                     {"changed", json_of(outcome.changes)}};
            append_json_line(session_.rows.buffer(), row);
        } else if (outcome.is_different) {
            append_line("", test.place + ": different: " + test.item);
            append_line("  expected: ", test.expected.empty() ? kNoResult : test.expected);
            append_line("  got:      ",
                        !outcome.got.empty() ? outcome.got : kNoResult + (": " + outcome.fault));
            for (const Change &change : outcome.changes) {
                append_line("    ",
                            change.part + ": " + in_quotes(change.was) + " -> " + in_quotes(change.is));
            }
        }
    }

    void append_line(std::string_view label, const std::string &text) {
        std::string &out = session_.rows.buffer();
        out += label;
        append_escaped(out, text, kColumnSpecials);
        out += '\n';
    }

    Session &session_;
    BothWays ways_;
    OrName orn_{};
    OrName expected_{};
    Counts counts_;
};

void run(Session &session, const std::vector<std::string> &paths, BothWaysOptions options) {
    CaseRunner runner{session, std::move(options)};
    for (const std::string &path : paths) {
        try {
            runner.run_file(path);
        } catch (const ToolError &error) {
            session.note(Exit::kFailed);
            session.report("error", error.what());
        }
    }
    runner.write_summary();
}

}  // namespace

void add_test(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "test", "Run golden cases, and show what differs");
    const std::function<BothWaysOptions()> options = add_both_ways_options(*app);
    CLI::Option *files = add_files(*app, "CASES", "Files of lines ITEM TAB EXPECTED; - for standard input");
    require(files);
    commands.push_back({app, [=](Session &session) {
                            require_home_of_both_ways();
                            run(session, items_of(files), options());
                        }});
}

}  // namespace tool
