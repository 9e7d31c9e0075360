// An encoder of bodies written byte by byte: what the library's must agree with, down to the size of each write.
#ifndef TESTS_BODY_ENCODE_REFERENCE_H
#define TESTS_BODY_ENCODE_REFERENCE_H

#include <optional>
#include <string>
#include <vector>

#include "mim.h"
#include "text/base64.h"

namespace body_encode {

struct Job {
    std::string encoding;
    std::string in;
    const char *guard = nullptr;
    int crlf = 0;
    int fold = 1;
    int header_mode = 0;
    int at_line_start = 1;
    bool is_text = false;
};

struct Result {
    std::vector<std::string> writes;  // just one of a text
    unsigned total = 0;
    unsigned lines = 0;
    bool operator==(const Result &) const = default;
};

class Reference {
  public:
    explicit Reference(const Job &job)
        : job_(job),
          limit_(job.is_text ? 4096 : 1024),
          is_base64_(job.encoding == "BASE64"),
          is_quoted_(job.encoding == "QUOTED-PRINTABLE"),
          is_7bit_(job.encoding == "7BIT") {}

    Result run() {
        const bool goes_on = encode_blocks();
        if (goes_on && !job_.is_text && is_base64_ && column_ > 0) {
            end_line();
        }
        if (job_.is_text || (goes_on && !out_.empty())) {
            send();
        }
        return result_;
    }

  private:
    bool encode_blocks() {
        if (job_.is_text || !is_quoted_) {
            previous_ = job_.at_line_start != 0 || !job_.is_text ? '\n' : 'x';
        }
        const std::size_t size = job_.is_text ? job_.in.size() : 1023;
        for (std::size_t i = 0; i < job_.in.size(); i += size) {
            const std::string block = job_.in.substr(i, size);
            for (std::size_t j = 0; j < block.size(); j += is_base64_ ? 3 : 1) {
                bool waits = false;
                if (is_base64_) {
                    base64(block.substr(j, 3));
                } else if (is_quoted_) {
                    quote(block[j]);
                    waits = block[j] == ' ' && j + 1 < block.size() && block[j + 1] == '\n';
                } else {
                    pass(is_7bit_ ? static_cast<char>(block[j] & 0x7F) : block[j]);
                }
                if (!waits && out_.size() >= limit_ - 8) {
                    if (job_.is_text) {
                        return false;
                    }
                    send();
                }
            }
        }
        return true;
    }

    void send() {
        result_.writes.push_back(out_);
        result_.total += static_cast<unsigned>(out_.size());
        out_.clear();
    }

    void end_line() {
        out_ += job_.crlf != 0 ? "\r\n" : "\n";
        ++result_.lines;
        column_ = 0;
        previous_ = '\n';
    }

    void escape(char c) {
        constexpr const char *kHex = "0123456789ABCDEF";
        out_ += {'=', kHex[c >> 4 & 15], kHex[c & 15]};
        previous_ = out_.back();
    }

    void quote(char c) {
        if (c == '\n') {
            if (!out_.empty() && (previous_ == ' ' || previous_ == '\t')) {
                out_.pop_back();
                escape(previous_);
            }
            if (!out_.empty() && job_.crlf != 0 && out_.back() == '\r') {
                out_.pop_back();
            }
            end_line();
            return;
        }
        const std::size_t before = out_.size();
        if (c == ' ' && job_.header_mode != 0) {
            out_ += '_';
            previous_ = c;
        } else if (safe_char[static_cast<unsigned char>(c)] == 0 || (column_ == 0 && (c == '-' || c == '.'))) {
            escape(c);
        } else {
            out_ += previous_ = c;
        }
        column_ += out_.size() - before;
        if (job_.fold != 0 && column_ > 71) {
            out_ += '=';
            end_line();
        }
    }

    void base64(std::string group) {
        const std::size_t size = group.size();
        group.resize(3);
        std::size_t bits = 0;
        for (const char c : group) {
            bits = bits << 8 | static_cast<unsigned char>(c);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            out_ += i <= size ? text::base64::kAlphabet[bits >> (18 - 6 * i) & 63] : '=';
        }
        column_ += 4;
        if (job_.fold != 0 && column_ > 70) {
            if (!job_.is_text) {
                end_line();
            }
            column_ = 0;
        }
    }

    void pass(char c) {
        const std::string guard = job_.guard != nullptr ? job_.guard : "";
        if (c == '\r' || c == '\n') {
            if (line_ && !guard.empty() && line_->starts_with(guard) && line_->find(' ') == line_->npos) {
                out_ += ' ';
            }
            if (c == '\n') {
                ++result_.lines;
                if (job_.crlf != 0 && previous_ != '\r') {
                    out_ += '\r';
                }
            }
            line_ = "";
        } else {
            if (c == '.' && previous_ == '\n' && job_.crlf == 0) {
                out_ += '.';
            }
            if (line_) {
                *line_ += c;
            }
        }
        out_ += previous_ = c;
    }

    const Job &job_;
    std::size_t limit_;
    bool is_base64_;
    bool is_quoted_;
    bool is_7bit_;
    std::string out_;
    std::size_t column_ = 0;
    char previous_ = '\n';
    std::optional<std::string> line_;  // since the first line end
    Result result_;
};

}  // namespace body_encode

#endif
