// Files over POSIX descriptors, streams with a buffer of their own, heap blocks, the message catalogue's
// calls, and the host's name.
//
// A file is opened without waiting (O_NONBLOCK), so that a pipe in a file's place is an empty or unreadable
// file and never a hang.

#include "os.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "ext.h"
#include "failures.h"
#include "mdc.h"
#include "text/writer.h"

namespace {

constexpr std::size_t kBlockSize = 65536;  // that a stream reads and writes at once
constexpr std::size_t kHostNameSize = HOST_NAME_MAX + 1;
constexpr mode_t kNewFileMode = 0666;  // less what the process's mask takes away

// A descriptor of the file `path`, or -1. A directory opens like a file, to read it.
int open_file(const char *path, int flags) {
    er_CheckShutdown();
    std::array<char, EXT_PATH_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    ext_GetActualFName(path, name.data());
    int descriptor = -1;
    do {
        descriptor = open(name.data(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kNewFileMode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int open_to_read(const char *path) {
    return open_file(path, O_RDONLY);
}

// A pipe that has a reader may be waited for.
int open_to_write(const char *path) {
    const int descriptor = open_file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (descriptor >= 0) {
        fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    }
    return descriptor;
}

enum class Direction { kNone, kReading, kWriting };

Direction direction_of(const char *mode) {
    const std::string_view text{mode};
    return text == "r" ? Direction::kReading : text == "w" ? Direction::kWriting : Direction::kNone;
}

}  // namespace

struct os_file {
    os_file(int opened, Direction direction, bool owns)
        : descriptor(opened),
          owns_descriptor(owns),
          at_end(direction != Direction::kReading),
          can_write(direction == Direction::kWriting) {}
    os_file(const os_file &) = delete;
    os_file &operator=(const os_file &) = delete;
    ~os_file() {
        if (owns_descriptor) {
            close(descriptor);
        }
    }

    int descriptor;
    bool owns_descriptor;
    bool at_end;     // nothing more can be read
    bool can_write;  // until a write fails
    // Of the buffer, [begin, end) is what was read and not yet given out, or taken and not yet written.
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t last_line = 0;  // the length of the line that was read in place last and ends at `begin`
    // A block is read behind the room for the rest of a line; what is written may go past a block by a line.
    // Left without a value on purpose: clearing it would cost more than reading a small file.
    alignas(64) char buffer[OS_MAX_LINE + kBlockSize + OS_LINE_SLACK];  // NOLINT(modernize-avoid-c-arrays)
};

namespace {

// ---- Reading ----

// Reads the next block behind what is left, at most a line; nothing comes at the end of the file. Returns 0,
// or what read(2) says is wrong.
int fill(os_file &file) {
    const std::size_t rest = file.end - file.begin;
    std::memmove(file.buffer + OS_MAX_LINE - rest, file.buffer + file.begin, rest);
    file.begin = OS_MAX_LINE - rest;
    file.end = OS_MAX_LINE;
    ssize_t count = 0;
    do {
        count = read(file.descriptor, file.buffer + OS_MAX_LINE, kBlockSize);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return errno;
    }
    file.end += static_cast<std::size_t>(count);
    file.at_end = count == 0;
    return 0;
}

void refill(os_file &file) {
    er_CheckShutdown();
    if (fill(file) != 0) {
        er_TracedEscape(MES_SET_SERVER, kv::kReadFailed, "os", __LINE__);
    }
}

// Whether there is a byte left to give out, read from the file if need be.
bool has_more(os_file &file) {
    if (file.begin == file.end && !file.at_end) {
        refill(file);
    }
    return file.begin != file.end;
}

// The length of the line of at most `limit` bytes that begins in the buffer, all of which is there then; 0 at
// the end of the file.
[[gnu::noinline]] std::size_t read_line(os_file &file, std::size_t limit) {
    std::size_t searched = 0;
    for (;;) {
        const char *line = file.buffer + file.begin;
        const std::size_t available = std::min(limit, file.end - file.begin);
        const auto *newline =
            static_cast<const char *>(std::memchr(line + searched, '\n', available - searched));
        if (newline != nullptr) {
            return static_cast<std::size_t>(newline - line) + 1;
        }
        if (available == limit || file.at_end) {
            return available;
        }
        searched = available;
        refill(file);
    }
}

// ---- Writing ----

// Writes what the buffer holds up to `until`, and moves the rest to the front. Returns whether it could; else
// what was not written stays there for good.
bool write_out(os_file &file, std::size_t until, void (*before_write)()) {
    until = std::max(until, file.begin);
    while (file.can_write && file.begin < until) {
        before_write();
        const ssize_t piece = write(file.descriptor, file.buffer + file.begin, until - file.begin);
        if (piece > 0) {
            file.begin += static_cast<std::size_t>(piece);
        } else if (piece == 0 || errno != EINTR) {
            file.can_write = false;
        }
    }
    if (file.can_write) {
        std::memmove(file.buffer, file.buffer + until, file.end - until);
        file.begin = 0;
        file.end -= until;
    }
    return file.can_write;
}

// Whether there is room for a line at the end of the buffer.
bool has_room(os_file &file) {
    return file.end < kBlockSize ? file.can_write : write_out(file, kBlockSize, er_CheckShutdown);
}

os_file *make_stream(int descriptor, Direction direction, bool owns) {
    auto *file = new (std::nothrow) os_file{descriptor, direction, owns};
    if (file == nullptr) {
        if (owns) {
            close(descriptor);
        }
        kv::raise_no_memory("os", __LINE__);
    }
    return file;
}

}  // namespace

int os_fexists(const char *path) {
    std::array<char, EXT_PATH_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    ext_GetActualFName(path, name.data());
    return access(name.data(), F_OK) == 0 ? 1 : 0;
}

os_file *os_fopen(const char *path, const char *mode) {
    const Direction direction = direction_of(mode);
    if (direction == Direction::kNone) {
        return nullptr;
    }
    const int descriptor = direction == Direction::kReading ? open_to_read(path) : open_to_write(path);
    if (descriptor < 0) {
        return nullptr;
    }
    os_file *file = make_stream(descriptor, direction, true);
    // Of a directory only the first read tells. Any other fault is told when it is read on.
    if (direction == Direction::kReading && fill(*file) == EISDIR) {
        delete file;
        return nullptr;
    }
    return file;
}

int os_fgets(char *buffer, int capacity, os_file *file) {
    const auto room = static_cast<std::size_t>(capacity) - 1;
    std::size_t stored = 0;
    const char *newline = nullptr;
    while (newline == nullptr && stored < room && has_more(*file)) {
        const char *next = file->buffer + file->begin;
        const std::size_t available = std::min(room - stored, file->end - file->begin);
        newline = static_cast<const char *>(std::memchr(next, '\n', available));
        const std::size_t take =
            newline != nullptr ? static_cast<std::size_t>(newline - next) + 1 : available;
        std::memcpy(buffer + stored, next, take);
        stored += take;
        file->begin += take;
    }
    if (stored > 0) {
        buffer[stored] = '\0';
    }
    return static_cast<int>(stored);
}

os_file *os_fdopen(int descriptor, const char *mode) {
    const Direction direction = direction_of(mode);
    return direction == Direction::kNone ? nullptr : make_stream(descriptor, direction, false);
}

char *os_fline(os_file *file, int limit, int *length) {
    const auto room = static_cast<std::size_t>(limit);
    char *line = file->buffer + file->begin;
    const void *newline = std::memchr(line, '\n', std::min(room, file->end - file->begin));
    std::size_t found = 0;
    if (newline != nullptr) [[likely]] {
        found = static_cast<std::size_t>(static_cast<const char *>(newline) - line) + 1;
    } else {
        file->last_line = 0;  // should reading fail
        found = read_line(*file, room);
        line = file->buffer + file->begin;
    }
    file->begin += found;
    file->last_line = found;
    *length = static_cast<int>(found);
    return found > 0 ? line : nullptr;
}

const char *os_flast(os_file *file, int *length) {
    *length = static_cast<int>(file->last_line);
    return file->last_line > 0 ? file->buffer + file->begin - file->last_line : nullptr;
}

size_t os_fwrite(const void *bytes, size_t size, size_t count, os_file *file) {
    const std::size_t total = size * count;
    std::size_t taken = 0;
    while (taken < total && has_room(*file)) {
        const std::size_t piece = std::min(total - taken, OS_MAX_LINE + kBlockSize - file->end);
        std::memcpy(file->buffer + file->end, static_cast<const char *>(bytes) + taken, piece);
        file->end += piece;
        taken += piece;
    }
    // What a failed write has left in the buffer is lost.
    return taken < total ? taken - std::min(taken, file->end - file->begin) : taken;
}

char *os_freserve(os_file *file, size_t /*size*/) {
    return has_room(*file) ? file->buffer + file->end : nullptr;
}

void os_fcommit(os_file *file, size_t length) {
    file->end += length;
}

int os_fflush(os_file *file) {
    return write_out(*file, file->end, er_CheckShutdown) ? 0 : -1;
}

void os_fclose(os_file *file) {
    if (file != nullptr) {
        write_out(*file, file->end, [] {});
        delete file;
    }
}

int os_open(const char *path, int flags) {
    if (flags != O_RDONLY) {
        return -1;
    }
    const int descriptor = open_to_read(path);
    struct stat status {};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode))) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

int os_read(int descriptor, void *buffer, int size) {
    return static_cast<int>(mdc_read(descriptor, buffer, static_cast<std::size_t>(std::max(size, 0))));
}

int os_write(int descriptor, const void *bytes, int size) {
    const auto *place = static_cast<const char *>(bytes);
    int done = 0;
    while (done < size) {
        er_CheckShutdown();
        const ssize_t piece = write(descriptor, place + done, static_cast<std::size_t>(size - done));
        if (piece < 0 && errno != EINTR) {
            break;
        }
        done += static_cast<int>(std::max<ssize_t>(piece, 0));
    }
    return done;
}

void *os_malloc(size_t size) {
    return mdc_malloc(size);
}

void os_free(void *block) {
    mdc_free(block);
}

char *os_strdup(const char *text) {
    const std::size_t size = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(os_malloc(size));
    std::memcpy(copy, text, size);
    return copy;
}

void *os_MMGetSpace(int size) {
    return mdc_malloc(static_cast<std::size_t>(std::max(size, 0)));
}

void os_MMFreeSpace(void *block) {
    mdc_free(block);
}

namespace {

// The message that this thread found last; looked up anew when its text is copied, since the home may have
// changed.
thread_local int current_message = 0;

std::string_view gateway_message(int number) {
    const char *message = mes_GetText(MES_SET_GATEWAY, number);
    return message != nullptr ? std::string_view{message} : std::string_view{};
}

}  // namespace

int os_MCFindMessage(int number) {
    current_message = number;
    return static_cast<int>(gateway_message(number).size());
}

void os_MCGetMessage(char *buffer, int length) {
    text::copy_text(gateway_message(current_message), buffer,
                    static_cast<std::size_t>(std::max(length, 0)) + 1);
}

int os_gethostname(char *buffer, int size) {
    std::array<char, kHostNameSize> name{};
    const int result = gethostname(name.data(), name.size() - 1);
    text::copy_text(result == 0 ? name.data() : "", buffer, static_cast<std::size_t>(std::max(size, 1)));
    return result;
}
