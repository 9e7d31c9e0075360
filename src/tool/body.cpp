// mim body: bodies into and out of a content transfer encoding.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "commands.h"
#include "json_line.h"
#include "mim.h"
#include "os.h"
#include "progress.h"
#include "stream_files.h"
#include "text/ascii.h"

namespace tool {

namespace {

// What both directions are told.
struct BodyOptions {
    std::string encoding;
    bool crlf = false;
    std::string in;
    std::string out;
};

// How it went: as a note, and as the result in JSON.
struct Outcome {
    const char *kind = "note";
    std::string text;
    Json result;
};

// What bodies are encoded in and decoded from.
constexpr std::array<std::string_view, 5> kEncodings = {"base64", "quoted-printable", "7bit", "8bit",
                                                        "binary"};
constexpr std::string_view kDecodedOnly = "x-uuencode";

// The library takes a name that it does not know for one of those that pass bytes on, and says nothing.
void look_at_encoding(Session &session, const std::string &encoding, bool decodes) {
    const auto is_it = [&](std::string_view name) { return text::equal_ignoring_case(encoding, name); };
    const bool is_known =
        std::any_of(kEncodings.begin(), kEncodings.end(), is_it) || (decodes && is_it(kDecodedOnly));
    if (!is_known && !session.quiet) {
        session.report("warning", "--encoding " + encoding + ": not known, taken for 8bit");
    }
}

// Runs `body`, which passes the input on to the output.
template <typename Body>
void pass_on(Session &session, const StreamFiles &files, Body &&body) {
    std::optional<er_identity> failure;
    {
        std::optional<ProgressBar> bar;
        // On a terminal, the body itself shows how far it is.
        if (!session.quiet && !session.trace && isatty(files.out()) == 0) {
            bar.emplace(files.in());
        }
        failure = session.run_step({}, body);
    }
    if (failure) {
        files.fail_input(describe(*failure));
    }
}

// The row stands beside the body, not in it.
void tell(Session &session, const BodyOptions &options, const StreamFiles &files, const Outcome &outcome) {
    if (session.json) {
        Output diagnostics{STDERR_FILENO};
        Output &rows = files.writes_to_standard_output() ? diagnostics : session.rows;
        Json row{{"input", options.in}, {"result", outcome.result}, {"status", "ok"}};
        append_json_line(rows.buffer(), row);
        rows.flush();
    } else if (!session.quiet) {
        session.report(outcome.kind, outcome.text);
    }
}

// ---- Encode ----

void encode(Session &session, const BodyOptions &options, const std::string &guard) {
    StreamFiles files{options.in, options.out};
    look_at_encoding(session, options.encoding, false);
    unsigned bytes = 0;
    unsigned lines = 0;
    int error = 0;
    pass_on(session, files, [&] {
        // The function does not tell that it ended early. What was interrupted has gone on.
        errno = 0;
        mim_EncMimeFile2(files.in(), files.out(), options.encoding.c_str(), guard.c_str(),
                         options.crlf ? 1 : 0, &bytes, &lines);
        error = errno == EINTR ? 0 : errno;
    });
    if (error != 0) {
        files.fail_either(error);
    }
    // The function counts up to 4 GiB.
    const off_t size = files.written().value_or(bytes);
    files.close_output();
    tell(session, options, files,
         {"note", "encoded: " + std::to_string(size) + " bytes, " + std::to_string(lines) + " line ends",
          Json{{"bytes", size}, {"lines", lines}}});
}

// ---- Decode ----

struct CloseStream {
    void operator()(os_file *file) const { os_fclose(file); }
};
using Stream = std::unique_ptr<os_file, CloseStream>;

struct Boundaries {
    std::string opening;
    std::string closing;
};

Outcome ended_at(const char *place, const char *word) {
    return {"note", std::string{"decoded up to "} + place, Json{{"end", word}}};
}

// Why decoding stopped, when it was for no fault of the files. The function tells of two reasons; the others
// show in the line that it read last.
Outcome find_end(const Stream &in, const Boundaries &boundaries, bool message_end,
                 bool closing_boundary_seen) {
    if (message_end) {
        return ended_at("the end of the message", "message");
    }
    if (closing_boundary_seen) {
        return ended_at("the closing boundary", "closing boundary");
    }
    int length = 0;
    const char *bytes = os_flast(in.get(), &length);
    if (bytes == nullptr) {
        return ended_at("the end of the input", "input");
    }
    const std::string_view line{bytes, static_cast<std::size_t>(length)};
    const std::string &boundary = boundaries.opening;
    if (!boundary.empty() && line.starts_with(boundary) &&
        line.find_first_not_of("\r\n", boundary.size()) == std::string_view::npos) {
        return ended_at("the boundary", "boundary");
    }
    Outcome outcome = ended_at("a line too short for its count", "short line");
    outcome.kind = "warning";
    return outcome;
}

void decode(Session &session, const BodyOptions &options, const Boundaries &boundaries) {
    StreamFiles files{options.in, options.out};
    look_at_encoding(session, options.encoding, true);
    bool is_whole = false;
    int error = 0;
    Outcome outcome;
    pass_on(session, files, [&] {
        const Stream in{os_fdopen(files.in(), "r")};
        const Stream out{os_fdopen(files.out(), "w")};
        int message_end = 0;
        int closing_boundary_seen = 0;
        errno = 0;
        mim_DecodeMimeFile(in.get(), out.get(), options.encoding.c_str(), boundaries.opening.c_str(),
                           boundaries.closing.c_str(), &message_end, &closing_boundary_seen,
                           options.crlf ? 1 : 0);
        is_whole = os_fflush(out.get()) == 0;
        error = errno;
        outcome = find_end(in, boundaries, message_end != 0, closing_boundary_seen != 0);
    });
    if (!is_whole) {
        files.fail_output(error);
    }
    files.close_output();
    tell(session, options, files, outcome);
}

// ---- Registration ----

// The options of one direction, as they are registered and as they were given.
struct Given {
    const CLI::Option *encoding;
    const CLI::Option *crlf;
    const CLI::Option *in;
    const CLI::Option *out;

    [[nodiscard]] BodyOptions read() const {
        return {value_of(encoding).value_or(""), is_set(crlf), value_of(in).value_or("-"),
                value_of(out).value_or("-")};
    }
};

Given add_body_options(CLI::App &app, const char *encodings, const char *crlf) {
    CLI::Option *encoding = add_value(app, "--encoding", "NAME", encodings, [](const std::string &name) {
        return name.empty() ? "names no encoding" : "";
    });
    require(encoding);
    return {encoding, add_flag(app, "--crlf", crlf),
            add_file(app, "IN", "The file to read; with none, or -, standard input"),
            add_file(app, "OUT", "The file to write; with none, or -, standard output")};
}

// A line of the input has no line end inside.
std::string find_line_fault(const std::string &text) {
    return text.find('\n') == std::string::npos ? "" : "not one line";
}

void add_encode(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, "encode", "Put a body into a transfer encoding");
    const Given given =
        add_body_options(*app, "base64, quoted-printable, 7bit, 8bit or binary", "End lines with CR LF");
    const CLI::Option *guard =
        add_value(*app, "--guard", "S", "Let no line begin with S in 7bit, 8bit and binary", find_line_fault);
    commands.push_back(
        {app, [=](Session &session) { encode(session, given.read(), value_of(guard).value_or("")); }});
}

void add_decode(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, "decode", "Take a body out of a transfer encoding");
    const Given given = add_body_options(*app, "base64, quoted-printable, x-uuencode, 7bit, 8bit or binary",
                                         "End lines of quoted-printable with CR LF");
    const CLI::Option *boundary =
        add_value(*app, "--boundary", "B", "The whole line that ends the part", find_line_fault);
    const CLI::Option *closing =
        add_value(*app, "--closing-boundary", "B",
                  "The line that ends the last part (else the boundary and --)", find_line_fault);
    commands.push_back({app, [=](Session &session) {
                            Boundaries boundaries{value_of(boundary).value_or(""), {}};
                            boundaries.closing = value_of(closing).value_or(
                                boundaries.opening.empty() ? "" : boundaries.opening + "--");
                            decode(session, given.read(), boundaries);
                        }});
}

}  // namespace

void add_body(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *family = add_family(parent, "body", "Encode and decode bodies");
    add_encode(*family, commands);
    add_decode(*family, commands);
}

}  // namespace tool
