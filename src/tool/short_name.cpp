// mim short-name: file names of at most eight characters, a dot and an extension.

#include "commands.h"
#include "mim.h"
#include "numbers.h"
#include "rows.h"

namespace tool {

namespace {

class ShortName : public Conversion {
  public:
    explicit ShortName(int type) : type_(type) {}

    [[nodiscard]] std::size_t longest_item() const override { return kMaxLine; }

    void convert(const char *item, Answer &answer) override { answer.set(mim_MakeFname8dot3(item, type_)); }

  private:
    int type_;
};

}  // namespace

void add_short_name(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app =
        add_command(parent, "short-name", "Turn file names into ones of eight characters and three");
    const CLI::Option *type = add_value(
        *app, "--type", "NUMBER", "The server's number of the attachments' type",
        [](const std::string &text) { return read_number<int>(text) ? std::string{} : not_a_number<int>(); });
    const CLI::Option *names = add_items(*app, "NAME");
    commands.push_back({app, [=](Session &session) {
                            const std::string number = value_of(type).value_or("0");
                            ShortName conversion{read_number<int>(number).value_or(0)};
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
