// O/R names as local parts of addresses.

#include "fuzz.h"
#include "mim.h"

namespace {

// A local part that a domain follows is one for the parser too.
void expect_local_part(const std::string &text) {
    constexpr std::size_t kMaxSize = MIM_MAX_ADDRESS - 2;
    if (!text.empty() && text.size() <= kMaxSize && text[0] != '@') {
        const fuzz::Copy address{"", MIM_ADDRESS_SIZE};
        const fuzz::Copy domain{"", MIM_ADDRESS_SIZE};
        mim_parse_address(fuzz::Copy{text + "@h"}, nullptr, address, nullptr, nullptr, domain);
        fuzz::expect_equal(std::string{address}, text + "@h", "a name is no more than a local part");
        fuzz::expect_equal(std::string{domain}, "h", "the domain stays the domain");
    }
}

struct Settings {
    explicit Settings(fuzz::Input &in)
        : style(in.small(6)),
          mode(in.small(4)),
          personal(in.flag()),
          t61(in.flag()),
          field(static_cast<int>(in.below(140)) - 4) {}
    std::int16_t style, mode;
    int personal, t61, field;
};

std::string formatted(const std::string &name, const Settings &by) {
    const fuzz::Copy orn{name};
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    const auto text = [](const auto &call) { return fuzz::written(MIM_TEXT_SIZE, call); };
    const std::string whole =
        text([&](char *out) { mim_DoFormatORN(orn, out, by.personal, by.style, by.mode, by.t61); });
    const std::string again = text([&](char *out) { mim_FormatORN(orn, out, by.personal, by.t61); });
    fuzz::expect_equal(again, whole, "style and mode stay the settings of the process");
    const std::string personal =
        text([&](char *out) { mim_DoFormatPersonalName(orn, &index, out, by.style, by.mode, by.t61); });
    const std::string personal_again =
        text([&](char *out) { mim_FormatPersonalName(orn, &index, out, by.t61); });
    fuzz::expect_equal(personal_again, personal, "style and mode stay the settings of the process");
    const std::string initials = text([&](char *out) { mim_FormatInitials(orn, &index, out, by.t61); });
    const std::string field = text([&](char *out) { mim_FormatFields(orn, &index, by.field, out, by.t61); });
    expect_local_part(whole);
    return whole + "|" + personal + "|" + initials + "|" + field;
}

std::string with_special(const std::string &before, const std::string &text, int t61) {
    return fuzz::written(MIM_TEXT_SIZE, [&](char *out) {
        out[before.copy(out, before.size())] = '\0';
        mim_ConvSpecialChar(fuzz::Copy{text}, out, t61);
    });
}

}  // namespace

FUZZ_TARGET(format) {
    fuzz::use_example_home_once();
    fuzz::Input fixed{"1100"};
    static const Settings plain{fixed};
    static const std::string first = formatted("King", plain);
    const Settings settings{in};
    std::string name = in.text(NM_ORN_SIZE - 1);
    const std::string other = in.text(NM_ORN_SIZE - 1);
    if (name.starts_with('/')) {
        nm_index index;
        name = fuzz::written(NM_ORN_SIZE,
                             [&](char *out) { nm_ParseText(fuzz::Copy{name}, out, &index, nullptr); });
    }
    const std::string got = formatted(name, settings);
    formatted(other, plain);
    fuzz::expect_equal(formatted("King", plain), first, "a name is formatted as in a fresh process");
    fuzz::expect_equal(formatted(name, settings), got, "a name is formatted the same after others");
    const std::string before = other.substr(0, MIM_MAX_TEXT);
    const std::string special = with_special(before, name, settings.t61);
    fuzz::expect(special.starts_with(before), "a text is appended", special, before);
    fuzz::expect_equal(with_special(before, name, settings.t61), special,
                       "a text is converted the same again");
}
