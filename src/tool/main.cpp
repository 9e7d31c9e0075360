// The mim command: global options, the choice of the subcommand, and the end of the process.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <sstream>
#include <utility>

#include "commands.h"
#include "home_files.h"

namespace tool {

namespace {

constexpr int kTraceEveryClass = 10;  // the level at which the library announces all its classes

void add_global_options(CLI::App &app, Session &session) {
    app.add_option("--home", session.home, "The server's home (else $KV_HOME, else /var/lib/mim)")
        ->type_name("DIR")
        ->check([](const std::string &directory) {
            return directory.empty() ? std::string{"names no directory"} : std::string{};
        });
    app.add_flag("--json", session.json, "Write one JSON object per row");
    app.add_flag("--trace", session.trace, "Show the library's calls on standard error");
    app.add_flag("--quiet", session.quiet, "Leave warnings and notes out");
    app.set_version_flag("--version", "mim " MIM_VERSION, "Write the version and exit");
    app.set_help_flag("--help", "Write this help and exit");
}

void apply_global_options(Session &session) {
    if (!session.home.empty()) {
        use_home(unguard(session.home));
    }
    if (session.trace) {
        er_SubSystemLoggingLevel = kTraceEveryClass;
        session.show_calls();
    }
}

// Whether a subcommand is missing, behind those that were chosen.
bool takes_subcommand(const CLI::App &app) {
    const std::vector<CLI::App *> chosen = app.get_subcommands();
    return chosen.empty() ? app.get_require_subcommand_min() > 0 : takes_subcommand(*chosen.front());
}

// What the parser found wrong, in words that name the culprit.
std::string describe(const CLI::ParseError &error, const CLI::App &app) {
    const std::vector<std::string> unknown = app.remaining(true);
    const auto option = std::find_if(unknown.begin(), unknown.end(),
                                     [](const std::string &name) { return name.starts_with('-'); });
    if (option != unknown.end()) {
        return "unknown option: " + *option;
    }
    if (!unknown.empty()) {
        return (takes_subcommand(app) ? "unknown subcommand: " : "one argument too many: ") +
               unguard(unknown.front());
    }
    return error.what();
}

// Help and version are results, on standard output; anything else is wrong use.
void finish_parsing(const CLI::ParseError &error, const CLI::App &app, Session &session) {
    if (error.get_exit_code() == 0) {
        std::ostringstream text;
        app.exit(error, text, text);
        session.rows.buffer() += text.str();
        return;
    }
    session.note(Exit::kWrongUse);
    session.report("error", describe(error, app) + " (try mim --help)");
}

void run(int argc, char **argv, Session &session) {
    CLI::App app{"Convert between Internet mail and X.400 as the mail server does.", "mim"};
    app.require_subcommand(1);
    app.fallthrough();
    add_global_options(app, session);
    std::vector<Command> commands;
    add_to_x400(app, commands);
    add_to_internet(app, commands);
    add_explain(app, commands);
    add_check(app, commands);
    add_roundtrip(app, commands);
    add_test(app, commands);
    add_certificate(app, commands);
    add_parse(app, commands);
    add_rules(app, commands);
    add_map(app, commands);
    add_msgid(app, commands);
    add_date(app, commands);
    add_body(app, commands);
    add_word(app, commands);
    add_xtext(app, commands);
    add_charset(app, commands);
    add_type(app, commands);
    add_short_name(app, commands);
    add_config(app, commands);
    std::vector<std::string> arguments = guard_arguments(argc, argv);
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError &error) {
        finish_parsing(error, app, session);
        return;
    }
    try {
        apply_global_options(session);
        for (const Command &command : commands) {
            if (command.app->parsed() && command.app->get_subcommands().empty()) {
                command.run(session);
            }
        }
    } catch (const ToolError &error) {
        session.note(Exit::kFailed);
        session.report("error", error.what());
    }
}

}  // namespace

}  // namespace tool

int main(int argc, char **argv) {
    // A reader that goes away and a file that may not grow are writes that fail, and are reported as such.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    tool::Session session;
    if (tool::protect([&] { tool::run(argc, argv, session); }) != 0) {
        er_identity failure{};
        er_LastFailure(&failure);
        session.note(tool::Exit::kFailed);
        session.report("error", tool::describe(failure));
    }
    return static_cast<int>(session.finish());
}
