// The bar, drawn by the handler of a timer's signal. Interrupted reads and writes go on by themselves.

#include "progress.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace tool {

namespace {

constexpr off_t kLongFile = off_t{4} * 1024 * 1024;
constexpr suseconds_t kInterval = 200'000;  // microseconds

// "\r[####      ]  40%"
constexpr std::size_t kCells = 40;
constexpr std::size_t kCellsPlace = 2;
constexpr std::size_t kPercentPlace = kCellsPlace + kCells + 2;
constexpr std::size_t kBarSize = kPercentPlace + 4;
constexpr int kWhole = 100;
constexpr int kDecimal = 10;

// What the handler draws from. It stands still while the timer runs, but for `is_shown`.
struct Watched {
    int descriptor = -1;
    off_t start = 0;
    off_t length = 0;
    volatile std::sig_atomic_t is_shown = 0;
};
Watched watched;

void write_to_terminal(std::string_view line) {
    // A terminal that is gone is no loss.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

// Calls only what a signal handler may.
void draw(int /*signal*/) {
    const int error = errno;
    const off_t done =
        std::clamp<off_t>(lseek(watched.descriptor, 0, SEEK_CUR) - watched.start, 0, watched.length);
    const auto percent =
        static_cast<int>(static_cast<double>(done) / static_cast<double>(watched.length) * kWhole);
    std::array<char, kBarSize> line;  // NOLINT(*-member-init): filled by the next call
    line.fill(' ');
    line[0] = '\r';
    line[1] = '[';
    std::memset(line.data() + kCellsPlace, '#', kCells * static_cast<std::size_t>(percent) / kWhole);
    line[kCellsPlace + kCells] = ']';
    std::size_t place = kBarSize - 1;
    line[place] = '%';
    int rest = percent;
    do {
        line[--place] = static_cast<char>('0' + rest % kDecimal);
        rest /= kDecimal;
    } while (rest > 0);
    write_to_terminal({line.data(), line.size()});
    watched.is_shown = 1;
    errno = error;
}

void set_timer(suseconds_t interval) {
    const itimerval timer{.it_interval = {0, interval}, .it_value = {0, interval}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

ProgressBar::ProgressBar(int descriptor) {
    struct stat status {};
    const off_t start = lseek(descriptor, 0, SEEK_CUR);
    if (isatty(STDERR_FILENO) == 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size - start < kLongFile) {
        return;
    }
    watched.descriptor = descriptor;
    watched.start = start;
    watched.length = status.st_size - start;
    watched.is_shown = 0;
    struct sigaction action {};
    action.sa_handler = draw;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    set_timer(kInterval);
    is_running_ = true;
}

ProgressBar::~ProgressBar() {
    if (!is_running_) {
        return;
    }
    set_timer(0);
    std::signal(SIGALRM, SIG_IGN);
    if (watched.is_shown != 0) {
        std::array<char, kBarSize + 1> blank{};
        blank.fill(' ');
        blank.front() = '\r';
        blank.back() = '\r';
        write_to_terminal({blank.data(), blank.size()});
    }
}

}  // namespace tool
