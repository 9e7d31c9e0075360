// mim map: what the domain maps say of a domain or an O/R name.

#include <array>

#include "commands.h"
#include "home_files.h"
#include "mim.h"
#include "orn_text.h"
#include "rows.h"

namespace tool {

namespace {

// The routing attributes that the gateway map gives for a domain.
class MapDomain : public Conversion {
  public:
    explicit MapDomain(bool extend) : extend_(extend ? 1 : 0) {}

    [[nodiscard]] std::size_t longest_item() const override { return MIM_MAX_TEXT; }

    void convert(const char *item, Answer &answer) override {
        nm_InitORN(orn_.text.data(), &orn_.index);
        if (mim_ArpaDomainLookup(kGatewayMap, item, orn_.text.data(), &orn_.index, extend_) != 0) {
            answer_orn(orn_, answer);
        } else {
            answer.miss("no entry");
        }
    }

  private:
    int extend_;
    OrName orn_{};
};

// The domain that the X.400 domain map gives for an O/R name, and what is left of the name.
class MapX400 : public OrnConversion {
  public:
    void convert_orn(OrName &orn, Answer &answer) override {
        std::array<char, MIM_TEXT_SIZE> domain{};
        if (mim_X400DomainLookup(kDomainMap, orn.text.data(), domain.data()) == 0) {
            answer.miss("no entry, or an attribute below it is no domain label");
            return;
        }
        nm_FormatText(orn.text.data(), orn.form.data(), NM_TEXT_SIZE);
        answer.set_part("domain", domain.data());
        answer.set_part("rest", orn.form.data());
    }
};

}  // namespace

void add_map(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *map = add_family(parent, "map", "Look up a domain map of the home");
    CLI::App *domain = add_command(*map, "domain", "Show the O/R names that unixmap.gw gives for domains");
    const CLI::Option *extend = add_flag(*domain, "--extend", "Make units of the labels left of the entry");
    const CLI::Option *domains = add_items(*domain, "DOMAIN");
    commands.push_back({domain, [=](Session &session) {
                            require_home({kGatewayMap});
                            MapDomain conversion{is_set(extend)};
                            convert_items(session, items_of(domains), conversion);
                        }});
    CLI::App *x400 = add_command(*map, "x400", "Show the domains that unixmap.out gives for O/R names");
    const CLI::Option *names = add_items(*x400, "NAME");
    commands.push_back({x400, [=](Session &session) {
                            require_home({kDomainMap});
                            MapX400 conversion;
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
