// Labels of domains that are made of the attributes of O/R names, and attributes that are made of labels.
#ifndef TEXT_DOMAIN_LABEL_H
#define TEXT_DOMAIN_LABEL_H

#include <string_view>

#include "text/ascii.h"

namespace text {

// Whether `label`, which is not empty, is a letter followed by letters, digits and hyphens.
[[nodiscard]] constexpr bool is_domain_label(std::string_view label) {
    constexpr CharSet kLabelCharacters = kLetters | kDigits | CharSet{"-"};
    for (const char c : label) {
        if (!kLabelCharacters.contains(c)) {
            return false;
        }
    }
    return kLetters.contains(label.front());
}

}  // namespace text

#endif
