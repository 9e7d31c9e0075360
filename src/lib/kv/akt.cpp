// Checks of O/R names, and the routes of ~/sys/routes, read at the first use in a home.

#include "akt.h"

#include <array>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "ccs.h"
#include "nm_internal.h"
#include "orn_file.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

constexpr const char *kRoutesFile = "~/sys/routes";

bool is_routing_field(int field) {
    return (field >= NM_FIRST_ROUTING && field <= NM_LAST_ROUTING) ||
           (field >= NM_FIRST_T61_ROUTING && field <= NM_LAST_T61_ROUTING);
}

// A line of the file: the node, and the routing fields that it asks for.
struct Route {
    std::string node;
    std::vector<std::pair<int, std::string>> fields;

    [[nodiscard]] bool takes(const char *orn, const nm_index &index) const {
        for (const auto &[field, value] : fields) {
            if (!text::equal_ignoring_case(kv::field_text(orn, index, field), value)) {
                return false;
            }
        }
        return true;
    }
};

struct RouteTable {
    std::vector<Route> routes;

    static RouteTable load();
};

RouteTable RouteTable::load() {
    RouteTable table;
    kv::for_each_orn_line(kRoutesFile, [&table](const kv::OrnLine &line) -> const char * {
        if (line.word.size() >= AKT_NODE_SIZE) {
            return "the node's name is longer than 64 characters";
        }
        Route &route = table.routes.emplace_back();
        route.node = line.word;
        for (int field = 0; field < NM_FIELD_COUNT; ++field) {
            const std::string_view value = kv::field_text(line.orn, line.index, field);
            if (is_routing_field(field) && !value.empty()) {
                route.fields.emplace_back(field, value);
            }
        }
        return nullptr;
    });
    return table;
}

kv::PerHome<RouteTable> routes;

// Field maps in which a T.61 form counts as its field.
class Attributes {
  public:
    explicit Attributes(const std::uint32_t *maps) : maps_(maps) {}

    [[nodiscard]] bool has(int field) const {
        const int t61_field = nm_GetCorrT61FNum(field);
        return nm_CheckBit(field, maps_) != 0 || (t61_field >= 0 && nm_CheckBit(t61_field, maps_) != 0);
    }

    [[nodiscard]] bool has_any(std::initializer_list<int> fields) const {
        for (const int field : fields) {
            if (has(field)) {
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] bool has_dda() const {
        for (int type = NM_DDA1_TYPE; type < NM_DDA4_VALUE; type += 2) {
            if (has(type) && has(type + 1)) {
                return true;
            }
        }
        return false;
    }

  private:
    const std::uint32_t *maps_;
};

}  // namespace

int akt_CheckORName(const char *orn) {
    nm_index index;
    if (*orn == '\0' || nm_ParseORN(orn, &index, nullptr) == 0) {
        return 0;
    }
    bool is_empty = true;
    for (int field = 0; field < NM_FIELD_COUNT; ++field) {
        const std::string_view value = kv::field_text(orn, index, field);
        if (value.empty()) {
            continue;
        }
        is_empty = false;
        const bool may_be_8bit = kv::is_t61_form(field) || field == NM_INTERNET_ADDRESS;
        if (!kv::has_keyword(field) ||
            (!may_be_8bit && ccs_Is7BitAscii(value.data(), static_cast<int>(value.size())) == 0)) {
            return 0;
        }
    }
    return is_empty ? 0 : 1;
}

int akt_CheckFieldsPresent(const uint32_t *maps) {
    const Attributes attributes{maps};
    const bool has_domain = attributes.has(NM_COUNTRY) && attributes.has(NM_ADMD);
    // A personal name is one with a surname (X.402, 18.3.12).
    const bool is_mnemonic =
        attributes.has_any({NM_PRMD, NM_ORGANISATION, NM_OU1, 5, 6, NM_OU4, NM_SURNAME, NM_COMMON_NAME}) ||
        attributes.has_dda();
    const bool is_numeric = attributes.has(NM_UA_ID);
    const bool is_postal = attributes.has(NM_POSTAL_COUNTRY) && attributes.has(NM_POSTAL_CODE);
    const bool is_terminal = attributes.has(NM_X121);
    return is_terminal || (has_domain && (is_mnemonic || is_numeric || is_postal)) ? 1 : 0;
}

int akt_CheckRoutable(const char *orn, akt_route *result) {
    result->node[0] = '\0';
    nm_index index;
    nm_ParseORN(orn, &index, nullptr);
    for (const Route &route : routes.get().routes) {
        if (route.takes(orn, index)) {
            text::copy_text(route.node, result->node, sizeof result->node);
            return 1;
        }
    }
    return 0;
}
