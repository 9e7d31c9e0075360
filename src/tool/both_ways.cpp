// What the subcommands share that convert in both directions.

#include "both_ways.h"

#include <string_view>
#include <utility>

#include "home_files.h"
#include "mim.h"
#include "to_x400.h"

namespace tool {

std::function<BothWaysOptions()> add_both_ways_options(CLI::App &app) {
    const CLI::Option *only_addresses =
        add_flag(app, "--address", "Take items that begin with / for Internet addresses, too");
    const std::function<unsigned char()> flags = add_x400_options(app);
    const std::function<InternetOptions()> internet = add_internet_options(app);
    return [=] {
        return BothWaysOptions{
            .only_addresses = is_set(only_addresses), .flags = flags(), .internet = internet()};
    };
}

void require_home_of_both_ways() {
    require_home({kInboundRules, kGatewayMap, kDomainMap, kOutboundRules});
}

BothWays::BothWays(Session &session, BothWaysOptions options)
    : only_addresses_(options.only_addresses),
      flags_(options.flags),
      conversion_(session, std::move(options.internet)) {}

bool BothWays::read(const char *item, OrName &orn, std::string &fault) const {
    if (is_name(item)) {
        return read_orn(item, orn, fault);
    }
    if (std::string_view{item}.size() > MIM_MAX_TEXT) {
        fault = "longer than " + std::to_string(MIM_MAX_TEXT) + " characters";
        return false;
    }
    convert(item, orn);
    return true;
}

void BothWays::convert(const char *address, OrName &orn) const {
    mim_ArpaToORN2(address, orn.text.data(), &orn.index, flags_);
}

std::string BothWays::convert(const OrName &orn) {
    conversion_.convert(orn.text.data(), conversion_.is_routable(orn.text.data()));
    return conversion_.address();
}

}  // namespace tool
