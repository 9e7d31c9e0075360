// mim check: mime.types and mime.cs.

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "explanation.h"
#include "text/ascii.h"
#include "text/tokens.h"

namespace tool {

namespace {

// How the library reads the two files.
constexpr LineFormat kTypesFormat{255, false, true};
constexpr LineFormat kCharsetsFormat{256, false, true};
constexpr char kComment = '#';
constexpr text::Tokens kTypeTokens{text::CharSet{" \t()<>@,;:\\/[]?=\""}};
constexpr text::Tokens kCharsetTokens{text::CharSet{" \t=\";"}};

constexpr std::size_t kMaxTypeName = 63;
constexpr std::size_t kMaxExtension = 4;
constexpr std::size_t kExtensions = 5;
constexpr std::size_t kMaxServerName = 15;
constexpr std::size_t kMaxMimeName = 31;
constexpr std::string_view kAny = "*";

// Names that earlier lines have.
using Names = std::set<std::string, std::less<>>;

// ---- mime.types ----

bool is_encoding_word(std::string_view word) {
    constexpr std::array<std::string_view, 10> kWords{
        "base64", "quoted-printable", "none", "7bit", "8bit", "b", "q", "n", "7", "8"};
    return std::find(kWords.begin(), kWords.end(), word) != kWords.end();
}

std::string_view encoding_read(char initial) {
    switch (initial) {
        case 'b':
            return "base64";
        case 'q':
            return "quoted-printable";
        case '7':
            return "7bit";
        case '8':
            return "8bit";
        default:
            return "none";
    }
}

class TypesCheck {
  public:
    explicit TypesCheck(CheckedFile &file) : file_(file) {}

    void take(int line, const char *place) {
        const std::string_view number = kTypeTokens.take(place);
        const std::string_view encoding = kTypeTokens.take(place);
        const std::string_view type = kTypeTokens.take(place);
        const std::string_view subtype = kTypeTokens.take(place);
        if (number.empty()) {
            return;
        }
        if (const std::string why = find_skip(number, encoding, type, subtype); !why.empty()) {
            file_.add(Fault::kSkippedLine, line, why);
            return;
        }
        if (!is_encoding_word(encoding)) {
            file_.add(Fault::kOddEncoding, line,
                      in_quotes(encoding) + " is read as " + std::string{encoding_read(encoding.front())});
        }
        bool is_new = add_type(number, type, subtype);
        for (std::size_t i = 0;; ++i) {
            const std::string_view extension = kTypeTokens.take(place);
            if (extension.empty()) {
                break;
            }
            if (i == kExtensions) {
                file_.add(Fault::kIgnoredText, line,
                          "only five extensions are read: " + quote_shortly(extension) + " is not");
                break;
            }
            if (extension.size() > kMaxExtension) {
                file_.add(Fault::kBadExtension, line,
                          quote_shortly(extension) + " has more than 4 characters, and is left out" +
                              (i == 0 ? ": attachments get .bin" : ""));
            } else {
                is_new = add_extension(type, subtype, extension) || is_new;
            }
        }
        if (!is_new) {
            file_.add(Fault::kUnusedLine, line,
                      "its number, content type and extensions all stand in lines above, which count");
        }
    }

  private:
    static std::string find_skip(std::string_view number, std::string_view encoding, std::string_view type,
                                 std::string_view subtype) {
        if (!text::kDigits.contains(number.front()) && number.front() != '-') {
            return quote_shortly(number) + " is no number";
        }
        if (encoding.empty()) {
            return "the line has a number alone";
        }
        if (std::string_view{"bqn78"}.find(encoding.front()) == std::string_view::npos) {
            return quote_shortly(encoding) +
                   " is no encoding: base64, quoted-printable, none, 7bit or 8bit, small";
        }
        if (subtype.empty()) {
            return "the line has no subtype";
        }
        if (type.size() > kMaxTypeName || subtype.size() > kMaxTypeName) {
            return "a type or subtype has more than 63 characters";
        }
        return {};
    }

    // Whether the line is the first with its number or its content type.
    bool add_type(std::string_view number, std::string_view type, std::string_view subtype) {
        if (type == kAny || subtype == kAny) {
            return false;
        }
        const bool is_new_number = numbers_.emplace(number).second;
        return types_.insert(to_upper(type) + "/" + to_upper(subtype)).second || is_new_number;
    }

    // Whether the line is the first with the extension, or with that and its wildcard type.
    bool add_extension(std::string_view type, std::string_view subtype, std::string_view extension) {
        const std::string name = to_upper(extension);
        const bool is_new = extensions_.insert(name).second;
        if (type != kAny && subtype != kAny) {
            return is_new;
        }
        return wildcards_.insert(to_upper(type) + "/" + to_upper(subtype) + " " + name).second || is_new;
    }

    CheckedFile &file_;
    Names numbers_;
    Names types_;
    Names extensions_;
    Names wildcards_;
};

// ---- mime.cs ----

class CharsetsCheck {
  public:
    explicit CharsetsCheck(CheckedFile &file) : file_(file) {}

    void take(int line, const char *place) {
        const std::string server{kCharsetTokens.take(place)};
        const std::string mime{kCharsetTokens.take(place)};
        if (server.empty()) {
            return;
        }
        if (mime.empty()) {
            file_.add(Fault::kSkippedLine, line, quote_shortly(server) + " has no second name");
            return;
        }
        if (server.size() > kMaxServerName || mime.size() > kMaxMimeName) {
            file_.add(Fault::kSkippedLine, line,
                      server.size() > kMaxServerName ? quote_shortly(server) + " has more than 15 characters"
                                                     : quote_shortly(mime) + " has more than 31 characters");
            return;
        }
        if (const std::string_view more = kCharsetTokens.take(place); !more.empty()) {
            file_.add(Fault::kIgnoredText, line,
                      "what follows the second name is not read: " + quote_shortly(more));
        }
        if (!is_known_charset(server) && !is_known_charset(mime)) {
            file_.add(Fault::kUnknownCharset, line,
                      "no service knows " + quote_shortly(server) + " or " + quote_shortly(mime));
        }
        const bool is_new_server = any_names_.find(to_upper(server)) == any_names_.end();
        const bool is_new_mime = mime_names_.insert(to_upper(mime)).second;
        if (!is_new_server && !is_new_mime) {
            file_.add(Fault::kUnusedLine, line, "both names stand in lines above, which count");
        }
        any_names_.insert(to_upper(server));
        any_names_.insert(to_upper(mime));
    }

  private:
    CheckedFile &file_;
    Names any_names_;   // in the first or second place
    Names mime_names_;  // in the second
};

template <typename Check>
void check_table(CheckedFile &file, const LineFormat &format, Check check) {
    each_line(file, format, [&](HomeLines &line) {
        if (line.text()[0] != kComment) {
            check.take(line.number(), line.text());
        }
    });
}

}  // namespace

void check_types(CheckedFile &file) {
    check_table(file, kTypesFormat, TypesCheck{file});
}

void check_charsets(CheckedFile &file) {
    check_table(file, kCharsetsFormat, CharsetsCheck{file});
}

}  // namespace tool
