// Reads LDIF (RFC 2849), content records only, line by line from an open file.
#ifndef KV_LDIF_H
#define KV_LDIF_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "os.h"

namespace kv {

inline constexpr std::size_t kMaxLdifLine = 65536;  // characters of a line with its continuations

class LdifReader {
  public:
    enum class Item {
        kRecord,     // a record begins; its attributes follow
        kAttribute,  // name() and value(), valid until the next item
        kEnd,
        kBroken,  // the file is no LDIF: reason()
    };

    // `file` stays open as long as the reader is in use. Raises std::bad_alloc.
    explicit LdifReader(os_file *file);

    // Reads the next item. Not to be called after kEnd and kBroken.
    [[nodiscard]] Item next();

    [[nodiscard]] std::string_view name() const { return name_; }    // without options; a valid name (da.h)
    [[nodiscard]] std::string_view value() const { return value_; }  // no byte 0, 23 or 29

    // The line in the file where the item begins, from 1.
    [[nodiscard]] int line_number() const { return line_.number; }

    // Why the file is broken, in plain words (static text).
    [[nodiscard]] const char *reason() const { return reason_; }

  private:
    struct Line {
        char *text = nullptr;  // in the buffer, not terminated
        std::size_t length = 0;
        int number = 0;

        [[nodiscard]] std::string_view view() const { return {text, length}; }
    };

    void fetch();
    [[nodiscard]] bool read_line();
    [[nodiscard]] bool parse_line();
    [[nodiscard]] bool read_value(std::string_view value_spec);
    bool fail(const char *reason);

    os_file *file_;
    std::unique_ptr<char[]> buffer_;
    Line line_;      // the current line, its continuations joined
    Line upcoming_;  // the line of the file behind it
    bool has_upcoming_ = false;
    std::int64_t bytes_read_ = 0;
    bool at_begin_ = true;  // nothing but comments and blank lines was read
    bool inside_record_ = false;
    bool after_dn_ = false;
    std::string_view name_;
    std::string_view value_;
    const char *reason_ = nullptr;
};

}  // namespace kv

#endif
