// mim certificate: the addresses under which the users of O/R names are known in certificates.

#include <array>

#include "commands.h"
#include "home_files.h"
#include "mim.h"
#include "orn_text.h"
#include "rows.h"

namespace tool {

namespace {

class Certificate : public OrnConversion {
  public:
    explicit Certificate(bool use_directory_name) : use_directory_name_(use_directory_name ? 1 : 0) {}

    void convert_orn(OrName &orn, Answer &answer) override {
        std::array<char, MIM_TEXT_SIZE> address{};
        if (mim_ConvORNToCertSMTP(orn.text.data(), address.data(), 0, 0, use_directory_name_) != 0) {
            answer.set(address.data());
        } else {
            answer.miss("no address");
        }
    }

  private:
    int use_directory_name_;
};

}  // namespace

void add_certificate(CLI::App &parent, std::vector<Command> &commands) {
    CLI::App *app = add_command(parent, "certificate", "Show the certificate addresses of O/R names");
    const CLI::Option *directory_name =
        add_flag(*app, "--directory-name", "Convert the name in the user's entry in place of the one given");
    const CLI::Option *names = add_items(*app, "NAME");
    commands.push_back({app, [=](Session &session) {
                            require_home({kDomainMap, kOutboundRules});
                            Certificate conversion{is_set(directory_name)};
                            convert_items(session, items_of(names), conversion);
                        }});
}

}  // namespace tool
