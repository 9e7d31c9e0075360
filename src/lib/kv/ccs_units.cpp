// The units of a text: characters, and in sets that switch state (ISO-2022-JP, RFC 1468; -KR, RFC 1557; -CN,
// RFC 1922) the escape sequences with what they introduce.
//
// A code page stands for everything that such a text has switched to: the set in force, and what else is
// designated. So the escape sequence that enters a code page from ASCII, where nothing is, makes any cut
// behind it good; that is why there is one of ASCII with a designation beside it, which is not plain.

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ccs.h"
#include "ccs_table.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using kv::Escapes;
using kv::Shape;
using text::CharSet;

// ---- Characters of sets without escapes ----

constexpr CharSet kTwoByteLeads = CharSet::range('\xC2', '\xDF');  // of UTF-8
constexpr CharSet kUtf8Leads = CharSet::range('\xC2', '\xF4');
constexpr CharSet kContinuations = CharSet::range('\x80', '\xBF');
constexpr CharSet kEucBytes = CharSet::range('\xA1', '\xFE');
constexpr CharSet kKanaBytes = CharSet::range('\xA1', '\xDF');
constexpr CharSet kLeads = CharSet::range('\x81', '\xFE');
constexpr CharSet kShiftJisLeads = CharSet::range('\x81', '\x9F') | CharSet::range('\xE0', '\xFC');
constexpr CharSet kShiftJisTrails = CharSet::range('\x40', '\x7E') | CharSet::range('\x80', '\xFC');
constexpr CharSet kBig5Trails = CharSet::range('\x40', '\x7E') | kEucBytes;
constexpr CharSet kGbkTrails = CharSet::range('\x40', '\x7E') | CharSet::range('\x80', '\xFE');
constexpr CharSet kUhcTrails = text::kLetters | kLeads;
constexpr CharSet kT61Marks = CharSet::range('\xC1', '\xCF');
constexpr CharSet kT61Bases = text::kLetters | CharSet{" "};
constexpr CharSet kUtf7Base64 = text::kLetters | text::kDigits | CharSet{"+/"};

constexpr CharSet kKanaShift{"\x8E"};  // EUC-JP's single shifts
constexpr CharSet kSupplementShift{"\x8F"};
constexpr char kUtf7Shift = '+';
constexpr char kUtf7End = '-';

// The length of the character whose first bytes are in these sets in turn; 1 when they are not.
template <typename... Sets>
std::size_t length_if(std::string_view text, const Sets &...sets) {
    std::size_t place = 0;
    return text.size() >= sizeof...(sets) && (sets.contains(text[place++]) && ...) ? sizeof...(sets) : 1;
}

std::size_t utf8_length(std::string_view text) {
    if (!kUtf8Leads.contains(text.front())) {
        return 1;
    }
    if (const std::size_t length = length_if(text, kTwoByteLeads, kContinuations); length > 1) {
        return length;
    }
    const gunichar character =
        g_utf8_get_char_validated(text.data(), static_cast<gssize>(std::min<std::size_t>(text.size(), 6)));
    // What is malformed is no value of a character.
    return g_unichar_validate(character) != 0
               ? static_cast<std::size_t>(g_utf8_next_char(text.data()) - text.data())
               : 1;
}

// A run of base64 cannot be cut without knowledge of what is in it.
std::size_t utf7_length(std::string_view text) {
    if (text.front() != kUtf7Shift) {
        return 1;
    }
    std::size_t length = 1;
    while (length < text.size() && kUtf7Base64.contains(text[length])) {
        ++length;
    }
    return length < text.size() && text[length] == kUtf7End ? length + 1 : length;
}

std::size_t euc_jp_length(std::string_view text) {
    return std::max({length_if(text, kEucBytes, kEucBytes), length_if(text, kKanaShift, kKanaBytes),
                     length_if(text, kSupplementShift, kEucBytes, kEucBytes)});
}

constexpr CharSet kNoBytes;
constexpr CharSet kAllBytes = ~kNoBytes;
constexpr CharSet kNoUtf8Leads = ~kUtf8Leads;
constexpr CharSet kNoT61Marks = ~kT61Marks;
constexpr CharSet kNoEucBytes = ~kEucBytes;
constexpr CharSet kNoEucJpBytes = ~(kEucBytes | kKanaShift | kSupplementShift);
constexpr CharSet kNoShiftJisLeads = ~kShiftJisLeads;
constexpr CharSet kNoLeads = ~kLeads;
constexpr CharSet kNoUtf7Shift = ~CharSet{std::string_view{&kUtf7Shift, 1}};

// The bytes that are characters, or none, whatever follows them.
const CharSet &whole_bytes(Shape shape) {
    switch (shape) {
        case Shape::kSingle:
            return kAllBytes;
        case Shape::kUtf8:
            return kNoUtf8Leads;
        case Shape::kT61:
            return kNoT61Marks;
        case Shape::kEuc:
            return kNoEucBytes;
        case Shape::kEucJp:
            return kNoEucJpBytes;
        case Shape::kShiftJis:
            return kNoShiftJisLeads;
        case Shape::kBig5:
        case Shape::kGbk:
        case Shape::kGb18030:
        case Shape::kUhc:
            return kNoLeads;
        case Shape::kUtf7:
            return kNoUtf7Shift;
        case Shape::kIso2022:
            break;
    }
    return kNoBytes;
}

}  // namespace

std::size_t kv::character_length(std::string_view text, Shape shape) {
    switch (shape) {
        case Shape::kUtf8:
            return utf8_length(text);
        case Shape::kT61:
            return length_if(text, kT61Marks, kT61Bases);
        case Shape::kEuc:
            return length_if(text, kEucBytes, kEucBytes);
        case Shape::kEucJp:
            return euc_jp_length(text);
        case Shape::kShiftJis:
            return length_if(text, kShiftJisLeads, kShiftJisTrails);
        case Shape::kBig5:
            return length_if(text, kLeads, kBig5Trails);
        case Shape::kGbk:
            return length_if(text, kLeads, kGbkTrails);
        case Shape::kGb18030:
            return std::max(length_if(text, kLeads, kGbkTrails),
                            length_if(text, kLeads, text::kDigits, kLeads, text::kDigits));
        case Shape::kUhc:
            return length_if(text, kLeads, kUhcTrails);
        case Shape::kUtf7:
            return utf7_length(text);
        case Shape::kSingle:
        case Shape::kIso2022:
            break;
    }
    return 1;
}

namespace {

// ---- Code pages ----

// What a text has switched to. Some sets are in force at once; some stand ready for a shift out, or for a
// single shift.
enum class InForce : std::uint8_t { kAscii, kRoman, kKatakana, kJis1978, kJis1983, kJisSupplement };
enum class Ready : std::uint8_t { kNothing, kKorean, kGb, kCns1 };

struct State {
    InForce in_force = InForce::kAscii;
    Ready ready = Ready::kNothing;
    bool has_cns2 = false;
    bool is_shifted_out = false;

    bool operator==(const State &) const = default;
};

struct CodePage {
    State state;
    std::int16_t bytes;  // of a character
    std::string_view escape;
};

// Their numbers are their places, from 1 on.
constexpr std::array kCodePages = std::to_array<CodePage>({
    {{}, 1, ""},
    {{.in_force = InForce::kRoman}, 1, "\x1B(J"},
    {{.in_force = InForce::kKatakana}, 1, "\x1B(I"},
    {{.in_force = InForce::kJis1978}, 2, "\x1B$@"},
    {{.in_force = InForce::kJis1983}, 2, "\x1B$B"},
    {{.in_force = InForce::kJisSupplement}, 2, "\x1B$(D"},
    {{.ready = Ready::kKorean}, 1, "\x1B$)C"},
    {{.ready = Ready::kKorean, .is_shifted_out = true}, 2, "\x1B$)C\x0E"},
    {{.ready = Ready::kGb}, 1, "\x1B$)A"},
    {{.ready = Ready::kGb, .is_shifted_out = true}, 2, "\x1B$)A\x0E"},
    {{.ready = Ready::kCns1}, 1, "\x1B$)G"},
    {{.ready = Ready::kCns1, .is_shifted_out = true}, 2, "\x1B$)G\x0E"},
    {{.has_cns2 = true}, 1, "\x1B$*H"},
    {{.ready = Ready::kGb, .has_cns2 = true}, 1, "\x1B$)A\x1B$*H"},
    {{.ready = Ready::kGb, .has_cns2 = true, .is_shifted_out = true}, 2, "\x1B$)A\x1B$*H\x0E"},
    {{.ready = Ready::kCns1, .has_cns2 = true}, 1, "\x1B$)G\x1B$*H"},
    {{.ready = Ready::kCns1, .has_cns2 = true, .is_shifted_out = true}, 2, "\x1B$)G\x1B$*H\x0E"},
});
static_assert(std::ranges::all_of(kCodePages,
                                  [](const CodePage &page) { return page.escape.size() < CCS_ESCAPE_SIZE; }));

const CodePage *code_page_of(int number) {
    return number > 0 && static_cast<std::size_t>(number) <= kCodePages.size()
               ? &kCodePages[static_cast<std::size_t>(number) - 1]
               : nullptr;
}

// 0 when there is none of that state, such as shifted out to nothing.
std::int16_t number_of(const State &state) {
    const auto *page = std::ranges::find(kCodePages, state, &CodePage::state);
    return static_cast<std::int16_t>(page == kCodePages.end() ? 0 : page - kCodePages.begin() + 1);
}

struct Switch {
    Escapes escapes;
    std::string_view sequence;
    void (*apply)(State &);
};

constexpr std::array kSwitches = std::to_array<Switch>({
    {Escapes::kJp, "\x1B(B", [](State &state) { state.in_force = InForce::kAscii; }},
    {Escapes::kJp, "\x1B(J", [](State &state) { state.in_force = InForce::kRoman; }},
    {Escapes::kJp, "\x1B(I", [](State &state) { state.in_force = InForce::kKatakana; }},
    {Escapes::kJp, "\x1B$@", [](State &state) { state.in_force = InForce::kJis1978; }},
    {Escapes::kJp, "\x1B$B", [](State &state) { state.in_force = InForce::kJis1983; }},
    {Escapes::kJp, "\x1B$(@", [](State &state) { state.in_force = InForce::kJis1978; }},
    {Escapes::kJp, "\x1B$(B", [](State &state) { state.in_force = InForce::kJis1983; }},
    {Escapes::kJp, "\x1B$(D", [](State &state) { state.in_force = InForce::kJisSupplement; }},
    {Escapes::kKr, "\x1B$)C", [](State &state) { state.ready = Ready::kKorean; }},
    {Escapes::kKr, "\x0E", [](State &state) { state.is_shifted_out = true; }},
    {Escapes::kKr, "\x0F", [](State &state) { state.is_shifted_out = false; }},
    {Escapes::kCn, "\x1B$)A", [](State &state) { state.ready = Ready::kGb; }},
    {Escapes::kCn, "\x1B$)G", [](State &state) { state.ready = Ready::kCns1; }},
    {Escapes::kCn, "\x1B$*H", [](State &state) { state.has_cns2 = true; }},
    {Escapes::kCn, "\x0E", [](State &state) { state.is_shifted_out = true; }},
    {Escapes::kCn, "\x0F", [](State &state) { state.is_shifted_out = false; }},
});

constexpr CharSet kSwitchStarts{"\x1B\x0E\x0F"};
constexpr CharSet kNoSwitchStarts = ~kSwitchStarts;
constexpr int kMaxSwitches = 4;  // of a unit; two designations and a shift are all that a character needs
constexpr CharSet kEscape{"\x1B"};
constexpr CharSet kSingleShift{"N"};
constexpr CharSet kGraphic = CharSet::range('\x21', '\x7E');

// The calling thread's place in the text whose units it asks for.
struct Progress {
    const ccs_charset *charset = nullptr;
    State state;
    std::int16_t code_page = 0;  // the number of the state
};
thread_local Progress progress;

// Goes over the switches at the front of `text`, and returns their length.
std::size_t pass_switches(std::string_view text, Escapes escapes) {
    std::size_t length = 0;
    for (int i = 0; i < kMaxSwitches && length < text.size() && kSwitchStarts.contains(text[length]); ++i) {
        const std::string_view rest = text.substr(length);
        const auto *found = std::ranges::find_if(kSwitches, [&](const Switch &candidate) {
            return candidate.escapes == escapes && rest.starts_with(candidate.sequence);
        });
        if (found == kSwitches.end()) {
            break;
        }
        State state = progress.state;
        found->apply(state);
        const std::int16_t code_page = number_of(state);
        if (code_page == 0) {
            break;
        }
        progress.state = state;
        progress.code_page = code_page;
        length += found->sequence.size();
    }
    return length;
}

// The length of the character of the code page in force at the front of `text`, which is not empty.
std::size_t length_in_force(std::string_view text) {
    if (progress.state.has_cns2) {
        if (const std::size_t shifted = length_if(text, kEscape, kSingleShift, kGraphic, kGraphic);
            shifted > 1) {
            return shifted;
        }
    }
    return code_page_of(progress.code_page)->bytes == 2 ? length_if(text, kGraphic, kGraphic) : 1;
}

// The unit of a set with escapes at the front of `text`: its length.
[[gnu::noinline]] int next_switching_unit(std::string_view text, const ccs_charset &charset, bool is_first,
                                          int &state) {
    if (is_first || progress.charset != &charset || progress.code_page == 0) {
        progress = {&charset, {}, number_of({})};
    }
    const std::size_t switches = pass_switches(text, charset.escapes);
    const std::string_view rest = text.substr(switches);
    const bool has_character = !rest.empty() && (switches == 0 || !kSwitchStarts.contains(rest.front()) ||
                                                 length_in_force(rest) > 1);
    const std::size_t length = has_character ? length_in_force(rest) : 0;
    state = switches > 0 ? progress.code_page : 0;
    if (charset.escapes == Escapes::kCn && has_character && rest.front() == '\n') {
        progress.state = {};
        progress.code_page = number_of({});
    }
    return static_cast<int>(switches + length);
}

}  // namespace

const char *ccs_GetNextMimeUnit(const char *text, int length, const ccs_descriptor *charset, int first,
                                int *state, int *unit_length) {
    if (length <= 0) {
        return nullptr;
    }
    const ccs_charset *row = kv::charset_of(charset->charset);
    const std::string_view rest{text, static_cast<std::size_t>(length)};
    *state = 0;
    if (row == nullptr || row->escapes == Escapes::kNone) {
        *unit_length = static_cast<int>(row == nullptr ? 1 : kv::character_length(rest, row->shape));
        return text;
    }
    *unit_length = next_switching_unit(rest, *row, first != 0, *state);
    return text;
}

const bool *ccs_GetWholeBytes(const ccs_descriptor *descriptor) {
    if (descriptor->code_page != 0) {
        const CodePage *page = code_page_of(descriptor->code_page);
        return (page != nullptr && page->state == State{} ? kNoSwitchStarts : kNoBytes).data();
    }
    const ccs_charset *row = kv::charset_of(descriptor->charset);
    return (row == nullptr ? kAllBytes : whole_bytes(row->shape)).data();
}

int16_t ccs_GetCP(int /*which*/, int32_t * /*scratch*/) {
    return progress.code_page;
}

const char *ccs_GetConfAsciiEscs(const ccs_descriptor *charset, int /*kind*/, int *length) {
    const ccs_charset *row = kv::charset_of(charset->charset);
    std::string_view escape;
    switch (row == nullptr ? Escapes::kNone : row->escapes) {
        case Escapes::kNone:
            escape = "";
            break;
        case Escapes::kJp:
            escape = "\x1B(B";
            break;
        case Escapes::kKr:
        case Escapes::kCn:
            escape = "\x0F";
            break;
    }
    *length = static_cast<int>(escape.size());
    return escape.data();
}

void ccs_Get1CfgEsc(int code_page, int /*kind*/, char *buffer, int /*flags*/) {
    const CodePage *page = code_page_of(code_page);
    text::copy_text(page == nullptr ? std::string_view{} : page->escape, buffer, CCS_ESCAPE_SIZE);
}

int ccs_GetCSFlags(const ccs_descriptor *descriptor) {
    if (descriptor->code_page == 0) {
        const ccs_charset *charset = kv::charset_of(descriptor->charset);
        return charset == nullptr ? 0 : charset->flags;
    }
    const CodePage *page = code_page_of(descriptor->code_page);
    if (page == nullptr) {
        return 0;
    }
    const int plain = page->state == State{} ? CCS_FLAG_PLAIN | CCS_FLAG_ASCII : 0;
    return CCS_FLAG_7BIT | (page->bytes == 1 ? CCS_FLAG_SINGLE : CCS_FLAG_MULTIBYTE) | plain;
}

int16_t ccs_GetNumBytes(const ccs_descriptor *descriptor) {
    if (descriptor->code_page == 0) {
        const ccs_charset *charset = kv::charset_of(descriptor->charset);
        return static_cast<int16_t>(charset == nullptr ? 0 : charset->max_bytes);
    }
    const CodePage *page = code_page_of(descriptor->code_page);
    return static_cast<int16_t>(page == nullptr ? 0 : page->bytes);
}
