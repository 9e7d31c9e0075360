// mim rules: what the rules files make of a name.

#include <array>

#include "commands.h"
#include "home_files.h"
#include "mim.h"
#include "rows.h"

namespace tool {

namespace {

// The surname that the inbound rules make of an address.
class RulesIn : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_TEXT; }

    void convert(const char *item, Answer &answer) override {
        std::array<char, MIM_SURNAME_SIZE> surname{};
        mim_GetSurnameFromArpaORN(item, surname.data());
        answer.set(surname.data());
    }
};

}  // namespace

void add_rules(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *rules = add_family(parent, "rules", "Apply a rules file of the home");
    CLI::App *app = add_command(*rules, "in", "Show the surnames that unixin.rules makes of addresses");
    const CLI::Option *addresses = add_items(*app, "ADDRESS");
    commands.push_back({app, [=](Session &session) {
                            require_home({kInboundRules});
                            RulesIn conversion;
                            convert_items(session, items_of(addresses), conversion);
                        }});
}

}  // namespace tool
