// The library's calls as --trace shows them: a line for each entry, exit and failure, indented by depth.
#ifndef TOOL_CALL_TREE_H
#define TOOL_CALL_TREE_H

#include <array>
#include <cstddef>
#include <string>

#include "er.h"

namespace tool {

class CallTree {
  public:
    // Forgets the calls that a failure unwound; for the start of an item.
    void restart() { depth_ = 0; }

    // Appends the line for `event` to `out`.
    void append(const er_trace_event &event, std::string &out);

  private:
    static constexpr std::size_t kMaxDepth = 512;

    void enter(const char *function);
    void leave(const char *function);

    // The functions entered and not yet left, innermost last; those below kMaxDepth are only counted.
    std::array<const char *, kMaxDepth> functions_{};
    std::size_t depth_ = 0;
};

}  // namespace tool

#endif
