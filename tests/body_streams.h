// Descriptors that bodies are read from and written to.
#ifndef TESTS_BODY_STREAMS_H
#define TESTS_BODY_STREAMS_H

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {
        if (number < 0) {
            throw std::runtime_error("no descriptor");
        }
    }
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { close(); }

    void close() {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

    // NOLINTNEXTLINE(*-explicit-*): it stands where a descriptor is wanted
    operator int() const { return number_; }

  private:
    int number_;
};

// A file in memory, read from its beginning.
inline Descriptor memory_file(std::string_view content = {}) {
    Descriptor file{memfd_create("body", MFD_CLOEXEC)};
    if (pwrite(file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
        throw std::runtime_error("cannot write to memory");
    }
    return file;
}

inline std::string content_of(int file) {
    std::string content(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    if (pread(file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
        throw std::runtime_error("cannot read from memory");
    }
    return content;
}

// A pair of sockets: what one write puts in at the first comes out of one read from the second.
inline std::pair<Descriptor, Descriptor> packets() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("no sockets");
    }
    return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

// All that is left in a socket, once its other end is closed.
inline std::vector<std::string> packets_in(int socket) {
    std::vector<std::string> found;
    std::array<char, 65536> packet{};
    for (ssize_t size = 0; (size = read(socket, packet.data(), packet.size())) > 0;) {
        found.emplace_back(packet.data(), static_cast<std::size_t>(size));
    }
    return found;
}

#endif
