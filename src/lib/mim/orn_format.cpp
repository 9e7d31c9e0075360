// O/R names as text that can stand in the local part of an Internet address.
//
// Every value passes the converter, which leaves only what a local part may hold, so that the text between
// the values can be told from them. A text is put together from whole parts, and ends before the first that
// does not fit: half an attribute would name somebody else.

#include "orn_format.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "ccs.h"
#include "frame.h"
#include "mim.h"
#include "orn_field.h"
#include "str.h"
#include "t61.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;
using text::CharSet;
using text::PartWriter;

constexpr std::int16_t kPlainMode = 1;   // no name is quoted
constexpr std::int16_t kDollarMode = 2;  // "$" and braces escape

// The name styles.
constexpr std::int16_t kPositional = 1;
constexpr std::int16_t kAttributes = 2;
constexpr std::int16_t kPersonal = 3;
constexpr std::int16_t kAttributesOrPersonal = 4;

constexpr std::size_t kLastStart = 1018;  // the longest text to which a character is still appended
constexpr char kEscape = '\x1B';
constexpr unsigned kControlOffset = 0x40;  // an ESC and this much more than a control character stand for it
constexpr unsigned char kDelete = 0x7F;
constexpr CharSet kQuoted = CharSet{"${} ()<>@,;:[]"} | CharSet::range('\x01', '\x1F') |
                            CharSet::range('\x80', '\xFF');  // a name that holds one is quoted
constexpr CharSet kBraced{"\"\\()*<>"};                      // written {NNN} where "$" escapes
constexpr std::string_view kNoName = ".";
constexpr std::string_view kNoPositionalName = "_";

constinit mim::FormatSettings settings;

// ---- Characters ----

// What becomes of a byte: it passes, is escaped by its number, or by the letter that the class is.
enum CharClass : char { kByNumber = 0, kPass = 1 };

constexpr CharSet kPassing = text::kLetters | text::kDigits | CharSet{"'+-?"};

struct LetterCode {
    char character;
    char letter;
};
constexpr std::array kLetterCodes = std::to_array<LetterCode>({{' ', 'b'},
                                                               {'!', 'x'},
                                                               {'#', 'h'},
                                                               {'%', 'p'},
                                                               {'(', 'l'},
                                                               {')', 'r'},
                                                               {',', 'm'},
                                                               {'.', 'f'},
                                                               {'/', 'o'},
                                                               {':', 'c'},
                                                               {'@', 'a'}});

// The class of each byte. Built once for the process, with the delimiter of that moment.
class ClassTable {
  public:
    explicit ClassTable(char delimiter) {
        for (std::size_t i = 0; i < classes_.size(); ++i) {
            classes_[i] = kPassing.contains(static_cast<char>(i)) ? kPass : kByNumber;
        }
        classes_[static_cast<unsigned char>(delimiter)] = kByNumber;
        for (const LetterCode &code : kLetterCodes) {
            classes_[static_cast<unsigned char>(code.character)] = code.letter;
        }
    }

    [[nodiscard]] char of(char c) const { return classes_[static_cast<unsigned char>(c)]; }
    [[nodiscard]] bool passes(char c) const { return of(c) == kPass; }

  private:
    std::array<char, text::kByteCount> classes_{};
};

const ClassTable &class_table() {
    static const ClassTable table{mim::format_settings().delimiter};
    return table;
}

// Writes the three digits of a byte between two marks; returns the place after them.
char *write_number(char *place, char open, unsigned char c, char close) {
    *place++ = open;
    *place++ = static_cast<char>('0' + c / 100);
    *place++ = static_cast<char>('0' + c / 10 % 10);
    *place++ = static_cast<char>('0' + c % 10);
    *place++ = close;
    return place;
}

char *write_in_dollar_mode(char *place, char c) {
    const auto code = static_cast<unsigned char>(c);
    if (code < ' ' || code > kDelete || kBraced.contains(c)) {
        return write_number(place, '{', code, '}');
    }
    if (c != ' ') {
        *place++ = '$';
    }
    *place++ = c;
    return place;
}

char *write_in_number_mode(char *place, char c, char character_class) {
    if (character_class == kByNumber) {
        return write_number(place, '#', static_cast<unsigned char>(c), '#');
    }
    *place++ = '#';
    *place++ = character_class;
    *place++ = '#';
    return place;
}

// Appends the converted `src` to the text of `length` characters at `dst`; returns its length then.
std::size_t convert(std::string_view src, char *dst, std::size_t length, bool t61) {
    const ClassTable &classes = class_table();
    const std::int16_t mode = mim::format_settings().mode;
    std::size_t place = 0;
    while (place < src.size() && length <= kLastStart) {
        const std::size_t run_limit = std::min(src.size(), place + kLastStart + 1 - length);
        const std::size_t run_begin = place;
        while (place < run_limit && classes.passes(src[place])) {
            ++place;
        }
        if (place > run_begin) {
            std::memcpy(dst + length, src.data() + run_begin, place - run_begin);
            length += place - run_begin;
            continue;
        }
        char c = src[place++];
        if (c == mim::kNextBlock || c == mim::kNextField) {
            dst[length++] = c;
            continue;
        }
        if (c == kEscape && t61 && place < src.size()) {
            const unsigned control = static_cast<unsigned char>(src[place]) - kControlOffset;
            if (control < ' ') {
                c = static_cast<char>(control);
                ++place;
            }
        }
        char *const begin = dst + length;
        char *const end = mode == kDollarMode ? write_in_dollar_mode(begin, c)
                                              : write_in_number_mode(begin, c, classes.of(c));
        length += static_cast<std::size_t>(end - begin);
    }
    dst[length] = '\0';
    return length;
}

// ---- Fields ----

// A converted text.
class Converted {
  public:
    Converted() { text_.front() = '\0'; }

    void append(std::string_view src, bool t61) {
        length_ = mim::traced<TraceClass::kMain>("mim_ConvSpecialChar",
                                                 [&] { return convert(src, text_.data(), length_, t61); });
    }

    void append(char c) {
        text_[length_++] = c;
        text_[length_] = '\0';
    }

    [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }

  private:
    // A conversion ends at most five characters beyond kLastStart, and a mark or two may follow.
    std::array<char, MIM_TEXT_SIZE> text_;  // NOLINT(*-member-init): filled up to the length
    std::size_t length_ = 0;
};

// An O/R name that is being formatted.
struct Name {
    const char *orn;
    const nm_index *index;
    bool t61;

    [[nodiscard]] std::string_view field(int number) const { return mim::field_text(orn, index, number); }
};

// A formatted field, and its T.61 form after it.
class Field {
  public:
    Field(const Name &name, int number) {
        mim::traced<TraceClass::kHelper>("mim_FormatFields", [&] { format(name, number); });
    }

    [[nodiscard]] bool empty() const { return text_.view().empty(); }
    operator std::string_view() const { return text_.view(); }  // NOLINT(*-explicit-*): it is a text

  private:
    void format(const Name &name, int number) {
        if (const std::string_view value = name.field(number); !value.empty()) {
            text_.append(value, false);
        }
        if (!name.t61) {
            return;
        }
        const int t61_number = nm_GetCorrT61FNum(number);
        if (t61_number < 0) {
            return;
        }
        if (const std::string_view value = name.field(t61_number); !value.empty()) {
            text_.append('*');
            text_.append(value, true);
        }
    }

    Converted text_;
};

// The T.61 form of the initials, given out one display character at a time.
class T61Initials {
  public:
    explicit T61Initials(const Name &name) {
        if (!name.t61) {
            return;
        }
        text::copy_text(name.field(NM_T61 + NM_INITIALS), text_.data(), text_.size());
        if (!at_end()) {
            ccs_GetCSDescriptor(t61_ParseO61Str(text_.data(), -1), &charset_);
        }
    }

    [[nodiscard]] bool at_end() const { return *rest_ == '\0'; }

    // The next display character.
    std::string_view next() {
        int length = 0;
        const bool is_last = str_SplitByDispLen(rest_, 1, &charset_, &length) == 0;
        const std::string_view piece{rest_, static_cast<std::size_t>(length)};
        rest_ = is_last || piece.empty() ? "" : rest_ + length;
        return piece;
    }

  private:
    std::array<char, NM_ORN_SIZE> text_{};
    const char *rest_ = text_.data();
    ccs_descriptor charset_{};
};

void format_initials(const Name &name, PartWriter &out) {
    T61Initials t61_initials{name};
    std::string_view initials = name.field(NM_INITIALS);
    while (!initials.empty() || !t61_initials.at_end()) {
        Converted initial;
        if (!initials.empty()) {
            initial.append(initials.substr(0, 1), false);
            initials.remove_prefix(1);
        }
        if (!t61_initials.at_end()) {
            if (const std::string_view piece = t61_initials.next(); !piece.empty()) {
                initial.append('*');
                initial.append(piece, true);
            }
        }
        out.append(initial.view(), ".");
    }
}

void write_initials(const Name &name, PartWriter &out) {
    mim::traced<TraceClass::kMain>("mim_FormatInitials", [&] { format_initials(name, out); });
}

// ---- Personal name ----

void format_personal_name(const Name &name, PartWriter &out) {
    if (mim::format_settings().style == kPositional) {
        for (const int field : {NM_SURNAME, NM_GIVEN_NAME, NM_INITIALS, NM_GENERATION}) {
            out.append(Field{name, field}, "_");
        }
        out.trim_end('_');
        return;
    }
    if (const Field given{name, NM_GIVEN_NAME}; !given.empty()) {
        out.append(given, ".");
    }
    write_initials(name, out);
    out.append(Field{name, NM_SURNAME});
    if (const Field generation{name, NM_GENERATION}; !generation.empty()) {
        out.append(".", generation, ".");
    }
}

void write_personal_name(const Name &name, PartWriter &out) {
    mim::traced<TraceClass::kMain>("mim_FormatPersonalName", [&] { format_personal_name(name, out); });
}

// ---- Whole name ----

using Delimiters = std::array<char, NM_LAST_POSTAL + 1>;  // more than ever stand side by side

class WholeName {
  public:
    WholeName(const Name &name, PartWriter &out) : name_(name), out_(out) {
        delimiters_.fill(mim::format_settings().delimiter);
    }

    void write_attributes() {
        write_keyword_rows(0);
        write_domain_defined();
    }

    void write_personal() {
        write_name_or(kNoName);
        write_keyword_rows(NM_FIRST_ROUTING_ROW);
        write_domain_defined();
    }

    void write_positional() {
        write_name_or(kNoPositionalName);
        const bool has_units = write_units();
        std::size_t gap = has_units ? 0 : 1;
        write_positions(NM_ORGANISATION, NM_DDA4_VALUE, gap);
        write_positions(NM_COMMON_NAME, NM_LAST_POSTAL, gap);
    }

  private:
    [[nodiscard]] std::string_view delimiters(std::size_t count) const { return {delimiters_.data(), count}; }

    void write_name_or(std::string_view no_name) {
        const std::size_t before = out_.view().size();
        write_personal_name(name_, out_);
        if (out_.view().size() == before) {
            out_.append(no_name);
        }
    }

    void write_keyword_rows(int first) {
        for (const nm_keyword *row = nm_KeywordTable + first; *row->keyword != '\0'; ++row) {
            if (const Field value{name_, row->field}; !value.empty()) {
                out_.append(delimiters(1), row->keyword, "=", value);
            }
        }
    }

    void write_domain_defined() {
        for (int type_field = NM_DDA1_TYPE; type_field < NM_DDA4_VALUE; type_field += 2) {
            const Field type{name_, type_field};
            const Field value{name_, type_field + 1};
            if (!type.empty() || !value.empty()) {
                out_.append(delimiters(1), "DD.", type, "=", value);
            }
        }
    }

    // Gaps keep their places as "_". Returns whether there was a unit.
    bool write_units() {
        static constexpr std::string_view kGaps = "___";
        bool has_units = false;
        int last = NM_OU1;
        for (int field = NM_OU1; field <= NM_OU4; ++field) {
            if (const Field value{name_, field}; !value.empty()) {
                const auto gaps = static_cast<std::size_t>(field - last);
                out_.append(delimiters(has_units ? 0 : 1), kGaps.substr(0, gaps), value);
                has_units = true;
                last = field;
            }
        }
        return has_units;
    }

    // Writes the fields from `first` to `last`, each after a delimiter for itself and for each absent one
    // before it. `gap` (in-out) counts the delimiters that are due.
    void write_positions(int first, int last, std::size_t &gap) {
        for (int field = first; field <= last; ++field) {
            ++gap;
            if (const Field value{name_, field}; !value.empty()) {
                out_.append(delimiters(gap), value);
                gap = 0;
            }
        }
    }

    const Name &name_;
    PartWriter &out_;
    Delimiters delimiters_;  // NOLINT(*-member-init): filled by the constructor
};

bool must_be_quoted(std::string_view orn) {
    return mim::format_settings().mode != kPlainMode && std::any_of(orn.begin(), orn.end(), [](char c) {
               return c != mim::kNextField && kQuoted.contains(c);
           });
}

// What follows the body of a name: its last delimiter, the closing quote, the delimiter that is added.
class Closing {
  public:
    Closing(bool ends_in_delimiter, bool quoted) {
        const mim::FormatSettings &now = mim::format_settings();
        append(now.delimiter, ends_in_delimiter);
        append('"', quoted);
        append(now.delimiter, now.add_delimiter && (quoted || !ends_in_delimiter));
    }

    [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }

  private:
    void append(char c, bool wanted) {
        text_[length_] = c;
        length_ += wanted ? 1 : 0;
    }

    std::array<char, 3> text_{};
    std::size_t length_ = 0;
};

std::int16_t style_for(const nm_index &index) {
    std::int16_t &style = mim::format_settings().style;
    if (index.kind == NM_KIND_NUMERIC && (style == kPersonal || style == kAttributesOrPersonal)) {
        style = kAttributes;
    }
    return style;
}

void format_whole_name(const char *orn, bool personal, bool t61, char *out, std::size_t limit) {
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    const std::int16_t style = style_for(index);
    const bool as_attributes = style == kAttributes || (style == kAttributesOrPersonal && !personal);
    const bool quoted = must_be_quoted({orn, strnlen(orn, NM_ORN_SIZE - 1)});
    const Closing closing{as_attributes, quoted};

    PartWriter body{out, limit - closing.view().size()};
    if (quoted) {
        body.append("\"");
    }
    const Name name{orn, &index, t61};
    WholeName whole{name, body};
    if (as_attributes) {
        whole.write_attributes();
    } else if (style == kPositional) {
        whole.write_positional();
    } else {
        whole.write_personal();
    }
    text::copy_text(closing.view(), out + body.view().size(), closing.view().size() + 1);
}

}  // namespace

mim::FormatSettings &mim::format_settings() {
    return settings;
}

void mim::format_orn(const char *orn, bool personal, bool t61, char *out, std::size_t limit) {
    traced<TraceClass::kMain>("mim_FormatORN", [&] { format_whole_name(orn, personal, t61, out, limit); });
}

void mim_ConvSpecialChar(const char *src, char *dst, int t61) {
    mim::traced<TraceClass::kMain>(__func__, [&] { convert(src, dst, std::strlen(dst), t61 != 0); });
}

void mim_FormatFields(const char *orn, nm_index *index, int field, char *out, int t61) {
    const Field formatted{{orn, index, t61 != 0}, field};
    text::copy_text(formatted, out, MIM_TEXT_SIZE);
}

void mim_FormatInitials(const char *orn, nm_index *index, char *out, int t61) {
    PartWriter writer{out, MIM_MAX_TEXT};
    write_initials({orn, index, t61 != 0}, writer);
}

void mim_FormatPersonalName(const char *orn, nm_index *index, char *out, int t61) {
    PartWriter writer{out, MIM_MAX_TEXT};
    write_personal_name({orn, index, t61 != 0}, writer);
}

void mim_FormatORN(const char *orn, char *out, int personal, int t61) {
    mim::format_orn(orn, personal != 0, t61 != 0, out, MIM_MAX_TEXT);
}

void mim_DoFormatPersonalName(const char *orn, nm_index *index, char *out, int16_t style, int16_t mode,
                              int t61) {
    mim::format_settings().style = style;
    mim::format_settings().mode = mode;
    mim_FormatPersonalName(orn, index, out, t61);
}

void mim_DoFormatORN(const char *orn, char *out, int personal, int16_t style, int16_t mode, int t61) {
    mim::format_settings().style = style;
    mim::format_settings().mode = mode;
    mim_FormatORN(orn, out, personal, t61);
}
