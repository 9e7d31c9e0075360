// Opens the two files, and tells of their faults.

#include "stream_files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "session.h"

namespace tool {

namespace {

constexpr mode_t kNewFileMode = 0666;  // less what the umask takes away

struct stat status_of(int descriptor) {
    struct stat status {};
    fstat(descriptor, &status);  // fails for what is not open alone
    return status;
}

std::string error_text(int error) {
    return std::generic_category().message(error);
}

// A descriptor of the file, or -1. It never takes the place of a standard stream that is closed, which others
// would go on to use.
int open_file(const char *path, int flags) {
    const int descriptor = open(path, flags | O_CLOEXEC | O_NOCTTY, kNewFileMode);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const Descriptor low{descriptor};
    return fcntl(low.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace

StreamFiles::File::File(const std::string &path, int standard, int flags)
    : is_standard_(path == "-"),
      standard_(standard),
      name_(!is_standard_              ? path
            : standard == STDIN_FILENO ? "standard input"
                                       : "standard output"),
      opened_(is_standard_ ? -1 : open_file(path.c_str(), flags)) {
    if (get() < 0 || fcntl(get(), F_GETFD) < 0) {
        throw ToolError(name_, errno);
    }
    if (S_ISDIR(status_of(get()).st_mode)) {
        throw ToolError(name_, EISDIR);
    }
}

StreamFiles::StreamFiles(const std::string &in_path, const std::string &out_path)
    : in_(in_path, STDIN_FILENO, O_RDONLY), out_(out_path, STDOUT_FILENO, O_WRONLY | O_CREAT) {
    refuse_same_file();
    if (!out_.is_standard() && S_ISREG(status_of(out()).st_mode) && ftruncate(out(), 0) != 0) {
        throw ToolError(out_.name(), errno);
    }
    start_ = output_position();
}

// What is written into a file is soon read from it again: such a run would not end.
void StreamFiles::refuse_same_file() const {
    const struct stat in = status_of(in_.get());
    const struct stat out = status_of(out_.get());
    if (S_ISREG(in.st_mode) && in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
        throw ToolError(out_.name(), "is the input too");
    }
}

std::optional<off_t> StreamFiles::output_position() const {
    const struct stat status = status_of(out());
    if (!S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    const bool appends = (fcntl(out(), F_GETFL) & O_APPEND) != 0;
    return appends ? status.st_size : lseek(out(), 0, SEEK_CUR);
}

std::optional<off_t> StreamFiles::written() const {
    return start_ ? std::optional{*output_position() - *start_} : std::nullopt;
}

// Whether the input cannot be read on. Never waits.
bool StreamFiles::has_bad_input() const {
    pollfd ready{.fd = in(), .events = POLLIN, .revents = 0};
    char byte = '\0';
    return poll(&ready, 1, 0) > 0 && read(in(), &byte, 1) < 0;
}

void StreamFiles::close_output() {
    if (out_.close_now() != 0) {
        throw ToolError(out_.name(), (error_text(errno) + "; the output may not be whole").c_str());
    }
}

void StreamFiles::fail_input(const std::string &reason) const {
    fail(in_, reason);
}

void StreamFiles::fail_either(int error) const {
    if (has_bad_input()) {
        fail_input(error_text(error));
    }
    fail_output(error);
}

void StreamFiles::fail_output(int error) const {
    fail(out_, error != 0 ? error_text(error) : "cannot be written on");
}

void StreamFiles::fail(const File &file, const std::string &reason) const {
    std::string text = reason + "; the output is not whole";
    if (const std::optional<off_t> bytes = written()) {
        text += ", it ends after " + std::to_string(*bytes) + " bytes";
    }
    throw ToolError(file.name(), text.c_str());
}

}  // namespace tool
