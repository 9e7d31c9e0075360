// Writes what an Output gathered, through interruptions and short writes.

#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace tool {

void Output::flush() {
    std::string_view rest = buffer_;
    while (!rest.empty() && error_ == 0) {
        const ssize_t written = write(descriptor_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    buffer_.clear();
}

}  // namespace tool
