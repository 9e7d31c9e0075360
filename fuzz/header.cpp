// Header values written as encoded words: the limit of each, and the value back from them.

#include <array>

#include "ccs.h"
#include "fuzz.h"
#include "inet.h"
#include "mim.h"
#include "word_reference.h"

namespace {

struct HeaderJob {
    ccs_descriptor charset{};
    char mode;
    int limit, crlf, at_line_start;
    std::string name;
};

// The words of a value with a blank between them, and what no word could take.
std::pair<std::string, std::string> words_of(const std::string &value, HeaderJob job) {
    const fuzz::Copy copy{value};
    const char *const end = copy + value.size();
    const char *rest = copy;
    std::string words;
    for (int start = 1; rest != nullptr; start = 0) {
        const char *next = nullptr;
        const std::string word =
            fuzz::written(static_cast<std::size_t>(std::max(job.limit, 0)) + 1, [&](char *out) {
                next = mim_EncodeFold(rest, static_cast<int>(end - rest), out, job.limit, start, &job.charset,
                                      job.mode, 1, job.name.empty() ? nullptr : job.name.c_str(), job.crlf,
                                      job.at_line_start);
            });
        fuzz::expect(next == nullptr || (next >= rest && next <= end), "what is left is in the value");
        if (next == rest) {
            fuzz::expect_equal(word, "", "an empty word tells that nothing fits");
            return {words, std::string{rest, end}};
        }
        words += (words.empty() ? "" : " ") + word;
        rest = next;
    }
    return {words, ""};
}

// The words that the service writes carry the value.
void check_service(const std::string &value, const HeaderJob &job, std::size_t column) {
    constexpr std::size_t kMaxWord = 75;
    mim::WorkString out;
    inet_encodeHeader(job.charset.name, 0, value.c_str(), job.mode, static_cast<std::int32_t>(column),
                      out.get());
    for (std::string_view words = out.view(); !words.empty();) {
        const std::size_t size = std::min(words.find(' '), words.size());
        fuzz::expect(size <= kMaxWord && words.substr(0, 2) == "=?" && words.substr(0, size).ends_with("?="),
                     "a word is short", words);
        words.remove_prefix(std::min(size + 1, words.size()));
    }
}

}  // namespace

FUZZ_TARGET(header) {
    constexpr std::array kSets{"IA5",        "UTF8",       "ISO8859_15", "T61INTL", "EUC_JP",
                               "SHIFT_JIS",  "EUC_KR",     "BIG5",       "GB2312",  "GB18030",
                               "ISO2022_JP", "ISO2022_KR", "ISO2022_CN", ""};
    const std::size_t kind = in.below(3);
    const char *const set = kSets[in.below(kSets.size())];
    HeaderJob job{{}, "QBN"[in.below(3)], static_cast<int>(in.below(128)) - 2, in.flag(), in.flag(), ""};
    ccs_GetCSDescriptor(set, &job.charset);
    const bool is_named = in.flag() != 0;
    const std::string value = in.text();
    const std::string other = in.text();
    job.name = is_named ? in.text() : "";
    if (kind == 0) {
        const std::string words = words_of(value, job).first;
        words_of(other, job);
        fuzz::expect_equal(words_of(value, job).first, words, "words are the same after others");
        fuzz::expect(job.mode != 'B' || is_named || words.find_first_of("\r\n") == std::string::npos,
                     "no line end comes into words", words);
        return;
    }
    if (kind == 1) {
        check_service(value, job, job.limit < 0 ? 0 : static_cast<std::size_t>(job.limit));
    }
    const unsigned length = mim_GetEncLen(value.c_str(), job.mode);
    fuzz::expect(job.mode != 'B' || length == (value.size() + 2) / 3 * 4, "the length of base64 is told");
    // The round trip of the same text as the service writes it: it may stand in other escapes. Those of no
    // set are no text.
    const auto text = converted(value, set, "UTF8", CVC_EXACT);
    const auto raw = text ? converted(*text, "UTF8", set, CVC_EXACT) : std::nullopt;
    if (raw && job.mode != 'N' && !is_named && raw->find_first_of("\r\n") == std::string::npos &&
        text->find_first_of("\x0E\x0F\x1B") == std::string::npos) {
        const auto [all, none] = words_of(*raw, job);
        std::array<char, MIM_CHARSET_SIZE> unicode{"UTF8"};
        mim::WorkString back;
        mim_2047_to_string_and_cset_dstring(all.c_str(), back.get(), unicode.data(), 1);
        fuzz::expect(!none.empty() || back.view() == *text, "words carry the value", back.view(), *text);
    }
}
