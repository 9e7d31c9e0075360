// mim type: the server's numbers for kinds of attachments to content types and extensions, and back.

#include <array>
#include <optional>
#include <string>

#include "commands.h"
#include "home_files.h"
#include "mim.h"
#include "numbers.h"
#include "rows.h"

namespace tool {

namespace {

// What the header that the library writes begins with.
constexpr std::string_view kHeaderName = "Content-Type: ";

// What a number stands for.
class TypeOfNumber : public Conversion {
  public:
    // `charset` is the one of the attachment's text, the server's name, or empty.
    explicit TypeOfNumber(std::string charset) : charset_(std::move(charset)) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        const auto number = read_number<int>(item);
        if (!number) {
            answer.miss(not_a_number<int>());
            return;
        }
        std::array<char, MIM_TYPE_HEADER_SIZE> header{};
        mim_KVToMimeType(*number, charset_.c_str(), header.data());
        const char encoding = mim_getEncoding(*number);
        answer.set_part("type", std::string_view{header.data()}.substr(kHeaderName.size()));
        answer.set_part("extension", mim_getFileExt(*number));
        answer.set_part("encoding", {&encoding, 1});
    }

  private:
    std::string charset_;
};

constexpr const char *kNoEntry = "no entry";

// The number for a content type.
class NumberOfContent : public Conversion {
  public:
    explicit NumberOfContent(std::optional<std::string> file) : file_(std::move(file)) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        int number = 0;
        std::array<char, CCS_NAME_SIZE> charset{};
        mim_MimeToKVType(item, file_ ? file_->c_str() : nullptr, charset.data(), &number);
        if (number == 0) {
            answer.miss(kNoEntry);
            return;
        }
        answer.set_part("number", std::to_string(number));
        answer.set_part("charset", charset.data());
    }

  private:
    std::optional<std::string> file_;
};

// The number for a file by its extension.
class NumberOfFile : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        int number = 0;
        mim_FileExtToKVType(item, &number);
        if (number == 0) {
            answer.miss(kNoEntry);
        } else {
            answer.set(std::to_string(number));
        }
    }
};

}  // namespace

void add_type(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "type", "Show what the server's numbers of types stand for");
    CLI::Option *content = add_flag(*app, "--content", "Show the numbers of Content-Type values instead");
    CLI::Option *names = add_flag(*app, "--names", "Show the numbers of file names instead");
    CLI::Option *file = add_value(*app, "--file", "NAME", "The attachment's file name, with --content");
    CLI::Option *charset =
        add_value(*app, "--charset", "NAME", "The character set of the text, by the server's name");
    exclude(names, content);
    exclude(charset, content);
    exclude(charset, names);
    depend(file, content);
    const CLI::Option *items = add_items(*app, "ITEM");
    commands.push_back({app, [=](Session &session) {
                            require_home({kMimeTypes, kMimeCharsets});
                            if (is_set(content)) {
                                NumberOfContent conversion{value_of(file)};
                                convert_items(session, items_of(items), conversion);
                            } else if (is_set(names)) {
                                NumberOfFile conversion;
                                convert_items(session, items_of(items), conversion);
                            } else {
                                TypeOfNumber conversion{value_of(charset).value_or("")};
                                convert_items(session, items_of(items), conversion);
                            }
                        }});
}

}  // namespace tool
