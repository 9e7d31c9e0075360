// er: failures and their handlers, tracing, and the server log.
//
// A failure is raised with er_TracedEscape and unwinds, as a C++ exception of type er_failure, to the
// innermost handler. Handlers announce themselves in a chain of environments (er_SetCurrEnv) that is exactly
// nested: who installs an environment reinstates the one that it replaced, whichever way its region ends. The
// steps of a handler, in this order:
//
//   1. reinstate the previous environment with er_SetCurrEnv;
//   2. er_Clear (or er_Accept) to dispose of the pending failure;
//   3. its own clean-up;
//   4. er_GetLive: non-zero means that the failure must go on: er_TraceBeforeJump and er_Jump; 0 means go on
//   here.
//
// A failure is recoverable (step 2 ends it, and er_GetLive answers 0) or persistent (memory exhausted,
// shutdown asked for): it stays live through step 2, so that every handler on the way out cleans up and
// passes it on.
//
// A C caller protects a call with er_Try; a C++ caller may also write `catch (const er_failure &)`. C
// functions that a failure unwinds through are compiled with -fexceptions. A failure that nobody handles ends
// the process with one line on standard error. The chain and the pending failure belong to the calling
// thread; the trace level and the sinks to the process.
#ifndef ER_H
#define ER_H

#include "kv_export.h"

#ifdef __cplusplus
#include <exception>
extern "C" {
#endif

// ---- Failures ----

// One link of the chain: a handler that is installed. It lives on its owner's stack and is filled by the
// service.
typedef struct er_environment {
    int jump_value;  // 0 while the region runs; then the value of the raise that ended it, never 0
} er_environment;

// Who a failure is: its message in the catalogue, and where it was raised. `file` points at static text.
typedef struct er_identity {
    int set;
    int number;
    const char *file;
    int line;
} er_identity;

// A saved failure state, to be put back later. Owned by the caller; only the service reads or writes what is
// in it.
typedef struct er_status {
    er_identity identity;
    int live;
    int persistent;
} er_status;

// Makes `environment` the innermost handler and returns the one that it replaces (null when there was none),
// which the caller reinstates, with this same function, when its region ends.
KV_EXPORT er_environment *er_SetCurrEnv(er_environment *environment);

// Returns the innermost handler now installed, or null.
KV_EXPORT er_environment *er_GetCurrEnv(void);

// Raises a recoverable failure with catalogue message (set, number), raised at line `line` of `file` (static
// text). Does not return.
KV_EXPORT __attribute__((noreturn)) void er_TracedEscape(int set, int number, const char *file, int line);

// The same for a persistent failure, which stays live until the outermost handler.
KV_EXPORT __attribute__((noreturn)) void er_PersistentEscape(int set, int number, const char *file, int line);

// Passes the pending failure on to `environment`, which is the innermost handler (er_GetCurrEnv), with
// `jump_value` (never 0; the handlers of this system pass 1). Does not return.
KV_EXPORT __attribute__((noreturn)) void er_Jump(er_environment *environment, int jump_value);

// Disposes of the pending failure at the start of a handler. A persistent failure stays live.
KV_EXPORT void er_Clear(void);

// As er_Clear, and notes in the trace that a handler of `level` took the failure: 3 configuration and
// certificates, 5 directory searches.
KV_EXPORT void er_Accept(int level);

// Returns non-zero when the pending failure must go on to the next outer handler, else 0.
KV_EXPORT int er_GetLive(void);

// Records in the trace that the pending failure is being passed on at line `line` of `file` (static text).
KV_EXPORT void er_TraceBeforeJump(const char *file, int line);

// Saves the pending failure state in `status`, and puts it back. For clean-up that may itself fail, and
// around regions whose failures are ignored.
KV_EXPORT void er_RecordStatus(er_status *status);
KV_EXPORT void er_RestoreStatus(const er_status *status);

// Runs `body(context)` as a protected region. Returns 0 when it returned, 1 when a failure ended it: the
// previous environment is then reinstated, er_LastFailure tells who the failure was, and the caller takes
// over at step 2 above. With no environment outside it, er_Try is the outermost handler: the failure is over,
// a persistent one too.
KV_EXPORT int er_Try(void (*body)(void *), void *context);

// Copies the identity of this thread's last failure (pending or disposed of) into `identity`; all zero when
// there was none.
KV_EXPORT void er_LastFailure(er_identity *identity);

// Asks for shutdown: from now on every service call that opens or reads a file raises the persistent failure
// (100, 902). `asked` 0 takes the request back. Safe in a signal handler.
KV_EXPORT void er_AskShutdown(int asked);

// Raises the persistent failure (100, 902) when shutdown was asked for; otherwise does nothing. For services
// that wait or read.
KV_EXPORT void er_CheckShutdown(void);

// ---- Trace ----

// The trace level. Trace classes 19 and 21 are announced only when it is above 9. 0 at start.
KV_EXPORT extern int er_SubSystemLoggingLevel;

// Announces that `function` is entered (`entry` 1) or left (0). Without a sink it costs one load and one
// branch.
KV_EXPORT void er_RealLogProc(int trace_class, const char *function, int entry);

// One trace event. `kind` says which of the other members hold something.
typedef struct er_trace_event {
    enum er_trace_kind {
        ER_TRACE_ENTRY,   // function, trace_class
        ER_TRACE_EXIT,    // function, trace_class
        ER_TRACE_RAISED,  // failure: a failure was raised
        ER_TRACE_PASSED,  // failure's message, with the file and line where a handler passed it on
        ER_TRACE_TAKEN    // failure, trace_class: a handler of that level disposed of it (0: er_Clear)
    } kind;
    int trace_class;
    const char *function;
    er_identity failure;
} er_trace_event;

// Sends every trace event to `sink(context, event)`; null switches tracing off, as it is at start. The event
// is valid during the call only. The sink must not raise.
KV_EXPORT void er_SetTraceSink(void (*sink)(void *context, const er_trace_event *event), void *context);

// Tells `watcher(context, failure)` of each failure that is raised, also of those that a handler swallows;
// null ends that. Unlike a trace sink it costs nothing as long as nothing fails. The watcher must not raise.
KV_EXPORT void er_WatchFailures(void (*watcher)(void *context, const er_identity *failure), void *context);

// ---- Log ----

// Writes catalogue message (set, number) to the server log. The arguments are zero-terminated texts for the
// %1, %2, ... of the message; the list ends with a null pointer. The lower the severity number, the graver:
// up to 3 an error, up to 7 a warning, up to 10 a notice, above that information. Control characters are
// written as \xHH, so that a text from mail cannot forge a line; a line is cut at ER_LOG_SIZE - 1 characters.
// Never raises: where the message's text cannot be read, the arguments are written without it.
KV_EXPORT void er_LogMsg(int severity, int set, int number, ...);

// Writes an informational entry, made of the given texts (the list ends with a null pointer), when `level` is
// at most the level of er_SetInfoLevel. An entry without text is not written. Never raises.
KV_EXPORT void er_LogInfo(int level, const char *text, ...);

// Sets the level up to which er_LogInfo writes; 0, nothing, at start.
KV_EXPORT void er_SetInfoLevel(int level);

enum {
    ER_LOG_SIZE = 1024,     // bytes of one log line with its terminator
    ER_SEVERITY_ERROR = 3,  // the last severity of each kind
    ER_SEVERITY_WARNING = 7,
    ER_SEVERITY_NOTICE = 10
};

// Sends log lines to `sink(context, severity, line)` instead of syslog(3), facility mail; null goes back to
// syslog. The line has no newline and is valid during the call only. The sink must not raise.
KV_EXPORT void er_SetLogSink(void (*sink)(void *context, int severity, const char *line), void *context);

#ifdef __cplusplus
}

// What a raised failure is to C++: catch it by reference. The identity is that of er_LastFailure.
class KV_EXPORT er_failure : public std::exception {
  public:
    er_failure(const er_identity &identity, bool persistent) noexcept;
    er_failure(const er_failure &) noexcept = default;
    er_failure &operator=(const er_failure &) noexcept = default;
    ~er_failure() override;

    [[nodiscard]] const er_identity &identity() const noexcept { return identity_; }
    [[nodiscard]] bool persistent() const noexcept { return persistent_; }

    // The catalogue text and where the failure was raised; valid until this thread's next failure.
    [[nodiscard]] const char *what() const noexcept override;

  private:
    er_identity identity_;
    bool persistent_;
};
#endif

#endif
