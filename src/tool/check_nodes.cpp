// mim check: mail nodes and routes.

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "akt.h"
#include "check.h"
#include "cl.h"
#include "cust.h"
#include "explanation.h"
#include "numbers.h"
#include "text/ascii.h"

namespace tool {

namespace {

// Routes above this many are not compared with a route.
constexpr std::size_t kComparedRoutes = 2000;

bool is_routing_field(int field) {
    return (field >= NM_FIRST_ROUTING && field <= NM_LAST_ROUTING) ||
           (field >= NM_FIRST_T61_ROUTING && field <= NM_LAST_T61_ROUTING);
}

// A line WORD O/R-NAME; adds why it is none.
bool read_node_line(CheckedFile &file, std::string_view text, int line, std::string &word, OrName &orn) {
    word = text.substr(0, text.find_first_of(" \t"));
    const std::string_view name = text::trim(text.substr(word.size()), kServiceBlanks);
    std::string fault;
    if (name.empty()) {
        file.add(Fault::kSkippedLine, line, "it has no O/R name");
        return false;
    }
    if (!read_orn(std::string{name}.c_str(), orn, fault)) {
        file.add(Fault::kSkippedLine, line, "its O/R name cannot be read: " + fault);
        return false;
    }
    return true;
}

void check_routing_alone(CheckedFile &file, int line, const OrName &orn) {
    for (int field = 0; field < NM_FIELD_COUNT; ++field) {
        if (const std::string_view value = field_text(orn, field);
            !value.empty() && !is_routing_field(field)) {
            file.add(Fault::kIgnoredAttribute, line,
                     quote_shortly(value) + " is in no routing attribute, and does not count");
            return;
        }
    }
}

class MailNodesCheck {
  public:
    explicit MailNodesCheck(CheckedFile &file) : file_(file) {}

    void take(std::string_view text, int line) {
        std::string word;
        OrName orn{};
        if (!read_node_line(file_, text, line, word, orn)) {
            return;
        }
        const std::optional<int> type = read_number<int>(word);
        if (!type) {
            file_.add(Fault::kSkippedLine, line, quote_shortly(word) + " is not the number of a node type");
            return;
        }
        const auto same = std::find_if(types_.begin(), types_.end(),
                                       [&](const auto &earlier) { return earlier.first == *type; });
        if (same != types_.end()) {
            file_.add(
                Fault::kDuplicateKey, line,
                "type " + word + " stands in line " + std::to_string(same->second) + " too, which counts");
            return;
        }
        types_.emplace_back(*type, line);
        if (*type != CL_MIME_GATEWAY && *type != CL_TNEF_GATEWAY) {
            file_.add(Fault::kUnknownNodeType, line,
                      "no gateway has type " + word + ": 1 is MIME's, 7 is TNEF's");
        }
        check_routing_alone(file_, line, orn);
        nm_PutFieldStr(orn.text.data(), &orn.index, NM_SURNAME, "x");
        if (const std::string why = find_incompleteness(orn); !why.empty()) {
            file_.add(Fault::kIncompleteName, line, "names with its routing are no O/R addresses: " + why);
        } else if (const std::string why_not = find_other_route(orn); !why_not.empty()) {
            file_.add(Fault::kOtherRoute, line, "names with its routing " + why_not);
        }
    }

    void finish() {
        const bool has_mime = std::any_of(types_.begin(), types_.end(),
                                          [](const auto &type) { return type.first == CL_MIME_GATEWAY; });
        if (!has_mime) {
            file_.add(Fault::kMissingNode, 0, "no line has type 1, which mail without a map entry needs");
        }
    }

  private:
    CheckedFile &file_;
    std::vector<std::pair<int, int>> types_;  // with their lines
};

// A line of the routes, with the routing attributes that it asks for.
struct Route {
    int line;
    std::vector<std::pair<int, std::string>> fields;

    [[nodiscard]] bool takes_all_of(const Route &other) const {
        return std::all_of(fields.begin(), fields.end(), [&other](const auto &field) {
            return std::any_of(other.fields.begin(), other.fields.end(), [&field](const auto &theirs) {
                return theirs.first == field.first && text::equal_ignoring_case(theirs.second, field.second);
            });
        });
    }
};

class RoutesCheck {
  public:
    explicit RoutesCheck(CheckedFile &file) : file_(file) {}

    void take(std::string_view text, int line) {
        std::string node;
        OrName orn{};
        if (!read_node_line(file_, text, line, node, orn)) {
            return;
        }
        if (node.size() >= AKT_NODE_SIZE) {
            file_.add(Fault::kSkippedLine, line,
                      "the node's name is longer than " + std::to_string(AKT_NODE_SIZE - 1) + " characters");
            return;
        }
        check_routing_alone(file_, line, orn);
        Route route{line, {}};
        for (int field = 0; field < NM_FIELD_COUNT; ++field) {
            if (const std::string_view value = field_text(orn, field);
                !value.empty() && is_routing_field(field)) {
                route.fields.emplace_back(field, value);
            }
        }
        const auto end =
            routes_.begin() + static_cast<std::ptrdiff_t>(std::min(routes_.size(), kComparedRoutes));
        const auto above =
            std::find_if(routes_.begin(), end, [&](const Route &each) { return each.takes_all_of(route); });
        if (above != end) {
            file_.add(Fault::kUnreachedRoute, line,
                      "line " + std::to_string(above->line) + " takes all names that this line would");
        }
        has_internet_node_ = has_internet_node_ || text::equal_ignoring_case(node, kInternetNode);
        routes_.push_back(std::move(route));
    }

    void finish() {
        if (!has_internet_node_) {
            file_.add(Fault::kMissingNode, 0, "no line has the node UNIX, the Internet gateway");
        }
    }

  private:
    CheckedFile &file_;
    bool has_internet_node_ = false;
    std::vector<Route> routes_;
};

template <typename Check>
void check_node_lines(CheckedFile &file, Check check) {
    each_service_line(file, [&check](std::string_view text, int line) { check.take(text, line); });
    check.finish();
}

}  // namespace

void check_mail_nodes(CheckedFile &file) {
    check_node_lines(file, MailNodesCheck{file});
}

void check_routes(CheckedFile &file) {
    check_node_lines(file, RoutesCheck{file});
}

std::string find_other_route(const OrName &orn) {
    const std::optional<std::string> node = route_of(orn);
    if (node && !text::equal_ignoring_case(*node, kInternetNode)) {
        return "route to " + *node + ", not to UNIX: they are not converted back to the addresses they carry";
    }
    if (!node && cust_PresentAndTrue("UAL_GIVE_GROUP5_INET_NAME_STRICT") != 0) {
        return "route nowhere, and UAL_GIVE_GROUP5_INET_NAME_STRICT asks for UNIX";
    }
    return {};
}

}  // namespace tool
