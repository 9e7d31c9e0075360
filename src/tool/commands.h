// The subcommands, by family, each of which registers its own with the option parser; and the run of the one
// that the arguments choose.
#ifndef TOOL_COMMANDS_H
#define TOOL_COMMANDS_H

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "session.h"

// The option parser takes longer to compile than a family of subcommands does: commands.cpp alone includes
// it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

struct Command {
    const CLI::App *app;                 // tells whether the subcommand was chosen, and none of its own
    std::function<void(Session &)> run;  // what it then does
};

// Reads the arguments and runs the subcommand that they choose, or writes help or the version. What went
// wrong is reported and noted in `session`; failures of the library that end the run pass through.
void run_command(int argc, char **argv, Session &session);

void add_to_x400(CLI::App &parent, std::vector<Command> &commands);
void add_to_internet(CLI::App &parent, std::vector<Command> &commands);
void add_explain(CLI::App &parent, std::vector<Command> &commands);
void add_check(CLI::App &parent, std::vector<Command> &commands);
void add_roundtrip(CLI::App &parent, std::vector<Command> &commands);
void add_test(CLI::App &parent, std::vector<Command> &commands);
void add_certificate(CLI::App &parent, std::vector<Command> &commands);
void add_parse(CLI::App &parent, std::vector<Command> &commands);
void add_rules(CLI::App &parent, std::vector<Command> &commands);
void add_map(CLI::App &parent, std::vector<Command> &commands);
void add_msgid(CLI::App &parent, std::vector<Command> &commands);
void add_date(CLI::App &parent, std::vector<Command> &commands);
void add_body(CLI::App &parent, std::vector<Command> &commands);
void add_word(CLI::App &parent, std::vector<Command> &commands);
void add_xtext(CLI::App &parent, std::vector<Command> &commands);
void add_charset(CLI::App &parent, std::vector<Command> &commands);
void add_type(CLI::App &parent, std::vector<Command> &commands);
void add_short_name(CLI::App &parent, std::vector<Command> &commands);
void add_config(CLI::App &parent, std::vector<Command> &commands);

// Adds a subcommand, and a family of them, of which one must be chosen.
CLI::App *add_command(CLI::App &parent, const char *name, const char *description);
CLI::App *add_family(CLI::App &parent, const char *name, const char *description);

// Adds an option without a value, and tells whether it was given.
CLI::Option *add_flag(CLI::App &app, const char *name, const char *description);
[[nodiscard]] bool is_set(const CLI::Option *flag);

// Adds the pair of options --NAME and --no-NAME, and tells which was given last.
const CLI::Option *add_switch(CLI::App &app, const std::string &name, const char *description);
[[nodiscard]] std::optional<bool> switch_of(const CLI::Option *option);

// Adds an option with a value, which the help calls `value`, and returns what was given. `find_fault` returns
// what is wrong with a value, or the empty text.
using FindFault = std::function<std::string(const std::string &)>;
CLI::Option *add_value(CLI::App &app, const char *name, const char *value, const char *description,
                       const FindFault &find_fault = nullptr);
[[nodiscard]] std::optional<std::string> value_of(const CLI::Option *option);

// The same for a 16-bit number of at least `least`.
const CLI::Option *add_number(CLI::App &app, const char *name, const char *value, const char *description,
                              std::int16_t least = std::numeric_limits<std::int16_t>::min());
[[nodiscard]] std::optional<std::int16_t> number_of(const CLI::Option *option);

// The same for yes, no and auto; auto is the default, and the answer is then nothing.
const CLI::Option *add_choice(CLI::App &app, const char *name, const char *description);
[[nodiscard]] std::optional<bool> choice_of(const CLI::Option *option);

// Makes it wrong use to leave the option out.
void require(CLI::Option *option);

// Makes it wrong use to give both options.
void exclude(CLI::Option *one, CLI::Option *other);

// Makes it wrong use to give `option` without `other`.
void depend(CLI::Option *option, CLI::Option *other);

// Adds the positional argument `name`, of a file, which may be left out; value_of tells what was given.
const CLI::Option *add_file(CLI::App &app, const char *name, const char *description);

// Adds the positional arguments `name...`, files of which there may be none; items_of returns those given.
CLI::Option *add_files(CLI::App &app, const char *name, const char *description);

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
