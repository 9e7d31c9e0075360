// Looks at the home before the library does, for the sake of a clear message.

#include "home_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "descriptor.h"
#include "ext.h"
#include "session.h"

namespace tool {

namespace {

void require_directory(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw ToolError(path, errno);
    }
    if (!S_ISDIR(status.st_mode)) {
        throw ToolError(path, ENOTDIR);
    }
}

void require_home_directory(const std::string &home) {
    require_directory(home);
    require_directory(home + "/sys");
}

void require_readable_if_present(const char *path) {
    std::array<char, EXT_PATH_SIZE> name{};
    ext_GetActualFName(path, name.data());
    if (const int error = find_read_error(name.data()); error != 0 && error != ENOENT) {
        throw ToolError(name.data(), error);
    }
}

}  // namespace

int find_read_error(const std::string &name) {
    const Descriptor file{open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    if (file.get() < 0) {
        return errno;
    }
    struct stat status {};
    return fstat(file.get(), &status) == 0 && S_ISDIR(status.st_mode) ? EISDIR : 0;
}

void use_home(const std::string &directory) {
    require_home_directory(directory);
    ext_SetHome(directory.c_str());
}

void require_home(std::initializer_list<const char *> files) {
    require_home_directory(ext_GetHome());
    for (const char *file : files) {
        require_readable_if_present(file);
    }
}

}  // namespace tool
