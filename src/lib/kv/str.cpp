// Display characters: what is seen as one character in a text.

#include "str.h"

#include <glib.h>

#include <string_view>

#include "ccs_table.h"
#include "text/ascii.h"

namespace {

constexpr char kEscape = '\x1B';

// What a display character is made of, beyond escapes and single bytes.
enum class Form { kBytes, kT61, kUnicode };

Form form_of(std::string_view charset) {
    if (text::equal_ignoring_case(charset, kv::kUnicodeCharset)) {
        return Form::kUnicode;
    }
    return text::equal_ignoring_case(charset, kv::kInternalCharset) ? Form::kT61 : Form::kBytes;
}

// The character at `place`, or 0 at the end of the text and where none begins.
gunichar unicode_at(const char *place) {
    const gunichar character = g_utf8_get_char_validated(place, -1);
    return g_unichar_validate(character) != 0 ? character : 0;
}

const char *after_unicode(const char *place) {
    if (unicode_at(place) == 0) {
        return place + 1;
    }
    do {
        place = g_utf8_next_char(place);
    } while (g_unichar_ismark(unicode_at(place)) != 0);
    return place;
}

// Where the display character at `place` ends; the text does not end there.
const char *after_character(const char *place, Form form) {
    if (*place == kEscape) {
        return place[1] != '\0' ? place + 2 : place + 1;
    }
    switch (form) {
        case Form::kUnicode:
            return after_unicode(place);
        case Form::kT61:
            return place + kv::character_length({place, place[1] != '\0' ? 2U : 1U}, kv::Shape::kT61);
        case Form::kBytes:
            break;
    }
    return place + 1;
}

}  // namespace

int str_SplitByDispLen(const char *text, int count, const ccs_descriptor *charset, int *length) {
    const Form form = form_of(charset->name);
    const char *place = text;
    for (int i = 0; i < count && *place != '\0'; ++i) {
        place = after_character(place, form);
    }
    *length = static_cast<int>(place - text);
    return *place != '\0' ? 1 : 0;
}
