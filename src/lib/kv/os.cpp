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

constexpr std::size_t kStreamBufferSize = 65536;
constexpr std::size_t kHostNameSize = HOST_NAME_MAX + 1;

// A descriptor of the file `path`, or -1. A directory opens like a file.
int open_to_read(const char *path) {
    er_CheckShutdown();
    std::array<char, EXT_PATH_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    ext_GetActualFName(path, name.data());
    int descriptor = -1;
    do {
        descriptor = open(name.data(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

}  // namespace

struct os_file {
    explicit os_file(int opened) : descriptor(opened) {}
    os_file(const os_file &) = delete;
    os_file &operator=(const os_file &) = delete;
    ~os_file() { close(descriptor); }

    int descriptor;
    bool at_end = false;
    std::size_t begin = 0;  // the bytes read and not yet given out are [begin, end) of the buffer
    std::size_t end = 0;
    // Left without a value on purpose: clearing 64 KiB would cost more than reading a small file.
    char buffer[kStreamBufferSize];  // NOLINT(modernize-avoid-c-arrays)
};

namespace {

// Reads the next block into the empty buffer, which stays empty at the end of the file. Returns 0, or what
// read(2) says is wrong.
int fill(os_file &file) {
    ssize_t count = 0;
    do {
        count = read(file.descriptor, file.buffer, kStreamBufferSize);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return errno;
    }
    file.begin = 0;
    file.end = static_cast<std::size_t>(count);
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

}  // namespace

int os_fexists(const char *path) {
    std::array<char, EXT_PATH_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    ext_GetActualFName(path, name.data());
    return access(name.data(), F_OK) == 0 ? 1 : 0;
}

os_file *os_fopen(const char *path, const char *mode) {
    if (std::string_view{mode} != "r") {
        return nullptr;
    }
    const int descriptor = open_to_read(path);
    if (descriptor < 0) {
        return nullptr;
    }
    auto *file = new (std::nothrow) os_file{descriptor};
    if (file == nullptr) {
        close(descriptor);
        kv::raise_no_memory("os", __LINE__);
    }
    // Of a directory only the first read tells. Any other fault is told when it is read on.
    if (fill(*file) == EISDIR) {
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

void os_fclose(os_file *file) {
    delete file;
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
