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

// What the outbound rules make of a surname.
class RulesOut : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_REWRITE + 1; }

    void convert(const char *item, Answer &answer) override {
        std::array<char, MIM_TEXT_SIZE> address{};
        mim_GetArpaORNFromSurname(item, address.data());
        if (address.front() != '\0') {
            answer.set(address.data());
        } else {
            answer.miss("the rules give no address");
        }
    }
};

}  // namespace

void add_rules(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *rules = add_family(parent, "rules", "Apply a rules file of the home");
    CLI::App *in = add_command(*rules, "in", "Show the surnames that unixin.rules makes of addresses");
    const CLI::Option *addresses = add_items(*in, "ADDRESS");
    commands.push_back({in, [=](Session &session) {
                            require_home({kInboundRules});
                            RulesIn conversion;
                            convert_items(session, items_of(addresses), conversion);
                        }});
    CLI::App *out = add_command(*rules, "out", "Show what unixout.rules makes of surnames");
    const CLI::Option *surnames = add_items(*out, "SURNAME");
    commands.push_back({out, [=](Session &session) {
                            require_home({kOutboundRules});
                            RulesOut conversion;
                            convert_items(session, items_of(surnames), conversion);
                        }});
}

}  // namespace tool
