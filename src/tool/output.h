// A stream to a descriptor, gathered in one buffer and written in blocks.
#ifndef TOOL_OUTPUT_H
#define TOOL_OUTPUT_H

#include <cstddef>
#include <string>

namespace tool {

class Output {
  public:
    explicit Output(int descriptor) : descriptor_(descriptor) {}

    // The buffer, to append to; flush_full_block after each row keeps it small.
    [[nodiscard]] std::string &buffer() { return buffer_; }

    void flush_full_block() {
        if (buffer_.size() >= kBlockSize) {
            flush();
        }
    }

    // Writes all that was gathered. After the first write that fails everything is dropped.
    void flush();

    // The errno of the first write that failed, else 0.
    [[nodiscard]] int error() const { return error_; }

  private:
    static constexpr std::size_t kBlockSize = 64 * std::size_t{1024};

    int descriptor_;
    int error_ = 0;
    std::string buffer_;
};

}  // namespace tool

#endif
