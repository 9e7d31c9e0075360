// mim word: header values with encoded words (RFC 2047), read, written and compared.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ccs.h"
#include "commands.h"
#include "cvc.h"
#include "dstring.h"
#include "home_files.h"
#include "mim.h"
#include "numbers.h"
#include "rows.h"
#include "text/ascii.h"

namespace tool {

namespace {

constexpr const char *kUnicode = "UTF8";
constexpr int kPurpose = 21;
constexpr std::int16_t kMaxWord = 75;  // RFC 2047, 2
constexpr char kPairMark = '\t';       // between the two values of a line
constexpr std::string_view kFold = "\n ";

// A string of the service, released with its owner.
class ServiceString {
  public:
    ServiceString() { dstring_init(&string_); }
    ServiceString(const ServiceString &) = delete;
    ServiceString &operator=(const ServiceString &) = delete;
    ~ServiceString() { dstring_free(&string_); }

    [[nodiscard]] dstring *get() { return &string_; }
    [[nodiscard]] std::string_view view() const {
        return {string_.data, static_cast<std::size_t>(string_.length)};
    }

  private:
    dstring string_;  // NOLINT(*-member-init): dstring_init's
};

// ---- decode ----

class WordDecoder : public Conversion {
  public:
    // Decodes into `charset`; into the values' own sets, which it shows, without one.
    explicit WordDecoder(std::optional<std::string> charset) : charset_(std::move(charset)) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        std::array<char, MIM_CHARSET_SIZE> charset{};
        ServiceString text;
        if (charset_) {
            charset_->copy(charset.data(), charset.size() - 1);
        }
        mim_2047_to_string_and_cset_dstring(item, text.get(), charset.data(), charset_ ? 1 : 0);
        if (charset_) {
            answer.set(text.view());
        } else {
            answer.set_part("charset", charset.data());
            answer.set_part("text", text.view());
        }
    }

  private:
    std::optional<std::string> charset_;
};

// ---- encode ----

class WordEncoder : public Conversion {
  public:
    WordEncoder(const ccs_descriptor &charset, char mode, int max_length)
        : charset_(charset), mode_(mode), word_(static_cast<std::size_t>(max_length) + 1) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        char *converted = nullptr;
        std::int32_t length = 0;
        if (cvc_CnvString(CVC_HEADER, 0, item, -1, kUnicode, charset_.name, &converted, &length, nullptr,
                          kPurpose) != CVC_EXACT) {
            answer.miss("cannot be written in that character set");
            return;
        }
        const std::string text{converted, static_cast<std::size_t>(length)};  // the service's may go
        const char *const begin = text.data();
        const char *const end = begin + text.size();
        std::string words;
        for (const char *rest = begin; rest != nullptr;) {
            const char *next = mim_EncodeFold(rest, static_cast<int>(end - rest), word_.data(),
                                              static_cast<int>(word_.size() - 1), rest == begin ? 1 : 0,
                                              &charset_, mode_, 1, nullptr, 0, 0);
            if (next == rest) {
                answer.miss("holds a character that such a short word has no room for");
                return;
            }
            words += rest == begin ? "" : kFold;
            words += word_.data();
            rest = next;
        }
        answer.set(words);
    }

  private:
    ccs_descriptor charset_;
    char mode_;
    std::vector<char> word_;
};

// ---- join, same ----

// Two values in one item.
class PairConversion : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        const std::string_view pair{item};
        const std::size_t mark = pair.find(kPairMark);
        if (mark == std::string_view::npos) {
            answer.miss("is one value; two with a tab between them are needed");
            return;
        }
        convert_pair(std::string{pair.substr(0, mark)}, std::string{pair.substr(mark + 1)}, answer);
    }

    virtual void convert_pair(const std::string &first, const std::string &second, Answer &answer) = 0;
};

class WordJoiner : public PairConversion {
    void convert_pair(const std::string &first, const std::string &second, Answer &answer) override {
        answer.set(mim_joinRfc2047Strings(first.c_str(), second.c_str()));
    }
};

class WordComparer : public PairConversion {
    void convert_pair(const std::string &first, const std::string &second, Answer &answer) override {
        answer.set(mim_equivRfc2047Strings(first.c_str(), second.c_str()) != 0 ? "same" : "different");
    }
};

// Why arguments are no pairs, or null. A single "-" stands for standard input.
const char *find_pairs_fault(const std::vector<std::string> &arguments) {
    if (arguments.size() == 1 && arguments.front() == "-") {
        return nullptr;
    }
    if (arguments.size() % 2 != 0) {
        return "the last value has no other to go with it";
    }
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        if (arguments[i].find(kPairMark) != std::string::npos) {
            return "the first value of a pair holds a tab";
        }
    }
    return nullptr;
}

// The items that the arguments, in pairs, stand for.
std::vector<std::string> pairs_of(const std::vector<std::string> &arguments) {
    if (arguments.size() < 2) {
        return arguments;
    }
    std::vector<std::string> pairs;
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        pairs.push_back(arguments[i] + kPairMark + arguments[i + 1]);
    }
    return pairs;
}

// ---- reencode, truncate ----

class WordReencoder : public Conversion {
  public:
    WordReencoder(char encoding, std::int16_t column) : encoding_(encoding), column_(column) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        ServiceString value;
        mim_reEncodeRfc2047String(item, encoding_, column_, value.get());
        answer.set(value.view());
    }

  private:
    char encoding_;
    std::int16_t column_;
};

class WordTruncater : public Conversion {
  public:
    explicit WordTruncater(std::size_t size) : value_(size) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        answer.set(mim_truncate_2047_string(item, static_cast<std::uint32_t>(value_.size()), value_.data()));
    }

  private:
    std::vector<char> value_;
};

// ---- Options ----

std::string find_charset_fault(const std::string &name) {
    ccs_descriptor descriptor;
    return ccs_GetCSDescriptor(name.c_str(), &descriptor) != 0 ? ""
                                                               : "no character set of that name is known";
}

// The one letter of an encoding, in upper case.
CLI::Option *add_encoding(CLI::App &app, const char *letters, const char *description) {
    return add_value(app, "--encoding", "LETTER", description, [letters](const std::string &text) {
        const bool is_one = text.size() == 1 && std::string_view{letters}.find(
                                                    text::to_upper(text.front())) != std::string_view::npos;
        return is_one ? std::string{} : std::string{"one of the letters "} + letters + " is needed";
    });
}

char encoding_of(const CLI::Option *option, char otherwise) {
    const std::optional<std::string> text = value_of(option);
    return text ? text::to_upper(text->front()) : otherwise;
}

void add_decode(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, "decode", "Turn header values into plain text");
    CLI::Option *charset = add_value(
        *app, "--charset", "NAME", "The character set of the text; UTF8 is the default", find_charset_fault);
    CLI::Option *detect = add_flag(*app, "--detect", "Use the set of the words themselves, and show it");
    exclude(detect, charset);
    const CLI::Option *values = add_items(*app, "VALUE");
    commands.push_back({app, [=](Session &session) {
                            WordDecoder conversion{is_set(detect)
                                                       ? std::nullopt
                                                       : std::optional{value_of(charset).value_or(kUnicode)}};
                            convert_items(session, items_of(values), conversion);
                        }});
}

void add_encode(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, "encode", "Turn texts into folded encoded words");
    const CLI::Option *charset = add_value(
        *app, "--charset", "NAME", "The character set of the words; UTF8 is the default", find_charset_fault);
    const CLI::Option *encoding =
        add_encoding(*app, "QBN", "Q, the default; B for base64; N for folded text without words");
    const CLI::Option *longest =
        add_number(*app, "--max", "N", "The most characters of a word; 75 is the default", 1);
    const CLI::Option *texts = add_items(*app, "TEXT");
    commands.push_back({app, [=](Session &session) {
                            require_home({kMimeCharsets});
                            ccs_descriptor descriptor;
                            ccs_GetCSDescriptor(value_of(charset).value_or(kUnicode).c_str(), &descriptor);
                            WordEncoder conversion{descriptor, encoding_of(encoding, 'Q'),
                                                   number_of(longest).value_or(kMaxWord)};
                            convert_items(session, items_of(texts), conversion);
                        }});
}

template <typename Pairs>
void add_pairs(CLI::App &family, const char *name, const char *description, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, name, description);
    const CLI::Option *values = add_items(*app, "VALUE");
    commands.push_back({app, [=](Session &session) {
                            const std::vector<std::string> arguments = items_of(values);
                            if (const char *fault = find_pairs_fault(arguments); fault != nullptr) {
                                session.note(Exit::kWrongUse);
                                session.report("error", fault);
                                return;
                            }
                            Pairs conversion;
                            convert_items(session, pairs_of(arguments), conversion);
                        }});
}

void add_reencode(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app = add_command(family, "reencode", "Encode the words of header values anew");
    CLI::Option *encoding = add_encoding(*app, "QB", "Q, or B for base64");
    require(encoding);
    const CLI::Option *column =
        add_number(*app, "--column", "N", "How many characters of the first line are taken", 0);
    const CLI::Option *values = add_items(*app, "VALUE");
    commands.push_back(
        {app, [=](Session &session) {
             WordReencoder conversion{encoding_of(encoding, 'Q'), number_of(column).value_or(0)};
             convert_items(session, items_of(values), conversion);
         }});
}

void add_truncate(CLI::App &family, std::vector<Command> &commands) {
    CLI::App *app =
        add_command(family, "truncate", "Cut header values to a size in bytes, terminator included");
    CLI::Option *size =
        add_value(*app, "--size", "N", "The size, from 1 to 1048576", [](const std::string &text) {
            const auto number = read_number<std::uint32_t>(text);
            return number && *number >= 1 && *number <= kMaxLine ? "" : "no number from 1 to 1048576";
        });
    require(size);
    const CLI::Option *values = add_items(*app, "VALUE");
    commands.push_back({app, [=](Session &session) {
                            WordTruncater conversion{*read_number<std::uint32_t>(*value_of(size))};
                            convert_items(session, items_of(values), conversion);
                        }});
}

}  // namespace

void add_word(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *word = add_family(parent, "word", "Read and write header values with encoded words");
    add_decode(*word, commands);
    add_encode(*word, commands);
    add_pairs<WordJoiner>(*word, "join", "Join header values in pairs", commands);
    add_pairs<WordComparer>(*word, "same", "Tell whether header values in pairs carry the same text",
                            commands);
    add_reencode(*word, commands);
    add_truncate(*word, commands);
}

}  // namespace tool
