// Texts as encoded words (RFC 2047), as many as they need: whole characters in each, and in a set that
// switches state each begins and ends in ASCII.

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string_view>

#include "ccs.h"
#include "cvc.h"
#include "heap_text.h"
#include "inet.h"
#include "text/ascii.h"
#include "text/encoded_word.h"
#include "text/writer.h"

namespace {

constexpr std::size_t kMaxWord = 75;
constexpr std::size_t kMaxUnit = kMaxWord;  // no unit that is longer could stay whole
constexpr std::size_t kLongText = 1024;
constexpr std::size_t kMaxName = 40;                          // leaves a word room for some characters
constexpr std::string_view kUnknownCharset = "UNKNOWN-8BIT";  // RFC 1428
constexpr text::CharSet kNameCharacters = text::kLetters | text::kDigits | text::CharSet{"-_.:+()"};
constexpr std::size_t kCodedLength = 3;
constexpr const char *kUnicode = "UTF8";

bool is_base64(char encoding) {
    return text::to_upper(encoding) == 'B';
}

// The characters that a byte takes in Q.
std::size_t weight_of(char c) {
    return c == ' ' || text::kStandsInWord.contains(c) ? 1 : kCodedLength;
}

// The raw text of a word: what a cut before left to resume, and units of the text.
class RawWord {
  public:
    void begin(std::string_view resume) {
        length_ = 0;
        weight_ = 0;
        append(resume);
    }

    // How many characters the word's text takes with a unit behind it and what then closes it.
    [[nodiscard]] std::size_t length_with(std::string_view unit, std::string_view closing,
                                          bool base64) const {
        return base64 ? (length_ + unit.size() + closing.size() + 2) / 3 * 4
                      : weight_ + weight_of(unit) + weight_of(closing);
    }

    void append(std::string_view bytes) {
        bytes.copy(bytes_.data() + length_, bytes.size());
        length_ += bytes.size();
        weight_ += weight_of(bytes);
    }

    // Appends the bytes at the front of `bytes` that fit, up to one that `is_whole` does not have. Returns
    // how many.
    std::size_t append_some(std::string_view bytes, const bool *is_whole, std::size_t limit, bool base64) {
        const std::size_t most = base64 ? limit / 4 * 3 : SIZE_MAX;
        std::size_t count = 0;
        for (; count < bytes.size() && length_ < most && is_whole[static_cast<unsigned char>(bytes[count])];
             ++count) {
            const std::size_t weight = weight_ + ::weight_of(bytes[count]);
            if (!base64 && weight > limit) {
                break;
            }
            bytes_[length_++] = bytes[count];
            weight_ = weight;
        }
        return count;
    }

    [[nodiscard]] std::string_view view() const { return {bytes_.data(), length_}; }

  private:
    static std::size_t weight_of(std::string_view bytes) {
        std::size_t weight = 0;
        for (const char c : bytes) {
            weight += ::weight_of(c);
        }
        return weight;
    }

    std::array<char, kMaxUnit + std::size_t{2} * CCS_ESCAPE_SIZE>
        bytes_;  // NOLINT(*-member-init): up to length_
    std::size_t length_ = 0;
    std::size_t weight_ = 0;
};

class WordWriter {
  public:
    WordWriter(std::string_view name, bool base64, dstring &out) : base64_(base64), out_(out) {
        text::Writer prefix{prefix_.data(), prefix_.size()};
        prefix.append(text::kWordBegin);
        prefix.append(name);
        prefix.append(base64 ? "?B?" : "?Q?");
        prefix_length_ = prefix.finish();
    }

    [[nodiscard]] bool has_written() const { return has_written_; }
    [[nodiscard]] std::size_t frame() const { return prefix_length_ + text::kWordEnd.size(); }

    void write(std::string_view raw) {
        std::array<char, 1 + sizeof prefix_ + kCodedLength * sizeof(RawWord)> word;  // NOLINT(*-member-init)
        std::size_t length = 0;
        if (has_written_) {
            word[length++] = ' ';
        }
        length += std::string_view{prefix_.data(), prefix_length_}.copy(word.data() + length, prefix_length_);
        char *const text = word.data() + length;
        (base64_ ? inet_bin2base64 : inet_text2Q)(raw.data(), static_cast<std::int32_t>(raw.size()), text);
        dstring_appendN(&out_, word.data(), static_cast<std::int32_t>(length + std::strlen(text)));
        dstring_append1(&out_, text::kWordEnd.data());
        has_written_ = true;
    }

  private:
    bool base64_;
    dstring &out_;
    std::array<char, kMaxName + 6> prefix_{};
    std::size_t prefix_length_ = 0;
    bool has_written_ = false;
};

// Makes room in `out` for about the words of `text`.
void reserve(std::string_view text, bool base64, std::size_t frame, dstring &out) {
    constexpr std::size_t kUnused = 2;  // of a word's room, behind the last unit that fits
    std::size_t length = 0;
    if (base64) {
        length = text.size() / 3 * 4;
    } else {
        for (const char c : text) {
            length += weight_of(c);
        }
    }
    length += (length / (kMaxWord - frame - kUnused) + 1) * (frame + 1);
    const std::int32_t before = out.length;
    const std::size_t whole = static_cast<std::size_t>(before) + length;
    if (whole < std::numeric_limits<std::int32_t>::max()) {
        dstring_setLength(&out, static_cast<std::int32_t>(whole));
        dstring_setLength(&out, before);
    }
}

// The name to write: MIME's, or the caller's own where it can stand in a word.
std::string_view word_name(const char *charset) {
    const std::string_view name = cvc_iconvCharsetEquiv(charset, 0);
    const bool is_plain = !name.empty() && name.size() <= kMaxName &&
                          std::ranges::all_of(name, [](char c) { return kNameCharacters.contains(c); });
    return is_plain ? name : kUnknownCharset;
}

// Follows a text's units: what closes a word behind the last one, and what the next word resumes with.
class Units {
  public:
    explicit Units(const char *charset) {
        ccs_GetCSDescriptor(charset, &descriptor_);
        if ((descriptor_.flags & CCS_FLAG_ESCAPES) != 0) {
            int length = 0;
            const char *escape = ccs_GetConfAsciiEscs(&descriptor_, CCS_CONFIGURED, &length);
            to_ascii_ = {escape, static_cast<std::size_t>(length)};
        }
    }

    // The unit at the front of `text`, which is not empty.
    std::string_view next(std::string_view text) {
        int state = 0;
        int length = 0;
        ccs_GetNextMimeUnit(text.data(), static_cast<int>(text.size()), &descriptor_, is_first_ ? 1 : 0,
                            &state, &length);
        is_first_ = false;
        return text.substr(0, static_cast<std::size_t>(length));
    }

    // For each byte whether it is a unit wherever one begins; nothing closes a word behind such a unit.
    [[nodiscard]] const bool *whole_bytes() const { return ccs_GetWholeBytes(&descriptor_); }

    // The code page in force behind the unit given last.
    [[nodiscard]] int code_page() const { return to_ascii_.empty() ? 0 : ccs_GetCP(0, nullptr); }

    std::string_view closing(int code_page) {
        if (code_page != last_page_) {
            ccs_descriptor page = descriptor_;
            page.code_page = static_cast<std::int16_t>(code_page);
            last_page_ = code_page;
            last_closing_ = (ccs_GetCSFlags(&page) & CCS_FLAG_PLAIN) != 0 ? std::string_view{} : to_ascii_;
        }
        return last_closing_;
    }

  private:
    ccs_descriptor descriptor_{};
    std::string_view to_ascii_;
    int last_page_ = 0;
    std::string_view last_closing_;
    bool is_first_ = true;
};

// A text from a unit on that no word can hold, such as a long run of UTF-7: in UTF-8, where every character
// fits. `resume` leads to the state in which the unit stands. Null when the service does not know the set.
kv::HeapText convert_rest(std::string_view resume, std::string_view rest, const char *charset) {
    const std::size_t length = resume.size() + rest.size();
    const kv::HeapText whole{static_cast<char *>(os_malloc(length))};
    rest.copy(whole.get() + resume.copy(whole.get(), resume.size()), rest.size());
    char *converted = nullptr;
    std::int32_t converted_length = 0;
    int set = 0;
    int number = 0;
    int extra = 0;
    cvc_ConvertString(CVC_HEADER, 0, whole.get(), static_cast<std::int32_t>(length), charset, kUnicode,
                      &converted, &converted_length, &set, &number, &extra);
    return kv::HeapText{converted};
}

}  // namespace

void inet_encodeHeader(const char *charset, int /*flags*/, const char *text, char encoding, int32_t column,
                       dstring *out) {
    const bool base64 = is_base64(encoding);
    WordWriter writer{word_name(charset), base64, *out};
    Units units{charset};
    if (std::strlen(text) > kLongText) {
        reserve(text, base64, writer.frame(), *out);
    }
    const bool *const whole_bytes = units.whole_bytes();
    RawWord word;
    const std::size_t room = kMaxWord - writer.frame();
    std::size_t limit = room - std::min(room, static_cast<std::size_t>(std::max(column, 0)));
    int page = 0;  // behind the last unit of the word
    bool is_empty = true;
    for (std::string_view rest{text}; !rest.empty();) {
        const std::string_view unit = units.next(rest).substr(0, kMaxUnit);
        const int next_page = units.code_page();
        if (is_empty && word.length_with(unit, units.closing(next_page), base64) > room) {
            if (const kv::HeapText converted = convert_rest(word.view(), rest, charset)) {
                dstring_append1(out, writer.has_written() ? " " : "");
                inet_encodeHeader(kUnicode, 0, converted.get(), encoding, writer.has_written() ? 0 : column,
                                  out);
                return;
            }
        }
        if (is_empty || word.length_with(unit, units.closing(next_page), base64) <= limit) {
            word.append(unit);
            rest.remove_prefix(unit.size());
            page = next_page;
            is_empty = false;
            rest.remove_prefix(word.append_some(rest, whole_bytes, limit, base64));
            continue;
        }
        word.append(units.closing(page));
        writer.write(word.view());
        std::array<char, CCS_ESCAPE_SIZE> resume{};
        ccs_Get1CfgEsc(page, CCS_CONFIGURED, resume.data(), 0);
        word.begin(resume.data());
        limit = room;
        is_empty = true;
    }
    if (!is_empty) {
        word.append(units.closing(page));
        writer.write(word.view());
    }
}
