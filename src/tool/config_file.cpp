// Reads ~/sys/config whole, and writes it beside itself before it takes the old one's name: whoever reads it
// meanwhile sees the one or the other.

#include "config_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "descriptor.h"
#include "ext.h"
#include "home_files.h"
#include "session.h"
#include "text/ascii.h"

namespace tool {

namespace {

// Where the fields stand; each ends where the next begins, and the delimiter's is as wide as two.
constexpr std::size_t kReservedOffset = 472;
constexpr std::size_t kDelimiterOffset = 476;
constexpr std::size_t kStyleOffset = 480;
constexpr std::size_t kModeOffset = 482;
constexpr std::size_t kLeastSize = 484;

// The server's file has a few hundred bytes. It bounds the memory that another file in its place can ask for.
constexpr off_t kMaxSize = off_t{16} * 1024 * 1024;

constexpr mode_t kNewFileMode = 0666;  // less what the umask takes away
constexpr mode_t kModeBits = 07777;

// The file beside the one that is written, which goes unless it has taken that one's name.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &target)
        : path_(target + ".XXXXXX"), file_(mkostemp(path_.data(), O_CLOEXEC)) {
        if (file_.get() < 0) {
            throw ToolError(path_, errno);
        }
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }

    [[nodiscard]] int descriptor() const { return file_.get(); }

    // Throws ToolError unless `error`, what became of a call on the file, is 0.
    void require(int error) const {
        if (error != 0) {
            throw ToolError(path_, error);
        }
    }

    void take_name_of(const std::string &target) {
        require(errno_of(fsync(file_.get())));
        require(errno_of(file_.close_now()));
        require(errno_of(rename(path_.c_str(), target.c_str())));
        path_.clear();
    }

  private:
    std::string path_;
    Descriptor file_;
};

// The file that the name ~/sys/config leads to, through symbolic links when there are any.
std::string config_path() {
    std::array<char, EXT_PATH_SIZE> name{};
    ext_GetActualFName(kConfig, name.data());
    struct stat status {};
    if (lstat(name.data(), &status) != 0) {
        if (errno != ENOENT) {
            throw ToolError(name.data(), errno);
        }
        return name.data();
    }
    std::array<char, PATH_MAX> real{};
    if (realpath(name.data(), real.data()) == nullptr) {
        throw ToolError(name.data(), errno);
    }
    return real.data();
}

std::string read_whole(int descriptor, const std::string &path) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        throw ToolError(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw ToolError(path, "not a regular file");
    }
    if (status.st_size > kMaxSize) {
        throw ToolError(path, EFBIG);
    }
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t count = read(descriptor, bytes.data() + length, bytes.size() - length);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            length += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            throw ToolError(path, errno);
        }
    }
    bytes.resize(length);
    return bytes;
}

template <typename Value>
void get(const std::string &bytes, std::size_t offset, std::optional<Value> &value) {
    if (bytes.size() >= offset + sizeof(Value)) {
        std::memcpy(&value.emplace(), bytes.data() + offset, sizeof(Value));
    }
}

template <typename Value>
void put(std::string &bytes, std::size_t offset, const std::optional<Value> &value) {
    if (value) {
        std::memcpy(bytes.data() + offset, &*value, sizeof(Value));
    }
}

mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return kNewFileMode & ~mask;
}

}  // namespace

std::string format_reserved(const ReservedField &bytes) {
    std::string digits;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        digits += text::kHexDigits[code >> 4U];
        digits += text::kHexDigits[code & 0x0FU];
    }
    return digits;
}

ConfigFile::ConfigFile() : path_(config_path()) {
    const Descriptor file{open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    if (file.get() >= 0) {
        bytes_ = read_whole(file.get(), path_);
        exists_ = true;
    } else if (errno != ENOENT) {
        throw ToolError(path_, errno);
    }
}

ConfigFields ConfigFile::fields() const {
    ConfigFields fields;
    get(bytes_, kReservedOffset, fields.reserved);
    get(bytes_, kDelimiterOffset, fields.delimiter);
    get(bytes_, kStyleOffset, fields.style);
    get(bytes_, kModeOffset, fields.mode);
    return fields;
}

void ConfigFile::set(const ConfigFields &fields) {
    bytes_.resize(std::max(bytes_.size(), kLeastSize));
    put(bytes_, kReservedOffset, fields.reserved);
    put(bytes_, kDelimiterOffset, fields.delimiter);
    put(bytes_, kStyleOffset, fields.style);
    put(bytes_, kModeOffset, fields.mode);
}

void ConfigFile::write() {
    struct stat old {};
    if (exists_ && stat(path_.c_str(), &old) != 0) {
        throw ToolError(path_, errno);
    }
    TemporaryFile file{path_};
    Output output{file.descriptor()};
    output.buffer() = bytes_;
    output.flush();
    file.require(output.error());
    struct stat made {};
    file.require(errno_of(fstat(file.descriptor(), &made)));
    if (exists_ && (made.st_uid != old.st_uid || made.st_gid != old.st_gid)) {
        file.require(errno_of(fchown(file.descriptor(), old.st_uid, old.st_gid)));
    }
    file.require(errno_of(fchmod(file.descriptor(), exists_ ? old.st_mode & kModeBits : new_file_mode())));
    file.take_name_of(path_);
    exists_ = true;
}

}  // namespace tool
