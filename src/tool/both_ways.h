// Conversions whose direction follows from the item: an O/R name goes to the Internet, an Internet address to
// X.400.
#ifndef TOOL_BOTH_WAYS_H
#define TOOL_BOTH_WAYS_H

#include <functional>
#include <string>

#include "commands.h"
#include "orn_text.h"
#include "session.h"
#include "to_internet.h"

namespace tool {

struct BothWaysOptions {
    bool only_addresses = false;  // an item that begins with "/" is an address, too
    unsigned char flags = 0;      // of mim_ArpaToORN2
    InternetOptions internet;
};

// Adds the options of both directions to a subcommand, and tells which were given.
[[nodiscard]] std::function<BothWaysOptions()> add_both_ways_options(CLI::App &app);

// Throws ToolError unless the home can be used in both directions.
void require_home_of_both_ways();

class BothWays {
  public:
    BothWays(Session &session, BothWaysOptions options);

    [[nodiscard]] bool is_name(const char *item) const { return *item == '/' && !only_addresses_; }

    [[nodiscard]] unsigned char flags() const { return flags_; }
    [[nodiscard]] InternetConversion &to_internet() { return conversion_; }

    // Makes `orn` what `item`, an address or a name in text form, stands for on the X.400 side. Returns false
    // with the reason in `fault` when it is too long, or no name.
    [[nodiscard]] bool read(const char *item, OrName &orn, std::string &fault) const;

    // The O/R name that the address becomes, and the address that the name becomes; empty when there is none.
    void convert(const char *address, OrName &orn) const;
    [[nodiscard]] std::string convert(const OrName &orn);

  private:
    bool only_addresses_;
    unsigned char flags_;
    InternetConversion conversion_;
};

}  // namespace tool

#endif
