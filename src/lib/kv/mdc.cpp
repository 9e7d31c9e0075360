// Heap blocks, bounded copies, descriptors and names of hosts over the C library.

#include "mdc.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>

#include "failures.h"
#include "text/writer.h"

namespace {

constexpr std::size_t kMaxReadSize = std::numeric_limits<ssize_t>::max();

struct FreeAddresses {
    void operator()(addrinfo *addresses) const { freeaddrinfo(addresses); }
};

}  // namespace

void *mdc_malloc(size_t size) {
    void *block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) {
        kv::raise_no_memory("mdc", __LINE__);
    }
    return block;
}

void mdc_free(void *block) {
    std::free(block);
}

size_t mdc_strlcpy(char *destination, const char *source, size_t capacity) {
    const std::string_view text{source};
    if (capacity > 0) {
        text::copy_text(text, destination, capacity);
    }
    return text.size();
}

int64_t mdc_lseek(int descriptor, int64_t offset, int origin) {
    return origin == MDC_SEEK_SET ? lseek(descriptor, offset, SEEK_SET) : -1;
}

int64_t mdc_read(int descriptor, void *buffer, size_t count) {
    auto *place = static_cast<char *>(buffer);
    std::size_t done = 0;
    while (done < count) {
        er_CheckShutdown();
        const ssize_t piece = read(descriptor, place + done, std::min(count - done, kMaxReadSize));
        if (piece < 0 && errno == EINTR) {
            continue;
        }
        if (piece < 0 && done == 0) {
            return -1;
        }
        if (piece <= 0) {
            break;
        }
        done += static_cast<std::size_t>(piece);
    }
    return static_cast<std::int64_t>(done);
}

void mdc_close(int descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

int mdc_gethostbyname(const char *name, char *official, size_t size) {
    addrinfo wanted{};
    wanted.ai_flags = AI_CANONNAME;
    wanted.ai_socktype = SOCK_STREAM;  // each address once
    addrinfo *found = nullptr;
    const bool is_known = getaddrinfo(name, nullptr, &wanted, &found) == 0;
    const std::unique_ptr<addrinfo, FreeAddresses> addresses{is_known ? found : nullptr};
    const bool has_name = is_known && addresses->ai_canonname != nullptr;
    text::copy_text(has_name ? addresses->ai_canonname : "", official, size);
    return has_name ? 1 : 0;
}
