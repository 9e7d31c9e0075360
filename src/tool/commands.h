// The subcommands, by family: each registers its own with the option parser.
#ifndef TOOL_COMMANDS_H
#define TOOL_COMMANDS_H

#include <functional>
#include <string>
#include <vector>

#include "session.h"

// The option parser takes longer to compile than a family of subcommands does: commands.cpp and main.cpp
// alone include it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

struct Command {
    const CLI::App *app;                 // tells whether the subcommand was chosen
    std::function<void(Session &)> run;  // what it then does
};

void add_to_x400(CLI::App &parent, std::vector<Command> &commands);
void add_parse(CLI::App &parent, std::vector<Command> &commands);
void add_rules(CLI::App &parent, std::vector<Command> &commands);

// Adds a subcommand, and a family of them, of which one must be chosen.
CLI::App *add_command(CLI::App &parent, const char *name, const char *description);
CLI::App *add_family(CLI::App &parent, const char *name, const char *description);

// Adds an option without a value, and tells whether it was given.
const CLI::Option *add_flag(CLI::App &app, const char *name, const char *description);
[[nodiscard]] bool is_set(const CLI::Option *flag);

// Adds the positional arguments `name...`, the items of a subcommand, and returns those that were given.
const CLI::Option *add_items(CLI::App &app, const char *name);
[[nodiscard]] std::vector<std::string> items_of(const CLI::Option *items);

// The parser gives "++" and "[a,b]" meanings of its own, and passes what follows "--" to the wrong place.
// guard_arguments returns the arguments with a mark before each that must be taken as it stands, which is
// each one after "--" too; unguard takes the mark off again.
[[nodiscard]] std::vector<std::string> guard_arguments(int argc, char **argv);
[[nodiscard]] std::string unguard(const std::string &argument);

}  // namespace tool

#endif
