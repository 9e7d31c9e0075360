// mim check, file by file: each function adds what it finds in its file of the home.
#ifndef TOOL_CHECK_H
#define TOOL_CHECK_H

#include <optional>
#include <string>
#include <string_view>

#include "checked_file.h"
#include "orn_text.h"
#include "session.h"

namespace tool {

void check_inbound_rules(CheckedFile &file);
void check_outbound_rules(CheckedFile &file);
void check_gateway_map(CheckedFile &file);
void check_domain_map(CheckedFile &file);
void check_types(CheckedFile &file);
void check_charsets(CheckedFile &file);
void check_customise(CheckedFile &file);
void check_messages(CheckedFile &file);
void check_mail_nodes(CheckedFile &file);
void check_routes(CheckedFile &file);
void check_config(CheckedFile &file);

// A directory logs why it cannot be opened; `logged` is what was logged since the file's check began.
void check_directory(CheckedFile &file, const std::vector<std::string> &logged);

// ---- What several of them ask ----

// Runs `body`, which calls the library or a service. False when a failure ended it, which is got over.
template <typename Body>
[[nodiscard]] bool try_call(Body &&body) {
    if (protect(body) == 0) {
        return true;
    }
    static_cast<void>(take_failure());
    return false;
}

// Whether the home has the file `path`.
[[nodiscard]] bool is_in_home(const char *path);

// Why `orn` is no O/R address, or the empty text.
[[nodiscard]] std::string find_incompleteness(const OrName &orn);

// The node that `orn` routes to, or nothing. The Internet gateway is kInternetNode, in any case of letters.
[[nodiscard]] std::optional<std::string> route_of(const OrName &orn);
inline constexpr std::string_view kInternetNode = "UNIX";

// What is wrong with where Internet names with the routing of `orn` route to, or the empty text.
[[nodiscard]] std::string find_other_route(const OrName &orn);

// Whether a service knows the character set.
[[nodiscard]] bool is_known_charset(const std::string &name);

// Whether `text` is a domain as mail writes it: labels of letters, digits, "-" and "_", or a literal.
[[nodiscard]] bool is_domain(std::string_view text);

}  // namespace tool

#endif
