// O/R names into Internet addresses, with the example home's directory, map, rules and customisation.

#include <array>

#include "dr.h"
#include "fuzz.h"
#include "mim.h"

namespace {

std::int16_t default_directory() {
    static const std::int16_t directory = dr_OpenDir(0, DR_READ, "", "");
    return directory;
}

struct Request {
    explicit Request(fuzz::Input &in)
        : with_recorded(in.flag()),
          routable(in.flag()),
          mapping(in.flag()),
          add_delimiter(in.flag()),
          t61(in.flag()),
          fallback(in.flag()),
          comments(in.flag()),
          mode(in.small(4)),
          style(in.small(6)),
          delimiter("/;"[in.below(2)]),
          is_text_form(in.flag() != 0),
          address_template(in.text(200)),
          name(in.text(NM_ORN_SIZE - 1)) {
        std::erase_if(address_template, [](char c) { return c == '\r' || c == '\n'; });
        if (is_text_form) {
            nm_index index;
            name = fuzz::written(NM_ORN_SIZE,
                                 [&](char *out) { nm_ParseText(fuzz::Copy{name}, out, &index, nullptr); });
        }
    }

    [[nodiscard]] std::string address() const {
        const fuzz::Copy orn{name};
        const fuzz::Copy form{address_template};
        return fuzz::answer(MIM_TEXT_SIZE, [&](char *out) {
            return with_recorded != 0
                       ? mim_ConvORNIaToArpaORN(orn, out, routable, form, mapping, default_directory(), "167",
                                                add_delimiter, mode, style, delimiter, t61, fallback,
                                                comments)
                       : mim_ConvORNToArpaORN(orn, out, routable, form, mapping, default_directory(), "167",
                                              add_delimiter, mode, style, delimiter, t61, fallback);
        });
    }

    int with_recorded, routable, mapping, add_delimiter, t61, fallback, comments;
    std::int16_t mode, style;
    char delimiter;
    bool is_text_form;
    std::string address_template, name;
};

// What the smaller functions make of a name.
std::string sources(const Request &request) {
    const fuzz::Copy orn{request.name};
    int from_system = -1;
    const std::string recorded = fuzz::answer(
        MIM_TEXT_SIZE, [&](char *out) { return mim_GetIA(orn, out, request.comments, &from_system); });
    const std::string dda = fuzz::answer(MIM_TEXT_SIZE, [&](char *out) { return mim_GetDDA(orn, out); });
    const std::string from_directory = fuzz::answer(MIM_TEXT_SIZE, [&](char *out) {
        return mim_GetDirArpaORN(orn, out, request.mapping, default_directory(), "167");
    });
    const int is_routable = mim_RoutableToUnix(orn);
    const int is_roughly = mim_RoughRoutableToUnix(orn);
    fuzz::expect(is_routable == 1 || is_roughly == 0,
                 "the rough answer is no without a DDA, else the exact one", request.name);
    const std::string certified = fuzz::answer(
        MIM_TEXT_SIZE, [&](char *out) { return mim_ConvORNToCertSMTP(orn, out, 0, 0, request.fallback); });
    fuzz::expect(certified.find_first_of("\r\n") == std::string::npos, "no line end comes into an address",
                 certified);
    return recorded + dda + from_directory + certified + std::to_string(from_system) +
           std::to_string(is_routable) + fuzz::text_of(mim_ExtractIaFromORN(orn)) +
           fuzz::text_of(mim_ExtractCnFromORN(orn));
}

}  // namespace

FUZZ_TARGET(outbound) {
    fuzz::use_example_home_once();
    fuzz::Input fixed{{"00000000301\0/S=King/G=Ada/O=x/C=gb/", 35}};
    static const Request probe{fixed};
    static const std::string first = probe.address();
    const Request request{in};
    const std::string got = request.address();
    const std::string address = got.substr(got.find(' ') + 1);
    fuzz::expect(address.find_first_of("\r\n") == std::string::npos, "no line end comes into an address",
                 address);
    const bool is_completed =
        address.ends_with("@gw.meridian.example");  // a quoted local part has lost its quotes
    if ((request.comments == 0 || request.with_recorded == 0) && !is_completed &&
        address.size() <= MIM_MAX_ADDRESS) {
        const fuzz::Copy bare{"", MIM_ADDRESS_SIZE};
        mim_parse_address(fuzz::Copy{address}, nullptr, bare, nullptr, nullptr, nullptr);
        fuzz::expect_equal(std::string{bare}, address, "an address is bare");
    }
    const std::size_t kind = in.below(4);
    if (kind == 0) {
        fuzz::expect_equal(probe.address(), first, "an address is that of a fresh process");
    } else if (kind < 3) {
        const Request other{in};
        const std::string found = kind == 1 ? "" : sources(request);
        static_cast<void>(kind == 1 ? other.address() : sources(other));
        fuzz::expect_equal(kind == 1 ? request.address() : sources(request), kind == 1 ? got : found,
                           "what is made of a name is the same after others");
    } else {
        sources(request);
    }
}
