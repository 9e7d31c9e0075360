// The option parser: the global options, the choice of the subcommand, and what the subcommands'
// registrations have in common.

#include "commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "home_files.h"
#include "numbers.h"

namespace tool {

namespace {

constexpr char kGuard = '\x01';
constexpr int kTraceEveryClass = 10;  // the level at which the library announces all its classes

bool needs_guard(std::string_view argument) {
    return argument == "++" || (!argument.empty() && (argument.front() == '[' || argument.front() == kGuard));
}

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

}  // namespace

CLI::App *add_command(CLI::App &parent, const char *name, const char *description) {
    return parent.add_subcommand(name, description);
}

CLI::App *add_family(CLI::App &parent, const char *name, const char *description) {
    return add_command(parent, name, description)->require_subcommand(1);
}

CLI::Option *add_flag(CLI::App &app, const char *name, const char *description) {
    return app.add_flag(name)->description(description);
}

bool is_set(const CLI::Option *flag) {
    return flag->count() > 0 && flag->as<bool>();
}

const CLI::Option *add_switch(CLI::App &app, const std::string &name, const char *description) {
    return app.add_flag("--" + name + ",!--no-" + name)->take_last()->description(description);
}

std::optional<bool> switch_of(const CLI::Option *option) {
    return option->count() > 0 ? std::optional{option->as<bool>()} : std::nullopt;
}

CLI::Option *add_value(CLI::App &app, const char *name, const char *value, const char *description,
                       const FindFault &find_fault) {
    // Read with Option::results, as the items are.
    CLI::Option *option = app.add_option(name)->type_size(1)->expected(1);
    if (find_fault) {
        option->check([find_fault](const std::string &text) { return find_fault(unguard(text)); });
    }
    return option->type_name(value)->description(description);
}

std::optional<std::string> value_of(const CLI::Option *option) {
    return option->count() > 0 ? std::optional{unguard(option->results().front())} : std::nullopt;
}

const CLI::Option *add_number(CLI::App &app, const char *name, const char *value, const char *description,
                              std::int16_t least) {
    return add_value(app, name, value, description, [least](const std::string &text) {
        const auto number = read_number<std::int16_t>(text);
        return number && *number >= least ? std::string{} : not_a_number(least);
    });
}

std::optional<std::int16_t> number_of(const CLI::Option *option) {
    const std::optional<std::string> text = value_of(option);
    return text ? read_number<std::int16_t>(*text) : std::nullopt;
}

const CLI::Option *add_choice(CLI::App &app, const char *name, const char *description) {
    return add_value(app, name, "yes|no|auto", description, [](const std::string &text) {
        return text == "yes" || text == "no" || text == "auto" ? "" : "neither yes, no nor auto";
    });
}

std::optional<bool> choice_of(const CLI::Option *option) {
    const std::string choice = value_of(option).value_or("auto");
    return choice != "auto" ? std::optional{choice == "yes"} : std::nullopt;
}

void require(CLI::Option *option) {
    option->required();
}

void exclude(CLI::Option *one, CLI::Option *other) {
    one->excludes(other);
}

void depend(CLI::Option *option, CLI::Option *other) {
    option->needs(other);
}

const CLI::Option *add_file(CLI::App &app, const char *name, const char *description) {
    return add_value(app, name, "", description,
                     [](const std::string &path) { return path.empty() ? "names no file" : ""; });
}

CLI::Option *add_files(CLI::App &app, const char *name, const char *description) {
    // Read with Option::results: a typed target would take "{}" and "%%" for marks.
    return app.add_option(name)->type_size(1)->expected(0, -1)->allow_extra_args()->description(description);
}

const CLI::Option *add_items(CLI::App &app, const char *name) {
    return add_files(app, name, "The items; with none, or a single -, the lines of standard input");
}

std::vector<std::string> items_of(const CLI::Option *items) {
    std::vector<std::string> plain = items->results();
    std::transform(plain.begin(), plain.end(), plain.begin(), unguard);
    return plain;
}

std::vector<std::string> guard_arguments(int argc, char **argv) {
    std::vector<std::string> guarded;
    bool after_mark = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--" && !after_mark) {
            after_mark = true;
        } else {
            guarded.push_back(after_mark || needs_guard(argument) ? kGuard + argument : argument);
        }
    }
    return guarded;
}

std::string unguard(const std::string &argument) {
    return !argument.empty() && argument.front() == kGuard ? argument.substr(1) : argument;
}

void run_command(int argc, char **argv, Session &session) {
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

}  // namespace tool
