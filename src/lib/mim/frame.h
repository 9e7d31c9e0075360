// The frame that every exported function runs in: it announces entry and exit to the trace, and guards risky
// steps by a protected or an ignoring region of the error service (er.h).
#ifndef MIM_FRAME_H
#define MIM_FRAME_H

#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "er.h"
#include "os.h"

namespace mim {

// The source file names that failure positions carry; each area has its own.
inline constexpr const char *kArpOrnFile = "mim_ArpOrn";
inline constexpr const char *kOrnArpFile = "mim_OrnArp";
inline constexpr const char *kCertArpFile = "mim_CertArp";
inline constexpr const char *kMapornFile = "mim_maporn";
inline constexpr const char *kFnameFile = "mim_fname";

// The classes of trace announcements.
enum class TraceClass : int {
    kSetup = 15,   // always announced: address parsing, configuration
    kMain = 17,    // always announced: the conversions
    kWords = 19,   // announced at a detailed level: header words, body files
    kHelper = 21,  // announced at a detailed level: small helpers
};

inline constexpr int kLastPlainTraceLevel = 9;  // above it, the detailed classes are announced too

template <TraceClass kClass>
void announce(const char *function, int entry) {
    constexpr bool kAlways = kClass == TraceClass::kSetup || kClass == TraceClass::kMain;
    if (kAlways || er_SubSystemLoggingLevel > kLastPlainTraceLevel) {
        er_RealLogProc(static_cast<int>(kClass), function, entry);
    }
}

// Runs `body` as the function named `function`: its entry is announced before, and its exit after a normal
// return, by whichever way; a failure that unwinds through announces no exit. The level is asked anew for the
// exit.
template <TraceClass kClass, typename Body>
auto traced(const char *function, Body &&body) {
    announce<kClass>(function, 1);
    if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
        std::forward<Body>(body)();
        announce<kClass>(function, 0);
    } else {
        auto result = std::forward<Body>(body)();
        announce<kClass>(function, 0);
        return result;
    }
}

// How a handler disposes of the failure it takes: er_Clear, or er_Accept with this level.
enum class Disposal : int { kClear = 0, kAcceptConfiguration = 3, kAcceptSearch = 5 };

namespace detail {

// Runs `body` under an environment of its own, and reinstates the previous one only when an exception that is
// no failure passes through; else that is the caller's first step. Returns whether the body ended without a
// failure.
template <typename Body>
bool run_under(er_environment *previous, Body &body) {
    try {
        body();
        return true;
    } catch (const er_failure &) {
        return false;
    } catch (...) {
        er_SetCurrEnv(previous);
        throw;
    }
}

}  // namespace detail

// A protected region: runs `body`; when a failure ends it, reinstates the previous environment, disposes of
// the failure, runs `clean_up`, and passes the failure on if it is still live. Returns true when the body
// completed, false when its failure was swallowed.
template <typename Body, typename CleanUp>
bool protected_region(const char *source_file, Body &&body, CleanUp &&clean_up,
                      Disposal disposal = Disposal::kClear, int line = __builtin_LINE()) {
    er_environment environment{};
    er_environment *previous = er_SetCurrEnv(&environment);
    const bool completed = detail::run_under(previous, body);
    er_SetCurrEnv(previous);
    if (completed) {
        return true;
    }
    if (disposal == Disposal::kClear) {
        er_Clear();
    } else {
        er_Accept(static_cast<int>(disposal));
    }
    clean_up();
    if (er_GetLive() != 0) {
        er_TraceBeforeJump(source_file, line);
        er_Jump(er_GetCurrEnv(), 1);
    }
    return false;
}

// An ignoring region: whatever failure ends `body`, the pending state is put back as it was and the caller
// goes on.
template <typename Body>
void ignoring_region(Body &&body) {
    er_status status{};
    er_RecordStatus(&status);
    er_environment environment{};
    er_environment *previous = er_SetCurrEnv(&environment);
    detail::run_under(previous, body);
    er_RestoreStatus(&status);
    er_SetCurrEnv(previous);
}

// Clean-up that may itself fail: a protected region whose handler does nothing, so that its failure neither
// escapes nor replaces the one being handled.
template <typename Body>
void clean_up_quietly(Body &&body) {
    er_status status{};
    er_RecordStatus(&status);
    er_environment environment{};
    er_environment *previous = er_SetCurrEnv(&environment);
    detail::run_under(previous, body);
    er_SetCurrEnv(previous);
    er_RestoreStatus(&status);
}

// Releases a block of a service, as the deleter of a smart pointer; a release that fails is no failure of the
// function.
template <auto kRelease>
struct Release {
    void operator()(void *block) const {
        clean_up_quietly([block] { kRelease(block); });
    }
};

// A text file read line by line. It stands outside the region that reads it: the region's handler closes it
// after it has disposed of the failure, and the destructor closes what is still open.
class LineFile {
  public:
    LineFile() = default;
    LineFile(const LineFile &) = delete;
    LineFile &operator=(const LineFile &) = delete;
    ~LineFile() { close_quietly(); }

    [[nodiscard]] bool open(const char *path) {
        file_ = os_fopen(path, "r");
        return file_ != nullptr;
    }

    // Reads the next line as os_fgets does; 0 at the end.
    [[nodiscard]] int read(char *buffer, int capacity) { return os_fgets(buffer, capacity, file_); }

    void close() {
        if (os_file *file = std::exchange(file_, nullptr); file != nullptr) {
            os_fclose(file);
        }
    }

    void close_quietly() {
        if (file_ != nullptr) {
            clean_up_quietly([this] { close(); });
        }
    }

  private:
    os_file *file_ = nullptr;
};

// Calls `visit(line, length)` for each line of the file `path`, terminated, its newline taken off; a line of
// kCapacity characters or more comes in pieces. `file` stands outside the region that this runs in, if there
// is one.
template <int kCapacity, typename Visit>
void for_each_line(LineFile &file, const char *path, Visit &&visit) {
    if (!file.open(path)) {
        return;
    }
    std::array<char, kCapacity> line;  // NOLINT(*-member-init): filled by the next call
    while (const int count = file.read(line.data(), kCapacity)) {
        auto length = static_cast<std::size_t>(count);
        if (line[length - 1] == '\n') {
            line[--length] = '\0';
        }
        visit(line.data(), length);
    }
    file.close();
}

}  // namespace mim

#endif
