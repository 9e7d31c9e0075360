// Lines of the call tree. A function that a failure unwinds announces no exit, so the exit of the function
// that caught it closes all that stand open inside.

#include "call_tree.h"

#include <algorithm>
#include <string_view>

namespace tool {

namespace {

constexpr std::size_t kIndent = 2;

void append_failure(std::string &out, const er_identity &failure) {
    out += std::to_string(failure.set);
    out += '/';
    out += std::to_string(failure.number);
}

void append_place(std::string &out, const er_identity &failure) {
    out += " at ";
    out += failure.file != nullptr ? failure.file : "?";
    out += ':';
    out += std::to_string(failure.line);
}

void append_call(std::string &out, char mark, const er_trace_event &event) {
    out += mark;
    out += ' ';
    out += event.function;
    out += " (";
    out += std::to_string(event.trace_class);
    out += ')';
}

}  // namespace

void CallTree::enter(const char *function) {
    if (depth_ < kMaxDepth) {
        functions_[depth_] = function;
    }
    ++depth_;
}

void CallTree::leave(const char *function) {
    if (depth_ > kMaxDepth) {
        --depth_;
        return;
    }
    for (std::size_t depth = depth_; depth > 0; --depth) {
        if (std::string_view{functions_[depth - 1]} == function) {
            depth_ = depth - 1;
            return;
        }
    }
}

void CallTree::append(const er_trace_event &event, std::string &out) {
    if (event.kind == er_trace_event::ER_TRACE_EXIT) {
        leave(event.function);
    }
    out.append(kIndent * std::min(depth_, kMaxDepth), ' ');
    switch (event.kind) {
        case er_trace_event::ER_TRACE_ENTRY:
            append_call(out, '>', event);
            enter(event.function);
            break;
        case er_trace_event::ER_TRACE_EXIT:
            append_call(out, '<', event);
            break;
        case er_trace_event::ER_TRACE_RAISED:
            out += "! raised ";
            append_failure(out, event.failure);
            append_place(out, event.failure);
            break;
        case er_trace_event::ER_TRACE_PASSED:
            out += "! passed on ";
            append_failure(out, event.failure);
            append_place(out, event.failure);
            break;
        case er_trace_event::ER_TRACE_TAKEN:
            out += "! taken ";
            append_failure(out, event.failure);
            out += " (" + std::to_string(event.trace_class) + ")";
            break;
    }
    out += '\n';
}

}  // namespace tool
