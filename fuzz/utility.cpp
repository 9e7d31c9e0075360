// Identifiers, dates, xtext and lists of patterns.

#include <cstring>
#include <ctime>
#include <vector>

#include "fuzz.h"
#include "mim.h"
#include "text/ascii.h"

namespace {

void check_date(std::uint32_t time, std::int16_t offset) {
    const std::time_t local = std::time_t{time} + std::time_t{offset} * 60;
    const std::tm *parts = std::gmtime(&local);
    std::string want(100, '\0');
    want.resize(std::strftime(want.data(), want.size(), "%a, ", parts));
    std::string rest(100, '\0');
    rest.resize(std::strftime(rest.data(), rest.size(), " %b %Y %H:%M:%S ", parts));
    const int minutes = offset < 0 ? -int{offset} : int{offset};
    const std::string zone = std::to_string(minutes / 60 * 100 + minutes % 60);
    want += std::to_string(parts->tm_mday) + rest + (offset < 0 ? '-' : '+') +
            std::string(zone.size() < 4 ? 4 - zone.size() : 0, '0') + zone;
    const std::string got =
        fuzz::answer(MIM_DATE_SIZE, [&](char *out) { return mim_ConvDateToArpa(time, offset, out); });
    fuzz::expect_equal(got, "1 " + want.substr(0, MIM_DATE_SIZE - 1), "a date is that of the place");
}

void check_identifier(const std::string &identifier) {
    const auto convert = [&identifier] {
        const fuzz::Copy copy{identifier};
        return fuzz::answer(identifier.size() + MIM_MAX_MESSAGE_ID + 9,
                            [&](char *out) { return mim_ConvMsgId(copy, out); });
    };
    const std::string got = convert().substr(2);
    fuzz::expect_equal(convert().substr(2), got, "an identifier is converted the same again");
    const bool is_escaped =
        identifier.find("(0") != std::string::npos || identifier.find("(1") != std::string::npos;
    fuzz::expect(is_escaped || got.find_first_of("\r\n") == std::string::npos ||
                     identifier.find_first_of("\r\n") != std::string::npos,
                 "a line end comes from the identifier alone", got);
    if (got.ends_with("@MHS") && got.find('"') == std::string::npos) {
        fuzz::expect_equal(got, identifier.substr(0, identifier.find('\x1D')) + "@MHS",
                           "a plain identifier stays");
    } else {
        fuzz::expect(got.find('@') != std::string::npos, "a message-id has a domain", got);
    }
}

void check_xtext(const std::string &text) {
    const std::string coded = fuzz::written(3 * text.size() + 1, [&](char *out) {
        out[0] = '\0';
        mim_XtextString(fuzz::Copy{text}, out);
    });
    fuzz::expect(
        std::all_of(coded.begin(), coded.end(), [](char c) { return c > ' ' && c <= '~' && c != '='; }),
        "xtext is plain", coded);
    const auto decoded = [](const std::string &source) {
        return fuzz::written(source.size() + 1,
                             [&](char *out) { mim_DecodeXtextString(fuzz::Copy{source}, out); });
    };
    fuzz::expect_equal(decoded(coded), text, "a text comes back");
    std::string want;
    for (std::size_t i = 0; i < text.size(); ++i) {
        constexpr std::string_view kHex = "0123456789ABCDEF0123456789abcdef";
        const std::string digits = text.substr(i + 1, 2);
        if (text[i] == '+' && digits.size() == 2 && digits.find_first_not_of(kHex) == std::string::npos) {
            want += static_cast<char>(std::stoi(digits, nullptr, 16));
            i += 2;
        } else {
            want += text[i];
        }
    }
    fuzz::expect_equal(decoded(text), want.c_str(), "xtext is decoded");
}

bool fits_pattern(const std::string &address, const std::string &pattern) {
    const auto split = [](const std::string &whole) {
        const std::size_t at = whole.find('@');
        return std::pair{whole.substr(0, at), at == std::string::npos ? "" : whole.substr(at + 1)};
    };
    const auto [local, domain] = split(address);
    const auto [want_local, want_domain] = split(pattern);
    if (!want_domain.empty() &&
        (address.find('@') == std::string::npos || !text::equal_ignoring_case(domain, want_domain))) {
        return false;
    }
    const std::size_t star = want_local.find('*');
    return want_local.empty() ||
           (star == std::string::npos
                ? text::equal_ignoring_case(local, want_local)
                : text::equal_ignoring_case(local.substr(0, star), want_local.substr(0, star)));
}

void check_patterns(const std::string &address, fuzz::Input &in) {
    std::vector<std::string> patterns;
    for (std::string pattern = in.text(); !pattern.empty() && patterns.size() < 9; pattern = in.text()) {
        patterns.push_back(pattern);
    }
    std::vector<mim_user_pattern> list(patterns.size());
    std::int32_t want = 0;
    for (std::size_t i = patterns.size(); i-- > 0;) {
        list[i] = {i + 1 < list.size() ? &list[i + 1] : nullptr, patterns[i].c_str(),
                   static_cast<std::int32_t>(i + 1)};
        want = fits_pattern(address, patterns[i]) ? list[i].value : want;
    }
    fuzz::expect(mim_catchUser(fuzz::Copy{address}, list.data()) == want,
                 "the first pattern that matches gives its value", address);
}

}  // namespace

FUZZ_TARGET(utility) {
    const std::size_t kind = in.below(4);
    const std::string text = in.text();
    if (kind == 0) {
        check_identifier(text);
    } else if (kind == 1) {
        std::uint32_t time = 0;
        std::int16_t offset = 0;
        std::memcpy(&time, text.data(), std::min(sizeof time, text.size()));
        std::memcpy(&offset, text.data() + std::min(sizeof time, text.size()),
                    std::min(sizeof offset, text.size() - std::min(sizeof time, text.size())));
        check_date(time, offset);
    } else if (kind == 2) {
        check_xtext(text);
    } else {
        check_patterns(text, in);
    }
}
