// An open file, closed at the end.
#ifndef TOOL_DESCRIPTOR_H
#define TOOL_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tool {

// The errno of a system call that gave `result`, else 0.
[[nodiscard]] inline int errno_of(int result) {
    return result == 0 ? 0 : errno;
}

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { close_now(); }

    [[nodiscard]] int get() const { return descriptor_; }

    // Returns what close says, 0 when it is closed already.
    int close_now() {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor >= 0 ? close(descriptor) : 0;
    }

  private:
    int descriptor_;
};

}  // namespace tool

#endif
