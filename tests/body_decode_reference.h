// A decoder of bodies written byte by byte: what the library's must agree with.
#ifndef TESTS_BODY_DECODE_REFERENCE_H
#define TESTS_BODY_DECODE_REFERENCE_H

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "text/base64.h"

namespace body_decode {

struct Part {
    std::string encoding;
    std::string in;
    int crlf = 0;
    const char *boundary = "--b";
    const char *closing = "--b--";
};

struct Result {
    std::string out;
    int message_end = 0;
    int closing_seen = 0;
    bool operator==(const Result &) const = default;
};

class Reference {
  public:
    explicit Reference(const Part &part) : part_(part) {}

    Result run() {
        const bool quoted = part_.encoding == "quoted-printable";
        const std::string line_break = quoted && part_.crlf != 0 ? "\r\n" : "\n";
        bool owed = false;
        for (std::string line; get_line(line);) {
            if (part_.encoding == "x-uuencode") {
                uuencode(line);
            } else if (part_.encoding == "base64") {
                base64(line);
            } else {
                result_.out += owed ? line_break : "";
                owed = true;
                if (quoted) {
                    line.erase(line.find_last_not_of(" \t") + 1);
                    owed = !line.ends_with('=');
                    line.resize(line.size() - (owed ? 0 : 1));
                    unquote(line);
                } else {
                    result_.out += line;
                }
            }
        }
        result_.out += owed && result_.message_end != 0 ? line_break : "";
        return result_;
    }

  private:
    bool get_line(std::string &line) {
        line.clear();
        if (!more_ || place_ == part_.in.size()) {
            return more_ = false;
        }
        while (place_ < part_.in.size() && line.size() < 1023 && !line.ends_with('\n')) {
            line += part_.in[place_++];
        }
        const bool after_whole = whole_;
        whole_ = line.ends_with('\n');
        if (whole_) {
            line.pop_back();
            while (line.ends_with('\r')) {
                line.pop_back();
            }
        }
        const auto is = [&line](const char *end) { return end != nullptr && *end != '\0' && line == end; };
        if (after_whole && line == ".") {
            result_.message_end = 1;
        } else if (!is(part_.boundary)) {
            if (!is(part_.closing)) {
                if (line.starts_with("..")) {
                    line.erase(0, 1);
                }
                return true;
            }
            result_.closing_seen = 1;
        }
        return more_ = false;
    }

    void skip() {
        for (std::string line; get_line(line);) {
        }
    }

    void unquote(const std::string &line) {
        constexpr std::string_view kHex = "0123456789ABCDEF0123456789abcdef";
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (line[i] == '=' && i + 2 < line.size() && kHex.find(line[i + 1]) != std::string_view::npos &&
                kHex.find(line[i + 2]) != std::string_view::npos) {
                result_.out += static_cast<char>(kHex.find(line[i + 1]) % 16 * 16 + kHex.find(line[i + 2]) % 16);
                i += 2;
            } else {
                result_.out += line[i];
            }
        }
    }

    void base64(std::string line) {
        bool last = line.find('=') != std::string::npos;
        for (std::string more; !last && line.size() % 4 != 0 && get_line(more);) {
            if (line.size() + more.size() <= 1024) {
                line += more;
            }
            last = more.find('=') != std::string::npos;
        }
        if (last) {
            skip();
        }
        std::vector<std::size_t> group;
        for (std::size_t i = 0; i <= line.size(); ++i) {
            const std::size_t digit = i < line.size() ? text::base64::kAlphabet.find(line[i]) : std::string::npos;
            if (digit != std::string::npos) {
                group.push_back(digit);
            }
            if (digit != std::string::npos && group.size() < 4) {
                continue;
            }
            const std::size_t bytes = std::max<std::size_t>(group.size(), 1) - 1;
            group.resize(4);
            const std::size_t bits = group[0] << 18 | group[1] << 12 | group[2] << 6 | group[3];
            for (std::size_t j = 0; j < bytes; ++j) {
                result_.out += static_cast<char>(bits >> (16 - 8 * j));
            }
            group.clear();
        }
    }

    void uuencode(std::string line) {
        if (line.starts_with("end")) {
            ended_ = true;
        } else if (!in_body_) {
            in_body_ = line.starts_with("begin");
        } else if (!ended_) {
            if (line.starts_with("..")) {
                line.erase(0, 1);
            }
            const auto six = [](char c) { return static_cast<std::size_t>(c - 32) & 63; };
            const std::size_t count = line.empty() ? 32 : six(line[0]);
            if (count >= line.size()) {
                more_ = false;
                return;
            }
            line.resize(100, ' ');
            std::string bytes;
            for (std::size_t i = 1; bytes.size() < count; i += 4) {
                const std::size_t bits =
                    six(line[i]) << 18 | six(line[i + 1]) << 12 | six(line[i + 2]) << 6 | six(line[i + 3]);
                for (const int shift : {16, 8, 0}) {
                    bytes += static_cast<char>(bits >> shift);
                }
            }
            result_.out += bytes.substr(0, count);
        }
    }

    const Part &part_;
    std::size_t place_ = 0;
    bool more_ = true;
    bool whole_ = true;
    bool in_body_ = false;
    bool ended_ = false;
    Result result_;
};

}  // namespace body_decode

#endif
