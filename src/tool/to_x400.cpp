// mim to-x400: Internet addresses to O/R names.

#include "to_x400.h"

#include "home_files.h"
#include "mim.h"
#include "orn_text.h"
#include "rows.h"

namespace tool {

namespace {

class ToX400 : public Conversion {
  public:
    explicit ToX400(unsigned char flags) : flags_(flags) {}

    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_TEXT; }

    void convert(const char *item, Answer &answer) override {
        mim_ArpaToORN2(item, orn_.text.data(), &orn_.index, flags_);
        answer_orn(orn_, answer);
    }

  private:
    unsigned char flags_;
    OrName orn_{};
};

}  // namespace

std::function<unsigned char()> add_x400_options(CLI::App &app) {
    const CLI::Option *tnef = add_flag(app, "--tnef", "Take missing routing from the TNEF gateway");
    const CLI::Option *cn = add_flag(app, "--cn", "Write the surname as the common name (CN) too");
    return [=] {
        return static_cast<unsigned char>((is_set(tnef) ? MIM_FLAG_TNEF : 0) |
                                          (is_set(cn) ? MIM_FLAG_COMMON_NAME : 0));
    };
}

void add_to_x400(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "to-x400", "Turn Internet addresses into O/R names");
    const std::function<unsigned char()> flags = add_x400_options(*app);
    const CLI::Option *addresses = add_items(*app, "ADDRESS");
    commands.push_back({app, [=](Session &session) {
                            require_home({kInboundRules, kGatewayMap});
                            ToX400 conversion{flags()};
                            convert_items(session, items_of(addresses), conversion);
                        }});
}

}  // namespace tool
