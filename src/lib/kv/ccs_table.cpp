// One table of character sets: the server's names, MIME's and iconv's, and the aliases that mail uses. Names
// from outside are only ever looked up here; what reaches iconv is this table's own text.

#include "ccs_table.h"

#include <array>
#include <cstddef>
#include <optional>

#include "text/ascii.h"

namespace {

using kv::Escapes;
using kv::Shape;

constexpr std::int32_t kAscii7 = CCS_FLAG_7BIT | CCS_FLAG_SINGLE | CCS_FLAG_ASCII;
constexpr std::int32_t kAsciiSingle = CCS_FLAG_SINGLE | CCS_FLAG_ASCII;
constexpr std::int32_t kAsciiMultibyte = CCS_FLAG_MULTIBYTE | CCS_FLAG_ASCII;
constexpr std::int32_t kSwitching = CCS_FLAG_7BIT | CCS_FLAG_MULTIBYTE | CCS_FLAG_ESCAPES;

constexpr ccs_charset single(const char *name, const char *mime_name, const char *iconv_name) {
    return {name, mime_name, iconv_name, kAsciiSingle, 1, Shape::kSingle, Escapes::kNone};
}

constexpr ccs_charset multibyte(const char *name, const char *mime_name, const char *iconv_name,
                                std::int16_t max_bytes, Shape shape) {
    return {name, mime_name, iconv_name, kAsciiMultibyte, max_bytes, shape, Escapes::kNone};
}

constexpr ccs_charset switching(const char *name, const char *mime_name, std::int16_t max_bytes,
                                Escapes escapes) {
    return {name, mime_name, mime_name, kSwitching, max_bytes, Shape::kIso2022, escapes};
}

constexpr std::array kCharsets = std::to_array<ccs_charset>({
    {"IA5", "US-ASCII", "ANSI_X3.4-1968", kAscii7, 1, Shape::kSingle, Escapes::kNone},
    multibyte(kv::kUnicodeCharset, "UTF-8", "UTF-8", 4, Shape::kUtf8),
    {kv::kInternalCharset, "T.61-8bit", "T.61-8BIT", CCS_FLAG_MULTIBYTE, 2, Shape::kT61, Escapes::kNone},
    single("ISO8859_1", "ISO-8859-1", "ISO-8859-1"),
    single("ISO8859_2", "ISO-8859-2", "ISO-8859-2"),
    single("ISO8859_3", "ISO-8859-3", "ISO-8859-3"),
    single("ISO8859_4", "ISO-8859-4", "ISO-8859-4"),
    single("ISO8859_5", "ISO-8859-5", "ISO-8859-5"),
    single("ISO8859_6", "ISO-8859-6", "ISO-8859-6"),
    single("ISO8859_7", "ISO-8859-7", "ISO-8859-7"),
    single("ISO8859_8", "ISO-8859-8", "ISO-8859-8"),
    single("ISO8859_9", "ISO-8859-9", "ISO-8859-9"),
    single("ISO8859_10", "ISO-8859-10", "ISO-8859-10"),
    single("ISO8859_11", "ISO-8859-11", "ISO-8859-11"),
    single("ISO8859_13", "ISO-8859-13", "ISO-8859-13"),  // there is no 12
    single("ISO8859_14", "ISO-8859-14", "ISO-8859-14"),
    single("ISO8859_15", "ISO-8859-15", "ISO-8859-15"),
    single("ISO8859_16", "ISO-8859-16", "ISO-8859-16"),
    single("WINDOWS_874", "windows-874", "CP874"),
    single("WINDOWS_1250", "windows-1250", "CP1250"),
    single("WINDOWS_1251", "windows-1251", "CP1251"),
    single("WINDOWS_1252", "windows-1252", "CP1252"),
    single("WINDOWS_1253", "windows-1253", "CP1253"),
    single("WINDOWS_1254", "windows-1254", "CP1254"),
    single("WINDOWS_1255", "windows-1255", "CP1255"),
    single("WINDOWS_1256", "windows-1256", "CP1256"),
    single("WINDOWS_1257", "windows-1257", "CP1257"),
    single("WINDOWS_1258", "windows-1258", "CP1258"),
    single("KOI8_R", "KOI8-R", "KOI8-R"),
    single("KOI8_U", "KOI8-U", "KOI8-U"),
    single("TIS620", "TIS-620", "TIS-620"),
    single("MACINTOSH", "macintosh", "MACINTOSH"),
    single("IBM437", "IBM437", "CP437"),
    single("IBM737", "IBM737", "CP737"),
    single("IBM775", "IBM775", "CP775"),
    single("IBM850", "IBM850", "CP850"),
    single("IBM852", "IBM852", "CP852"),
    single("IBM855", "IBM855", "CP855"),
    single("IBM857", "IBM857", "CP857"),
    single("IBM858", "IBM00858", "CP858"),
    single("IBM860", "IBM860", "CP860"),
    single("IBM861", "IBM861", "CP861"),
    single("IBM862", "IBM862", "CP862"),
    single("IBM863", "IBM863", "CP863"),
    single("IBM865", "IBM865", "CP865"),
    single("IBM866", "IBM866", "CP866"),
    single("IBM869", "IBM869", "CP869"),
    multibyte("EUC_JP", "EUC-JP", "EUC-JP", 3, Shape::kEucJp),
    // iconv's own set of that name has a yen sign in the place of the backslash, which mail does not mean.
    multibyte("SHIFT_JIS", "Shift_JIS", "CP932", 2, Shape::kShiftJis),
    multibyte("EUC_KR", "EUC-KR", "EUC-KR", 2, Shape::kEuc),
    multibyte("UHC", "ks_c_5601-1987", "UHC", 2, Shape::kUhc),
    multibyte("BIG5", "Big5", "BIG5", 2, Shape::kBig5),
    multibyte("BIG5_HKSCS", "Big5-HKSCS", "BIG5-HKSCS", 2, Shape::kBig5),
    multibyte("GB2312", "GB2312", "EUC-CN", 2, Shape::kEuc),
    multibyte("GBK", "GBK", "GBK", 2, Shape::kGbk),
    multibyte("GB18030", "GB18030", "GB18030", 4, Shape::kGb18030),
    {"UTF7", "UTF-7", "UTF-7", CCS_FLAG_7BIT | CCS_FLAG_MULTIBYTE, 1, Shape::kUtf7, Escapes::kNone},
    switching("ISO2022_JP", "ISO-2022-JP", 2, Escapes::kJp),
    switching("ISO2022_KR", "ISO-2022-KR", 2, Escapes::kKr),
    switching("ISO2022_CN", "ISO-2022-CN", 4, Escapes::kCn),
});

static_assert(kCharsets.size() <= kv::kMaxCharsets);

struct Alias {
    std::string_view alias;
    std::string_view name;
};

constexpr std::array kAliases = std::to_array<Alias>({
    {"ASCII", "IA5"},
    {"ANSI_X3.4-1968", "IA5"},
    {"ANSI_X3.4-1986", "IA5"},
    {"ISO_646.irv:1991", "IA5"},
    {"ISO646-US", "IA5"},
    {"ISO-IR-6", "IA5"},
    {"US", "IA5"},
    {"IBM367", "IA5"},
    {"cp367", "IA5"},
    {"csASCII", "IA5"},
    {"csUTF8", "UTF8"},
    {"unicode-1-1-utf-8", "UTF8"},
    {"cp65001", "UTF8"},
    {"T.61", "T61INTL"},
    {"iso-ir-103", "T61INTL"},
    {"csISO103T618bit", "T61INTL"},
    {"ISO_8859-1:1987", "ISO8859_1"},
    {"iso-ir-100", "ISO8859_1"},
    {"latin1", "ISO8859_1"},
    {"l1", "ISO8859_1"},
    {"IBM819", "ISO8859_1"},
    {"CP819", "ISO8859_1"},
    {"csISOLatin1", "ISO8859_1"},
    {"ISO_8859-2:1987", "ISO8859_2"},
    {"iso-ir-101", "ISO8859_2"},
    {"latin2", "ISO8859_2"},
    {"l2", "ISO8859_2"},
    {"csISOLatin2", "ISO8859_2"},
    {"ISO_8859-3:1988", "ISO8859_3"},
    {"latin3", "ISO8859_3"},
    {"csISOLatin3", "ISO8859_3"},
    {"ISO_8859-4:1988", "ISO8859_4"},
    {"latin4", "ISO8859_4"},
    {"csISOLatin4", "ISO8859_4"},
    {"ISO_8859-5:1988", "ISO8859_5"},
    {"iso-ir-144", "ISO8859_5"},
    {"cyrillic", "ISO8859_5"},
    {"csISOLatinCyrillic", "ISO8859_5"},
    {"ISO_8859-6:1987", "ISO8859_6"},
    {"arabic", "ISO8859_6"},
    {"csISOLatinArabic", "ISO8859_6"},
    {"ISO_8859-7:1987", "ISO8859_7"},
    {"greek", "ISO8859_7"},
    {"csISOLatinGreek", "ISO8859_7"},
    {"ISO_8859-8:1988", "ISO8859_8"},
    {"ISO-8859-8-I", "ISO8859_8"},
    {"ISO-8859-8-E", "ISO8859_8"},
    {"hebrew", "ISO8859_8"},
    {"csISOLatinHebrew", "ISO8859_8"},
    {"ISO_8859-9:1989", "ISO8859_9"},
    {"latin5", "ISO8859_9"},
    {"l5", "ISO8859_9"},
    {"csISOLatin5", "ISO8859_9"},
    {"latin6", "ISO8859_10"},
    {"latin7", "ISO8859_13"},
    {"latin8", "ISO8859_14"},
    {"latin-9", "ISO8859_15"},
    {"latin10", "ISO8859_16"},
    {"cp874", "WINDOWS_874"},
    {"cp1250", "WINDOWS_1250"},
    {"cp1251", "WINDOWS_1251"},
    {"win-1251", "WINDOWS_1251"},
    {"cp1252", "WINDOWS_1252"},
    {"cp1253", "WINDOWS_1253"},
    {"cp1254", "WINDOWS_1254"},
    {"cp1255", "WINDOWS_1255"},
    {"cp1256", "WINDOWS_1256"},
    {"cp1257", "WINDOWS_1257"},
    {"cp1258", "WINDOWS_1258"},
    {"koi8", "KOI8_R"},
    {"csKOI8R", "KOI8_R"},
    {"mac", "MACINTOSH"},
    {"csMacintosh", "MACINTOSH"},
    {"cp437", "IBM437"},
    {"cp737", "IBM737"},
    {"cp775", "IBM775"},
    {"cp850", "IBM850"},
    {"csPC850Multilingual", "IBM850"},
    {"cp852", "IBM852"},
    {"cp855", "IBM855"},
    {"cp857", "IBM857"},
    {"cp858", "IBM858"},
    {"cp860", "IBM860"},
    {"cp861", "IBM861"},
    {"cp862", "IBM862"},
    {"cp863", "IBM863"},
    {"cp865", "IBM865"},
    {"cp866", "IBM866"},
    {"cp869", "IBM869"},
    {"Extended_UNIX_Code_Packed_Format_for_Japanese", "EUC_JP"},
    {"csEUCPkdFmtJapanese", "EUC_JP"},
    {"x-euc-jp", "EUC_JP"},
    {"SJIS", "SHIFT_JIS"},
    {"x-sjis", "SHIFT_JIS"},
    {"MS_Kanji", "SHIFT_JIS"},
    {"csShiftJIS", "SHIFT_JIS"},
    {"windows-31j", "SHIFT_JIS"},
    {"cp932", "SHIFT_JIS"},
    {"csEUCKR", "EUC_KR"},
    {"KS_C_5601-1989", "UHC"},
    {"KSC_5601", "UHC"},
    {"korean", "UHC"},
    {"cp949", "UHC"},
    {"windows-949", "UHC"},
    {"csBig5", "BIG5"},
    {"x-x-big5", "BIG5"},
    {"cn-big5", "BIG5"},
    {"cp950", "BIG5"},
    {"EUC-CN", "GB2312"},
    {"csGB2312", "GB2312"},
    {"gb_2312-80", "GB2312"},
    {"x-gbk", "GBK"},
    {"cp936", "GBK"},
    {"windows-936", "GBK"},
    {"MS936", "GBK"},
    {"csUnicode11UTF7", "UTF7"},
    {"unicode-1-1-utf-7", "UTF7"},
    {"csISO2022JP", "ISO2022_JP"},
    {"csISO2022KR", "ISO2022_KR"},
    {"csISO2022CN", "ISO2022_CN"},
});

// ---- Looking up ----

// Spellings differ in case and in where they have "-", "_", "." and ":", so these do not count.
constexpr text::CharSet kUncounted{"-_.:"};
constexpr std::size_t kMaxKey = 48;

// What each character counts as; '\0' for none.
constexpr auto kCounted = []() {
    std::array<char, text::kByteCount> counted{};
    for (std::size_t i = 0; i < counted.size(); ++i) {
        const auto c = static_cast<char>(i);
        counted[i] = kUncounted.contains(c) ? '\0' : text::to_upper(c);
    }
    return counted;
}();

constexpr char counted(char c) {
    return kCounted[static_cast<unsigned char>(c)];
}

// What a name is looked up by.
struct Key {
    std::array<char, kMaxKey> text{};
    std::size_t length = 0;

    // Whether it is that of `name`.
    [[nodiscard]] constexpr bool stands_for(std::string_view name) const {
        std::size_t place = 0;
        for (const char c : name) {
            const char character = counted(c);
            if (character != '\0' && (place == length || text[place++] != character)) {
                return false;
            }
        }
        return place == length;
    }
};

constexpr std::optional<Key> key_of(std::string_view name) {
    Key key;
    for (const char c : name) {
        if (counted(c) == '\0') {
            continue;
        }
        if (key.length == kMaxKey) {
            return {};
        }
        key.text[key.length++] = counted(c);
    }
    return key;
}

constexpr std::size_t hash_of(std::string_view name) {
    constexpr std::uint32_t kBasis = 2166136261U;  // FNV-1a
    constexpr std::uint32_t kPrime = 16777619U;
    std::uint32_t hash = kBasis;
    for (const char c : name) {
        if (const char character = counted(c); character != '\0') {
            hash = (hash ^ static_cast<unsigned char>(character)) * kPrime;
        }
    }
    return hash;
}

struct Slot {
    Key key;
    std::int16_t row = -1;  // empty
};

constexpr std::size_t kSlots = 1024;
using Index = std::array<Slot, kSlots>;

template <typename Slots>
constexpr auto &slot_of(Slots &index, std::string_view name) {
    std::size_t place = hash_of(name) % kSlots;
    while (index[place].row >= 0 && !index[place].key.stands_for(name)) {
        place = (place + 1) % kSlots;
    }
    return index[place];
}

// False when the name stands for another set already.
constexpr bool add_name(Index &index, std::string_view name, std::size_t row) {
    const std::optional<Key> key = key_of(name);
    if (!key || key->length == 0) {
        return false;
    }
    Slot &slot = slot_of(index, name);
    if (slot.row >= 0 && slot.row != static_cast<std::int16_t>(row)) {
        return false;
    }
    slot = {*key, static_cast<std::int16_t>(row)};
    return true;
}

struct BuiltIndex {
    Index slots{};
    bool is_sound = true;  // each name stands for one set, and fits a descriptor; each alias is of a set
};

consteval BuiltIndex build_index() {
    BuiltIndex built;
    for (std::size_t row = 0; row < kCharsets.size(); ++row) {
        const ccs_charset &charset = kCharsets[row];
        built.is_sound = built.is_sound && add_name(built.slots, charset.name, row) &&
                         add_name(built.slots, charset.mime_name, row) &&
                         std::string_view{charset.name}.size() < CCS_NAME_SIZE;
    }
    for (const Alias &alias : kAliases) {
        const std::int16_t row = slot_of(built.slots, alias.name).row;
        built.is_sound =
            built.is_sound && row >= 0 && add_name(built.slots, alias.alias, static_cast<std::size_t>(row));
    }
    return built;
}

constexpr BuiltIndex kIndex = build_index();
static_assert(kIndex.is_sound);

const ccs_charset *find_in_index(std::string_view name) {
    const std::int16_t row = slot_of(kIndex.slots, name).row;
    return row < 0 ? nullptr : &kCharsets[static_cast<std::size_t>(row)];
}

// ---- Usual spellings ----

// Nearly all names that are looked up are the server's and MIME's own, as they stand or in lower case. Those
// are found first, without a look at each character.
struct Spelling {
    std::array<char, CCS_NAME_SIZE> text{};
    std::size_t length = 0;
    std::int16_t row = -1;  // empty

    [[nodiscard]] constexpr std::string_view view() const { return {text.data(), length}; }
};

constexpr std::size_t kSpellings = 1024;
using Spellings = std::array<Spelling, kSpellings>;

// The place of a name, which is not empty, or the empty one where it would stand.
template <typename Slots>
constexpr auto &spelling_of(Slots &spellings, std::string_view name) {
    const auto code = [name](std::size_t place) {
        return std::size_t{static_cast<unsigned char>(name[place])};
    };
    const std::size_t last = name.size() - 1;
    std::size_t place = 7 * code(0) + 13 * code(name.size() / 2) + 67 * code(last - (last > 0 ? 1 : 0)) +
                        31 * code(last) + 101 * name.size();
    while (spellings[place %= kSpellings].row >= 0 && spellings[place].view() != name) {
        ++place;
    }
    return spellings[place];
}

consteval Spellings build_spellings() {
    Spellings spellings;
    for (std::size_t row = 0; row < kCharsets.size(); ++row) {
        for (const std::string_view name : {kCharsets[row].name, kCharsets[row].mime_name}) {
            Spelling spelling{{}, name.size(), static_cast<std::int16_t>(row)};
            name.copy(spelling.text.data(), name.size());
            spelling_of(spellings, spelling.view()) = spelling;
            for (char &c : spelling.text) {
                c = text::kUpperCase.contains(c) ? static_cast<char>(c - 'A' + 'a') : c;
            }
            spelling_of(spellings, spelling.view()) = spelling;
        }
    }
    return spellings;
}

constexpr Spellings kUsualSpellings = build_spellings();

const ccs_charset *find_spelling(std::string_view name) {
    if (name.empty()) {
        return nullptr;
    }
    const std::int16_t row = spelling_of(kUsualSpellings, name).row;
    return row < 0 ? nullptr : &kCharsets[static_cast<std::size_t>(row)];
}

// The server's names for sets that it has no name of its own for.
constexpr std::string_view kMimePrefix = "MIME-";

}  // namespace

const ccs_charset *kv::find_charset(std::string_view name) {
    if (const ccs_charset *charset = find_spelling(name)) {
        return charset;
    }
    if (const ccs_charset *charset = find_in_index(name)) {
        return charset;
    }
    return text::equal_ignoring_case(name.substr(0, kMimePrefix.size()), kMimePrefix)
               ? find_in_index(name.substr(kMimePrefix.size()))
               : nullptr;
}

std::int16_t kv::number_of(const ccs_charset &charset) {
    return static_cast<std::int16_t>(&charset - kCharsets.data() + 1);
}

const ccs_charset *kv::charset_of(std::int16_t number) {
    return number > 0 && static_cast<std::size_t>(number) <= kCharsets.size()
               ? &kCharsets[static_cast<std::size_t>(number) - 1]
               : nullptr;
}
