// Compares part by part.

#include "changes.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "mim.h"
#include "text/ascii.h"

namespace tool {

namespace {

// ---- Addresses ----

struct AddressParts {
    std::array<char, MIM_ADDRESS_SIZE> phrase{};
    std::array<char, MIM_ADDRESS_SIZE> route{};
    std::array<char, MIM_ADDRESS_SIZE> local_part{};
    std::array<char, MIM_ADDRESS_SIZE> domain{};

    explicit AddressParts(const std::string &text) {
        mim_parse_address(text.c_str(), phrase.data(), nullptr, route.data(), local_part.data(),
                          domain.data());
    }
};

// ---- O/R names ----

struct Dda {
    std::string type;
    std::string value;
};

constexpr int kFirstOfBases[] = {NM_DDA1_TYPE, NM_T61 + NM_DDA1_TYPE};

std::vector<Dda> ddas_of(const OrName &orn, int first) {
    std::vector<Dda> ddas;
    for (int type = first; type < first + NM_DDA4_VALUE - NM_DDA1_TYPE; type += 2) {
        Dda dda{std::string{field_text(orn, type)}, std::string{field_text(orn, type + 1)}};
        if (!dda.type.empty() || !dda.value.empty()) {
            ddas.push_back(std::move(dda));
        }
    }
    return ddas;
}

class NameComparison {
  public:
    NameComparison(const OrName &was, const OrName &is, Comparison comparison)
        : was_(was), is_(is), comparison_(comparison) {}

    std::vector<Change> compare() {
        for (int field = 0; field < NM_FIELD_COUNT; ++field) {
            if (!is_dda_field(field)) {
                compare_fields(field);
            }
        }
        for (const int first : kFirstOfBases) {
            compare_ddas(first);
        }
        return std::move(changes_);
    }

  private:
    void compare_fields(int field) {
        const std::string was{field_text(was_, field)};
        const std::string is{field_text(is_, field)};
        const bool equal = comparison_ == Comparison::kExact ? was == is
                           : field == NM_INTERNET_ADDRESS    ? are_same_addresses(was, is)
                                                             : text::equal_ignoring_case(was, is);
        if (!equal) {
            changes_.push_back({field_keyword(field), was, is});
        }
    }

    // Of two attributes of one type the first goes with the first.
    void compare_ddas(int first) {
        const std::string prefix = first > NM_T61 ? "T61.DD." : "DD.";
        std::vector<Dda> left = ddas_of(is_, first);
        for (const Dda &was : ddas_of(was_, first)) {
            const auto is = std::find_if(left.begin(), left.end(), [&](const Dda &dda) {
                return comparison_ == Comparison::kExact ? dda.type == was.type
                                                         : text::equal_ignoring_case(dda.type, was.type);
            });
            if (is == left.end()) {
                changes_.push_back({prefix + was.type, was.value, ""});
                continue;
            }
            if (comparison_ == Comparison::kExact ? is->value != was.value
                                                  : !are_same_addresses(is->value, was.value)) {
                changes_.push_back({prefix + was.type, was.value, is->value});
            }
            left.erase(is);
        }
        for (const Dda &is : left) {
            changes_.push_back({prefix + is.type, "", is.value});
        }
    }

    static bool are_same_addresses(const std::string &was, const std::string &is) {
        return was == is || (!was.empty() && !is.empty() &&
                             changes_of_address(was, is, Comparison::kLoose, false).empty());
    }

    const OrName &was_;
    const OrName &is_;
    Comparison comparison_;
    std::vector<Change> changes_;
};

}  // namespace

std::vector<Change> changes_of_address(const std::string &was, const std::string &is, Comparison comparison,
                                       bool phrases) {
    if (std::max(was.size(), is.size()) > MIM_MAX_ADDRESS) {
        return was == is ? std::vector<Change>{} : std::vector<Change>{{"address", was, is}};
    }
    const AddressParts before{was};
    const AddressParts after{is};
    std::vector<Change> changes;
    const auto compare = [&](const char *part, std::string_view old_text, std::string_view new_text,
                             bool with_case) {
        if (with_case ? old_text != new_text : !text::equal_ignoring_case(old_text, new_text)) {
            changes.push_back({part, std::string{old_text}, std::string{new_text}});
        }
    };
    const bool exact = comparison == Comparison::kExact;
    if (phrases) {
        compare("phrase", before.phrase.data(), after.phrase.data(), true);
    }
    compare("route", before.route.data(), after.route.data(), exact);
    compare("local part", before.local_part.data(), after.local_part.data(), true);
    compare("domain", before.domain.data(), after.domain.data(), exact);
    return changes;
}

std::vector<Change> changes_of_name(const OrName &was, const OrName &is, Comparison comparison) {
    return NameComparison{was, is, comparison}.compare();
}

std::string parts_of(const std::vector<Change> &changes) {
    std::string parts;
    for (const Change &change : changes) {
        parts += (parts.empty() ? "" : ", ") + change.part;
    }
    return parts;
}

Json json_of(const std::vector<Change> &changes) {
    Json array = Json::array();
    for (const Change &change : changes) {
        array.push_back({{"part", change.part}, {"was", change.was}, {"is", change.is}});
    }
    return array;
}

}  // namespace tool
