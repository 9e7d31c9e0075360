// File names of at most eight characters, a dot and an extension, for systems that have no longer ones.

#include <algorithm>
#include <array>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "t61.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

constexpr text::CharSet kValid = text::kLetters | text::kDigits | text::CharSet{"!#$%-@^_"};
constexpr std::size_t kMaxBase = 8;
constexpr std::size_t kMaxExtension = 4;  // without its dot
static_assert(MIM_SHORT_NAME_SIZE > kMaxBase + 1 + kMaxExtension);

constexpr std::string_view kTextExtension = ".TXT";
constexpr std::string_view kOtherExtension = ".BIN";
constexpr std::array kTextTypes{1736, 1167};

constexpr std::array<std::string_view, 2> kSafeCharsets{"ISO8859_1", "IA5"};
constexpr int kParseKind = 1;
constexpr std::size_t kParseSuffix = 2;  // characters behind the name of a character set

constexpr int kLetterCount = 26;

// The letter that stands in for a name: the next one at each call.
int current_letter = kLetterCount - 1;

// The last short name.
std::array<char, MIM_SHORT_NAME_SIZE> short_name;

char next_letter() {
    current_letter = (current_letter + 1) % kLetterCount;
    return static_cast<char>('A' + current_letter);
}

bool is_valid(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return kValid.contains(c); });
}

// The extension with its dot; empty when there is none.
std::string_view extension_of(std::string_view name) {
    for (std::size_t length = 0; length <= kMaxExtension && length < name.size(); ++length) {
        const char c = name[name.size() - 1 - length];
        if (c == '.') {
            return name.substr(name.size() - 1 - length);
        }
        if (!kValid.contains(c)) {
            break;
        }
    }
    return {};
}

// Whether the name is written in a character set whose letters such systems have.
bool has_safe_charset(const char *name) {
    std::string_view charset = t61_RealParseStr(name, -1, kParseKind);
    if (charset.size() >= kParseSuffix) {
        charset.remove_suffix(kParseSuffix);
    }
    return std::find(kSafeCharsets.begin(), kSafeCharsets.end(), charset) != kSafeCharsets.end();
}

void write_name(std::string_view base, std::string_view extension) {
    text::Writer out{short_name.data(), short_name.size()};
    out.append(base);
    out.append(extension);
    out.finish();
}

}  // namespace

int mim_ValidFnameChar(char c) {
    return kValid.contains(c) ? 1 : 0;
}

char *mim_MakeFname8dot3(const char *name, int type) {
    const char letter = next_letter();
    const std::string_view substitute{&letter, 1};
    const bool is_text = std::find(kTextTypes.begin(), kTextTypes.end(), type) != kTextTypes.end();
    std::string_view extension = is_text ? kTextExtension : kOtherExtension;
    if (name == nullptr) {
        write_name(substitute, extension);
        return short_name.data();
    }
    std::string_view base{name};
    // A name that is one extension alone has no base to keep.
    bool keeps_base = true;
    if (const std::string_view own = extension_of(base); !own.empty()) {
        extension = own;
        base.remove_suffix(own.size());
        keeps_base = !base.empty();
    }
    mim::protected_region(
        mim::kFnameFile,
        [&] {
            keeps_base = has_safe_charset(name) && keeps_base && base.size() <= kMaxBase && is_valid(base);
            write_name(keeps_base ? base : substitute, extension);
        },
        [&] { write_name(substitute, extension); });
    return short_name.data();
}
