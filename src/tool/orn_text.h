// O/R names as the command shows them.
#ifndef TOOL_ORN_TEXT_H
#define TOOL_ORN_TEXT_H

#include <array>
#include <string>
#include <string_view>

#include "nm.h"
#include "rows.h"

namespace tool {

// An O/R name with its index, as conversions fill it, and room for its text form.
struct OrName {
    std::array<char, NM_ORN_SIZE> text;
    nm_index index;
    std::array<char, NM_TEXT_SIZE> form;
};

// The text of a field, empty when it is absent; valid until the name changes.
[[nodiscard]] std::string_view field_text(const OrName &orn, int field);

// The keyword of a field in the text form of names.
[[nodiscard]] std::string field_keyword(int field);

// Whether a field, in its T.61 form too, is the type or the value of a domain-defined attribute.
[[nodiscard]] bool is_dda_field(int field);

// Reads an O/R name in text form. Returns false with the reason and its place in `fault` when it is none.
[[nodiscard]] bool read_orn(const char *text, OrName &orn, std::string &fault);

// Makes the text form of `orn` the result; in JSON, with the fields by keyword as the member "fields": an
// object with a text for each field, and under "DD" (and "T61.DD") the domain-defined attributes, an array of
// {"type", "value"}, for two of them may have one type.
void answer_orn(OrName &orn, Answer &answer);

// A conversion whose items are O/R names in text form.
class OrnConversion : public Conversion {
  public:
    // As long as a line may be: what is read is bounded, how it is written is not.
    [[nodiscard]] std::size_t longest_item() const final { return kMaxLine; }

    void convert(const char *item, Answer &answer) final {
        if (read_orn(item, orn_, answer.fault)) {
            convert_orn(orn_, answer);
        }
    }

    // Fills `answer` for `orn`, which it may change.
    virtual void convert_orn(OrName &orn, Answer &answer) = 0;

  private:
    OrName orn_{};
};

}  // namespace tool

#endif
