// The options of the conversion of Internet addresses into O/R names.
#ifndef TOOL_TO_X400_H
#define TOOL_TO_X400_H

#include <functional>

#include "commands.h"

namespace tool {

// Adds them to a subcommand, and tells the flags of mim_ArpaToORN2 that were asked for.
[[nodiscard]] std::function<unsigned char()> add_x400_options(CLI::App &app);

}  // namespace tool

#endif
