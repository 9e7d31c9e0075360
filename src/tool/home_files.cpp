// Looks at the home before the library does, for the sake of a clear message.

#include "home_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

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
    const int descriptor = open(name.data(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == ENOENT) {
            return;
        }
        throw ToolError(name.data(), errno);
    }
    struct stat status {};
    const bool is_directory = fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
    close(descriptor);
    if (is_directory) {
        throw ToolError(name.data(), EISDIR);
    }
}

}  // namespace

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
