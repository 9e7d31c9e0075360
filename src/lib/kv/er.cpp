// Failures as C++ exceptions under the error service's names, the chain of handlers, trace and log.
//
// A raise puts the failure's identity aside as the pending failure and throws; handlers ask and dispose of
// the pending state, never of the exception object, so that a failure inside clean-up can be ignored without
// losing the one being handled. When nobody catches, the runtime finds no handler and calls the terminate
// handler, still on the stack of the raise: the one installed here says who the failure was, in one line.

#include "er.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>

#include "failures.h"
#include "text/writer.h"

int er_SubSystemLoggingLevel = 0;

namespace {

constexpr int kJumpValue = 1;

// The calling thread's handlers and pending failure; lives as long as the thread.
struct ThreadState {
    er_environment *environment = nullptr;
    er_status pending{};
    std::array<char, ER_LOG_SIZE> description{};  // what er_failure::what returns
};
thread_local ThreadState thread_state;

// Where trace and log go; set by the program, kept for the life of the process.
struct Sinks {
    void (*trace)(void *, const er_trace_event *) = nullptr;
    void *trace_context = nullptr;
    void (*watcher)(void *, const er_identity *) = nullptr;
    void *watcher_context = nullptr;
    void (*log)(void *, int, const char *) = nullptr;
    void *log_context = nullptr;
    int info_level = 0;
};
Sinks sinks;

std::atomic<bool> shutdown_asked{false};

void trace_failure(decltype(er_trace_event::kind) kind, int level, const er_identity &identity) {
    if (sinks.trace != nullptr) {
        const er_trace_event event{kind, level, nullptr, identity};
        sinks.trace(sinks.trace_context, &event);
    }
}

// The text of a message, or null also when the texts cannot be read now: who logs a failure must not meet
// another.
const char *find_text_quietly(int set, int number) {
    const er_status pending = thread_state.pending;
    er_environment environment{};
    er_environment *previous = er_SetCurrEnv(&environment);
    const char *message = nullptr;
    try {
        message = mes_GetText(set, number);
    } catch (const er_failure &) {
        thread_state.pending = pending;
    }
    er_SetCurrEnv(previous);
    return message;
}

// "102/1419: text (raised at FILE:LINE)" for people.
void describe(const er_identity &identity, char *out, std::size_t capacity) {
    const char *message = find_text_quietly(identity.set, identity.number);
    std::snprintf(out, capacity, "%d/%d: %s (raised at %s:%d)", identity.set, identity.number,
                  message != nullptr ? message : "no text", identity.file != nullptr ? identity.file : "?",
                  identity.line);
}

// Kept out of er_RealLogProc, which then needs no frame as long as nobody listens.
[[gnu::noinline]] void trace_call(int trace_class, const char *function, int entry) {
    const auto kind = entry != 0 ? er_trace_event::ER_TRACE_ENTRY : er_trace_event::ER_TRACE_EXIT;
    const er_trace_event event{kind, trace_class, function, {}};
    sinks.trace(sinks.trace_context, &event);
}

std::terminate_handler next_terminate_handler = nullptr;

// Says in one line which failure ended the process; any other exception is the previous handler's.
[[noreturn]] void end_process() {
    if (const std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const er_failure &failure) {
            std::array<char, ER_LOG_SIZE> text{};
            describe(failure.identity(), text.data(), text.size());
            std::array<char, ER_LOG_SIZE + 32> line{};
            const int length =
                std::snprintf(line.data(), line.size(), "mim: unhandled failure %s\n", text.data());
            // There is nobody left to tell if standard error is gone.
            [[maybe_unused]] const auto written =
                write(STDERR_FILENO, line.data(), static_cast<std::size_t>(length));
            std::abort();
        } catch (...) {
            // not a failure of this service
        }
    }
    if (next_terminate_handler != nullptr) {
        next_terminate_handler();
    }
    std::abort();
}

[[noreturn]] void raise_pending(er_environment *environment, int jump_value) {
    static std::once_flag installed;
    std::call_once(installed, [] { next_terminate_handler = std::set_terminate(end_process); });
    if (environment != nullptr) {
        environment->jump_value = jump_value;
    }
    const er_status &pending = thread_state.pending;
    throw er_failure(pending.identity, pending.persistent != 0);
}

[[noreturn]] void raise_failure(const er_identity &identity, bool persistent) {
    thread_state.pending = {identity, 1, persistent ? 1 : 0};
    trace_failure(er_trace_event::ER_TRACE_RAISED, 0, identity);
    if (sinks.watcher != nullptr) {
        sinks.watcher(sinks.watcher_context, &identity);
    }
    raise_pending(thread_state.environment, kJumpValue);
}

void dispose_of_failure(int level) {
    er_status &pending = thread_state.pending;
    trace_failure(er_trace_event::ER_TRACE_TAKEN, level, pending.identity);
    if (pending.persistent == 0) {
        pending.live = 0;
    }
}

void append_safely(text::Writer &line, char c) {
    if (!text::append_if_control(line, c)) {
        line.append(c);
    }
}

void append_safely(text::Writer &line, const char *text) {
    for (; *text != '\0'; ++text) {
        append_safely(line, *text);
    }
}

constexpr std::size_t kMaxLogArguments = 9;  // %1 to %9
using LogArguments = std::array<const char *, kMaxLogArguments>;

LogArguments collect_arguments(va_list list) {
    LogArguments arguments{};
    for (const char *&argument : arguments) {
        argument = va_arg(list, const char *);
        if (argument == nullptr) {
            break;
        }
    }
    return arguments;
}

// Writes `message` with its %1 ... %9 replaced; a number without an argument stays as it is.
void append_message(text::Writer &line, const char *message, const LogArguments &arguments) {
    for (const char *p = message; *p != '\0'; ++p) {
        const bool names_argument = p[0] == '%' && p[1] >= '1' && p[1] <= '9';
        const char *argument = names_argument ? arguments[static_cast<std::size_t>(p[1] - '1')] : nullptr;
        if (argument != nullptr) {
            append_safely(line, argument);
            ++p;
        } else {
            append_safely(line, *p);
        }
    }
}

void write_log(int severity, const char *line) {
    if (sinks.log != nullptr) {
        sinks.log(sinks.log_context, severity, line);
        return;
    }
    const int priority = severity <= ER_SEVERITY_ERROR     ? LOG_ERR
                         : severity <= ER_SEVERITY_WARNING ? LOG_WARNING
                         : severity <= ER_SEVERITY_NOTICE  ? LOG_NOTICE
                                                           : LOG_INFO;
    syslog(LOG_MAIL | priority, "%s", line);
}

}  // namespace

er_failure::er_failure(const er_identity &identity, bool persistent) noexcept
    : identity_(identity), persistent_(persistent) {}

er_failure::~er_failure() = default;

const char *er_failure::what() const noexcept {
    auto &description = thread_state.description;
    describe(identity_, description.data(), description.size());
    return description.data();
}

er_environment *er_SetCurrEnv(er_environment *environment) {
    er_environment *previous = thread_state.environment;
    thread_state.environment = environment;
    return previous;
}

er_environment *er_GetCurrEnv(void) {
    return thread_state.environment;
}

void er_TracedEscape(int set, int number, const char *file, int line) {
    raise_failure({set, number, file, line}, false);
}

void er_PersistentEscape(int set, int number, const char *file, int line) {
    raise_failure({set, number, file, line}, true);
}

void er_Jump(er_environment *environment, int jump_value) {
    raise_pending(environment, jump_value);
}

void er_Clear(void) {
    dispose_of_failure(0);
}

void er_Accept(int level) {
    dispose_of_failure(level);
}

int er_GetLive(void) {
    return thread_state.pending.live;
}

void er_TraceBeforeJump(const char *file, int line) {
    const er_identity &identity = thread_state.pending.identity;
    trace_failure(er_trace_event::ER_TRACE_PASSED, 0, {identity.set, identity.number, file, line});
}

void er_RecordStatus(er_status *status) {
    *status = thread_state.pending;
}

void er_RestoreStatus(const er_status *status) {
    thread_state.pending = *status;
}

int er_Try(void (*body)(void *), void *context) {
    er_environment environment{};
    er_environment *previous = er_SetCurrEnv(&environment);
    try {
        try {
            body(context);
        } catch (const std::bad_alloc &) {
            kv::raise_no_memory("er", __LINE__);
        }
    } catch (const er_failure &) {
        er_SetCurrEnv(previous);
        if (previous == nullptr) {
            thread_state.pending.live = 0;
        }
        return 1;
    } catch (...) {
        er_SetCurrEnv(previous);
        throw;
    }
    er_SetCurrEnv(previous);
    return 0;
}

void er_LastFailure(er_identity *identity) {
    *identity = thread_state.pending.identity;
}

void er_AskShutdown(int asked) {
    shutdown_asked.store(asked != 0, std::memory_order_relaxed);
}

void er_CheckShutdown(void) {
    if (shutdown_asked.load(std::memory_order_relaxed)) {
        er_PersistentEscape(MES_SET_SERVER, kv::kShutdownAsked, "er", __LINE__);
    }
}

void er_RealLogProc(int trace_class, const char *function, int entry) {
    if (sinks.trace != nullptr) {
        trace_call(trace_class, function, entry);
    }
}

void er_SetTraceSink(void (*sink)(void *context, const er_trace_event *event), void *context) {
    sinks.trace = sink;
    sinks.trace_context = context;
}

void er_WatchFailures(void (*watcher)(void *context, const er_identity *failure), void *context) {
    sinks.watcher = watcher;
    sinks.watcher_context = context;
}

void er_LogMsg(int severity, int set, int number, ...) {
    va_list list;
    va_start(list, number);
    const LogArguments arguments = collect_arguments(list);
    va_end(list);

    std::array<char, ER_LOG_SIZE> buffer{};
    const int prefix = std::snprintf(buffer.data(), buffer.size(), "%d/%d: ", set, number);
    const auto used = static_cast<std::size_t>(prefix);
    text::Writer line{buffer.data() + used, buffer.size() - used};
    const char *message = find_text_quietly(set, number);
    append_message(line, message != nullptr ? message : "%1 %2 %3", arguments);
    line.finish();
    write_log(severity, buffer.data());
}

void er_LogInfo(int level, const char *text, ...) {
    if (level > sinks.info_level || *text == '\0') {
        return;
    }
    std::array<char, ER_LOG_SIZE> buffer{};
    text::Writer line{buffer.data(), buffer.size()};
    va_list list;
    va_start(list, text);
    for (const char *part = text; part != nullptr; part = va_arg(list, const char *)) {
        append_safely(line, part);
    }
    va_end(list);
    line.finish();
    write_log(ER_SEVERITY_NOTICE + 1, buffer.data());
}

void er_SetInfoLevel(int level) {
    sinks.info_level = level;
}

void er_SetLogSink(void (*sink)(void *context, int severity, const char *line), void *context) {
    sinks.log = sink;
    sinks.log_context = context;
}
