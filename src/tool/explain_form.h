// How an address is made of what a source gave: the local part from a name, and the last touches.
#ifndef TOOL_EXPLAIN_FORM_H
#define TOOL_EXPLAIN_FORM_H

#include <string>

#include "explanation.h"
#include "mim.h"
#include "orn_text.h"
#include "to_internet.h"

namespace tool {

// The local host, and the setting that gave its name.
struct Host {
    std::string name;
    std::string origin;
};
[[nodiscard]] const Host &local_host();

// Whether the library takes so long an address.
[[nodiscard]] inline bool fits(std::string_view address) {
    return address.size() <= MIM_MAX_TEXT;
}

// Formats the personal name of `orn`, or the whole name, and adds the step that tells how.
[[nodiscard]] std::string explain_personal_name(OrName &orn, const InternetSettings &settings,
                                                Explanation &explanation);
[[nodiscard]] std::string explain_whole_name(const OrName &orn, bool personal,
                                             const InternetSettings &settings, Explanation &explanation);

// Makes the result of what a source gave: without line breaks and, unless `comments`, bare; `complete` says
// that one without a domain gets the local host's.
[[nodiscard]] std::string explain_finish(const std::string &found, bool comments, bool complete,
                                         Explanation &explanation);

}  // namespace tool

#endif
