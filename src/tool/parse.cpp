// mim parse: the parts of an RFC 822 address.

#include <array>

#include "commands.h"
#include "mim.h"
#include "rows.h"

namespace tool {

namespace {

enum Part { kPhrase, kAddress, kRoute, kLocalPart, kDomain, kPartCount };
constexpr std::array<const char *, kPartCount> kPartNames = {"phrase", "address", "route", "local", "domain"};

class Parse : public Conversion {
  public:
    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_ADDRESS; }

    void convert(const char *item, Answer &answer) override {
        mim_parse_address(item, parts_[kPhrase].data(), parts_[kAddress].data(), parts_[kRoute].data(),
                          parts_[kLocalPart].data(), parts_[kDomain].data());
        for (std::size_t part = 0; part < kPartCount; ++part) {
            answer.set_part(kPartNames[part], parts_[part].data());
        }
    }

  private:
    std::array<std::array<char, MIM_ADDRESS_SIZE>, kPartCount> parts_{};
};

}  // namespace

void add_parse(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "parse", "Split Internet addresses into their parts");
    const CLI::Option *addresses = add_items(*app, "ADDRESS");
    commands.push_back({app, [=](Session &session) {
                            Parse conversion;
                            convert_items(session, items_of(addresses), conversion);
                        }});
}

}  // namespace tool
