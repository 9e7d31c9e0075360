// The two files of a subcommand that turns one stream of bytes into another.
#ifndef TOOL_STREAM_FILES_H
#define TOOL_STREAM_FILES_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "descriptor.h"

namespace tool {

class StreamFiles {
  public:
    // Opens the input and makes or empties the output; "-" is standard input or standard output.
    // Waits for the other end of a pipe. Throws ToolError when that cannot be done, or both are the same
    // file, which is then left as it was.
    StreamFiles(const std::string &in_path, const std::string &out_path);

    [[nodiscard]] int in() const { return in_.get(); }
    [[nodiscard]] int out() const { return out_.get(); }
    [[nodiscard]] bool writes_to_standard_output() const { return out_.is_standard(); }

    // How many bytes of the output there are, where that is a regular file.
    [[nodiscard]] std::optional<off_t> written() const;

    // Closes the output. Throws ToolError when what was written does not reach it.
    void close_output();

    // Throws ToolError: the input failed for `reason`; the output failed with `error`, an errno or 0; or one
    // of them did, whichever. It says that the output is not whole, and how much of it there is.
    [[noreturn]] void fail_input(const std::string &reason) const;
    [[noreturn]] void fail_output(int error) const;
    [[noreturn]] void fail_either(int error) const;

  private:
    // A file that was named, or a standard stream, which stays open.
    class File {
      public:
        File(const std::string &path, int standard, int flags);

        [[nodiscard]] int get() const { return is_standard_ ? standard_ : opened_.get(); }
        [[nodiscard]] bool is_standard() const { return is_standard_; }
        [[nodiscard]] const std::string &name() const { return name_; }
        [[nodiscard]] int close_now() { return opened_.close_now(); }

      private:
        bool is_standard_;
        int standard_;
        std::string name_;  // as diagnostics show it
        Descriptor opened_;
    };

    void refuse_same_file() const;
    [[nodiscard]] std::optional<off_t> output_position() const;
    [[nodiscard]] bool has_bad_input() const;
    [[noreturn]] void fail(const File &file, const std::string &reason) const;

    File in_;
    File out_;
    std::optional<off_t> start_;  // the position before the first byte
};

}  // namespace tool

#endif
