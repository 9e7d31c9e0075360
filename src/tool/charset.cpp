// mim charset: the server's names of character sets to those of MIME, and back.

#include "ccs.h"
#include "commands.h"
#include "home_files.h"
#include "mes.h"
#include "mim.h"
#include "rows.h"

namespace tool {

namespace {

// What the library logs when it hands a name back because nobody knows it.
constexpr int kNameUnknown = 24149;

class CharsetName : public Conversion {
  public:
    CharsetName(const Session &session, bool internal) : session_(session), internal_(internal) {}

    [[nodiscard]] std::size_t longest_item() const override { return CCS_NAME_SIZE - 1; }

    void convert(const char *item, Answer &answer) override {
        const char *name = internal_ ? mim_GetCharSetName(nullptr, item) : mim_GetCharSetName(item, nullptr);
        if (session_.was_logged(MES_SET_SERVER, kNameUnknown)) {
            answer.miss("not known");
        } else {
            answer.set(name);
        }
    }

  private:
    const Session &session_;
    bool internal_;
};

}  // namespace

void add_charset(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "charset", "Turn the server's names of character sets into MIME's");
    const CLI::Option *internal =
        add_flag(*app, "--internal", "Turn MIME's names into the server's own instead");
    const CLI::Option *names = add_items(*app, "NAME");
    commands.push_back({app, [=](Session &session) {
                            require_home({kMimeCharsets});
                            CharsetName conversion{session, is_set(internal)};
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
