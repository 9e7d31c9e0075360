// What the subcommands' registrations have in common.

#include "commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

namespace tool {

namespace {

constexpr char kGuard = '\x01';

bool needs_guard(std::string_view argument) {
    return argument == "++" || (!argument.empty() && (argument.front() == '[' || argument.front() == kGuard));
}

}  // namespace

CLI::App *add_command(CLI::App &parent, const char *name, const char *description) {
    return parent.add_subcommand(name, description);
}

CLI::App *add_family(CLI::App &parent, const char *name, const char *description) {
    return add_command(parent, name, description)->require_subcommand(1);
}

const CLI::Option *add_flag(CLI::App &app, const char *name, const char *description) {
    return app.add_flag(name)->description(description);
}

bool is_set(const CLI::Option *flag) {
    return flag->count() > 0 && flag->as<bool>();
}

const CLI::Option *add_items(CLI::App &app, const char *name) {
    // Read with Option::results: a typed target would take "{}" and "%%" for marks.
    return app.add_option(name)->type_size(1)->expected(0, -1)->allow_extra_args()->description(
        "The items; with none, or a single -, the lines of standard input");
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

}  // namespace tool
