// mim xtext: texts into xtext (RFC 3461), and back.

#include <string>
#include <string_view>

#include "commands.h"
#include "mim.h"
#include "rows.h"

namespace tool {

namespace {

class XtextEncoder : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        std::string text(3 * std::string_view{item}.size() + 1, '\0');
        mim_XtextString(item, text.data());
        answer.set(text.c_str());
    }
};

class XtextDecoder : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override {
        const std::string_view xtext{item};
        // The byte that ends the result, for whoever reads it as a text.
        if (xtext.find("+00") != std::string_view::npos) {
            answer.miss("stands for a zero byte");
            return;
        }
        std::string text(xtext.size() + 1, '\0');
        mim_DecodeXtextString(item, text.data());
        answer.set(text.c_str());
    }
};

template <typename Direction>
void add_direction(CLI::App &family, const char *name, const char *description,
                   std::vector<Command> &commands) {
    CLI::App *app = add_command(family, name, description);
    const CLI::Option *texts = add_items(*app, "TEXT");
    commands.push_back({app, [=](Session &session) {
                            Direction conversion;
                            convert_items(session, items_of(texts), conversion);
                        }});
}

}  // namespace

void add_xtext(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *xtext = add_family(parent, "xtext", "Write and read xtext, as in delivery status parameters");
    add_direction<XtextEncoder>(*xtext, "encode", "Turn texts into xtext", commands);
    add_direction<XtextDecoder>(*xtext, "decode", "Turn xtext into texts", commands);
}

}  // namespace tool
