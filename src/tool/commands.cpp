// What the subcommands' registrations have in common.

#include "commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

#include "numbers.h"

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

}  // namespace tool
