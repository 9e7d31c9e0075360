// Header words: decoded as the slow decoder does it, joined, encoded anew, compared and cut.

#include <array>
#include <regex>

#include "fuzz.h"
#include "mim.h"
#include "word_reference.h"

namespace {

// A value decoded into the set `charset`, or into that of its own, whose name is stored there.
std::string decoded(const std::string &value, const std::string &before, std::string &charset,
                    bool converts) {
    const fuzz::Copy set{charset.substr(0, MIM_CHARSET_SIZE - 1), MIM_CHARSET_SIZE};
    mim::WorkString out;
    dstring_set1(out.get(), before.c_str());
    fuzz::expect(fuzz::succeeds([&] {
                     mim_2047_to_string_and_cset_dstring(fuzz::Copy{value}, out.get(), set, converts ? 1 : 0);
                 }),
                 "a value is decoded", value);
    charset = set;
    return std::string{out.view()};
}

std::string decoded_into_unicode(const std::string &value) {
    std::string charset = "UTF-8";
    return decoded(value, "", charset, true);
}

void check_decoded(const std::string &value, const std::string &before, const std::string &charset,
                   bool converts) {
    std::string set = charset;
    const std::string text = decoded(value, before, set, converts);
    fuzz::expect_equal((converts ? equivalent(set) : set) + "|" + text,
                       decode_slowly(value, before, charset, converts), "a value is decoded as byte by byte");
}

void check_buffers(const std::string &value, const std::string &target) {
    std::string charset;
    const std::string whole = decoded(value, "", charset, false).c_str();
    const fuzz::Copy set{"", MIM_CHARSET_SIZE};
    const fuzz::Copy copy{value};
    const std::string got =
        fuzz::written(value.size() + 1, [&](char *out) { mim_DecodeMimeCharStr(copy, out, set); });
    fuzz::expect_equal(got, whole.substr(0, value.size()), "a decoded value is cut to the room");
    fuzz::expect_equal(std::string{set}, charset, "the set is told");
    const std::string converted_text = fuzz::written(
        4 * value.size() + 1, [&](char *out) { mim_ConvertMimeCharStr(copy, out, target.c_str()); });
    const auto exact = converted(got, charset, target, CVC_EXACT);
    // A zero byte that UTF-7 hides ends it.
    fuzz::expect(converted_text == got || (exact && exact->c_str() == converted_text),
                 "a value is converted without loss, or not at all", converted_text, got);
}

void expect_words(std::string_view text, std::size_t limit) {
    fuzz::expect(text.find_first_of("\r\n") == std::string_view::npos, "no line end comes into words", text);
    for (std::size_t end = 0; !text.empty(); text.remove_prefix(std::min(end + 1, text.size()))) {
        end = std::min(text.find(' '), text.size());
        fuzz::expect(inet_is2047Encoded(std::string{text.substr(0, end)}.c_str()) != 0 && end <= limit,
                     "a word is one", text.substr(0, end));
    }
}

void check_edits(const std::string &first, const std::string &second, char encoding) {
    constexpr std::size_t kMaxWord = 75;
    const fuzz::Copy a{first};
    const fuzz::Copy b{second};
    const std::string joined = mim_joinRfc2047Strings(a, b);
    fuzz::expect_equal(mim_joinRfc2047Strings(a, nullptr), first, "joined with nothing a value is the same");
    if (joined != first + second) {
        expect_words(joined, kMaxWord);
        // Bytes that no word names a set for are converted as well as can be, and shifts are in force. So are
        // words that stay as they stand among others of UTF-7.
        static const std::regex utf7{"u[^?]*t[^?]*f[^?]*7", std::regex::icase};
        const std::string raw = first + second;
        const bool is_plain = ccs_Is7BitAscii(raw.c_str(), -1) != 0 &&
                              raw.find_first_of("\x0E\x0F\x1B") == std::string::npos &&
                              !std::regex_search(raw, utf7);
        const std::string both =
            std::string{decoded_into_unicode(first).c_str()} + decoded_into_unicode(second).c_str();
        fuzz::expect(!is_plain || decoded_into_unicode(joined) == both, "joined values carry both texts",
                     joined, both);
    }
    fuzz::expect(mim_equivRfc2047Strings(a, a) == 1, "a value is its own equal", first);
    fuzz::expect(mim_equivRfc2047Strings(a, b) == mim_equivRfc2047Strings(b, a), "equality has two sides",
                 first, second);
    mim::WorkString anew;
    mim_reEncodeRfc2047String(a, encoding, 0, anew.get());
    if (inet_is2047Encoded(a) != 0 && encoding != 'x') {
        expect_words(anew.view(), kMaxWord);
    } else {
        fuzz::expect_equal(anew.view(), first, "what is not encoded stays");
    }
}

void check_cut(const std::string &value, std::size_t size) {
    constexpr std::size_t kLeast = 13;
    const std::string got = fuzz::written(size, [&](char *out) {
        fuzz::expect(
            mim_truncate_2047_string(fuzz::Copy{value}, static_cast<std::uint32_t>(size), out) == out,
            "the buffer is returned");
    });
    if (value.size() < size) {
        fuzz::expect_equal(got, value, "what fits stays");
    } else if (size < kLeast) {
        fuzz::expect_equal(got, "", "no word is that short");
    } else if (const std::string text = decoded_into_unicode(value); !text.empty()) {
        fuzz::expect_equal(got, truncate_slowly(text, static_cast<int>(size)),
                           "a text is cut as a character at a time");
        expect_words(got, size - 1);
        const std::string back = decoded_into_unicode(got);
        fuzz::expect(back == got || text.starts_with(back), "what is left is the text's beginning", back,
                     text);
    }
}

}  // namespace

FUZZ_TARGET(words) {
    constexpr std::array kSets{"UTF-8",       "IA5",    "latin1",    "T61INTL",
                               "ISO-2022-JP", "UTF-16", "x-unknown", "DECODEIT"};
    const std::size_t kind = in.below(5);
    const std::size_t choice = in.below(kSets.size() + 1);
    const std::size_t number = in.below(128);
    const std::string value = in.text();
    const std::string second = in.text();
    const std::string charset = choice < kSets.size() ? kSets[choice] : in.text(MIM_CHARSET_SIZE - 1);
    if (kind < 2) {
        check_decoded(value, second, charset, kind == 0);
    } else if (kind == 2) {
        check_buffers(value, charset);
    } else if (kind == 3) {
        check_edits(value, second, "QBqx"[number % 4]);
    } else {
        check_cut(value, number + 1);
    }
}
