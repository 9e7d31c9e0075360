// The lines of a domain map that fit, the best first, and those that nearly do.

#include "explain_map.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "home_files.h"
#include "home_formats.h"
#include "home_lines.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/domain_label.h"

namespace tool {

namespace {

constexpr text::CharSet kOddEnds = text::kWhiteSpace | text::CharSet{"."};  // of a key of the gateway map

// A line KEY#VALUE#; without a value where no second separator ends it.
struct MapLine {
    std::string key;
    std::optional<std::string> value;
};

// Nothing for a line without a key, such as a comment.
std::optional<MapLine> split(std::string_view line) {
    const std::size_t key_end = line.find(kMapSeparator);
    if (key_end == std::string_view::npos || key_end == 0) {
        return std::nullopt;
    }
    const std::string_view rest = line.substr(key_end + 1);
    const std::size_t value_end = rest.find(kMapSeparator);
    const std::string_view value = rest.substr(0, value_end);
    const bool has_value = value_end != std::string_view::npos && value.find('\0') == std::string_view::npos;
    return MapLine{std::string{line.substr(0, key_end)},
                   has_value ? std::optional{std::string{value}} : std::nullopt};
}

// A line that fits.
struct Match {
    std::string place;
    MapLine line;
    std::size_t rank;  // the longest key, or the furthest level, is the best

    [[nodiscard]] std::string name() const { return place + " " + line.key; }
};

class MapTrace {
  public:
    explicit MapTrace(const char *path) : lines_(path, kMapLineCapacity), path_(path) {}

    [[nodiscard]] HomeLines &lines() { return lines_; }

    void add_match(MapLine line, std::size_t rank) {
        matches_.push_back({lines_.place(), std::move(line), rank});
    }
    // It is told of when it would have been as good as the best, or better.
    void add_near_miss(const MapLine &line, std::size_t rank, std::string_view why) {
        near_.push_back({lines_.place() + " " + line.key + " (" + std::string{why} + ")", rank});
    }

    // The best of the lines that fit, the first of equal ones, or null. After the last line.
    [[nodiscard]] const Match *winner() const { return matches_.empty() ? nullptr : &*best(); }

    // Adds the step that tells of all this.
    Step &show(std::string_view sought, Explanation &explanation) {
        Step &step = explanation.add("map", "");
        *step.facts = {{"file", path_}, {"sought", sought}};
        if (!lines_.is_open()) {
            step.text = std::string{"there is no "} + path_;
        } else if (const Match *won = winner(); won == nullptr) {
            step.text = std::string{"no line of "} + path_ + " fits " + in_quotes(sought);
        } else {
            step.text = won->name() + " gives " + *won->line.value;
            step.facts->update({{"place", won->place}, {"key", won->line.key}, {"value", *won->line.value}});
            step.facts["beaten"] = beaten();
            add_few(step, "beat", beaten());
        }
        step.facts["near_misses"] = near();
        add_few(step, "near miss:", near());
        return step;
    }

  private:
    [[nodiscard]] std::vector<Match>::const_iterator best() const {
        return std::max_element(matches_.begin(), matches_.end(),
                                [](const Match &a, const Match &b) { return a.rank < b.rank; });
    }

    [[nodiscard]] std::vector<std::string> beaten() const {
        std::vector<Match> rest{matches_.begin(), best()};
        rest.insert(rest.end(), best() + 1, matches_.end());
        std::stable_sort(rest.begin(), rest.end(),
                         [](const Match &a, const Match &b) { return a.rank > b.rank; });
        std::vector<std::string> names(rest.size());
        std::transform(rest.begin(), rest.end(), names.begin(),
                       [](const Match &match) { return match.name(); });
        return names;
    }

    [[nodiscard]] std::vector<std::string> near() const {
        std::vector<std::string> names;
        for (const NearMiss &miss : near_) {
            if (matches_.empty() || miss.rank >= best()->rank) {
                names.push_back(miss.name);
            }
        }
        return names;
    }

    struct NearMiss {
        std::string name;
        std::size_t rank;
    };

    HomeLines lines_;
    const char *path_;
    std::vector<Match> matches_;
    std::vector<NearMiss> near_;
};

// ---- Gateway map ----

// Whether `key` ends `domain`, by the library's rule for letters' case.
bool is_end_of(const std::string &domain, const std::string &key) {
    return key.size() <= domain.size() &&
           mim_StrCaseCmp(domain.c_str() + domain.size() - key.size(), key.c_str()) != 0;
}

bool is_label_suffix(const std::string &domain, const std::string &key) {
    return is_end_of(domain, key) &&
           (key.size() == domain.size() || domain[domain.size() - key.size() - 1] == '.');
}

void consider_entry(const MapLine &line, const std::string &domain, MapTrace &trace) {
    if (is_label_suffix(domain, line.key)) {
        if (line.value) {
            trace.add_match(line, line.key.size());
        } else {
            trace.add_near_miss(line, line.key.size(), "no second # ends its attributes");
        }
    } else if (is_end_of(domain, line.key)) {
        trace.add_near_miss(line, line.key.size(), "begins inside a label");
    } else {
        const std::string_view trimmed = text::trim(line.key, kOddEnds);
        if (trimmed.size() < line.key.size() && !trimmed.empty() &&
            is_label_suffix(domain, std::string{trimmed})) {
            trace.add_near_miss(line, line.key.size(), "a blank or full stop at its end counts");
        }
    }
}

// ---- X.400 map ----

int match_level(OrName &orn, std::string key) {
    return mim_MatchX400Domain(orn.text.data(), &orn.index, key.data());
}

// The items of a key with the full stop behind each but the last.
std::vector<std::string> items_of_key(std::string_view key) {
    std::vector<std::string> items(1);
    for (std::size_t i = 0; i < key.size(); ++i) {
        items.back() += key[i];
        if (key[i] == '\\' && i + 1 < key.size()) {
            items.back() += key[++i];
        } else if (key[i] == '.') {
            items.emplace_back();
        }
    }
    return items;
}

// The item but for which a key that does not fit would, and the level that it would then reach; 0 when more
// than one stands in the way.
struct OddItem {
    std::string text;
    int level = 0;
};

class NearMissSearch {
  public:
    explicit NearMissSearch(OrName &orn) : orn_(orn) {
        for (std::size_t i = 0; i < kLevelKeywords.size(); ++i) {
            for (const char c : field_text(orn, kLevelFields[i])) {
                values_[i] += c == '.' || c == '\\' ? std::string{'\\', c} : std::string{c};
            }
            if (values_[i].empty()) {
                values_[i] = kUnset;
            }
        }
    }

    [[nodiscard]] OddItem find(const std::string &key) const {
        const std::vector<std::string> items = items_of_key(key);
        if (items.size() > kLevelFields.size()) {
            return {};
        }
        const std::size_t only = find_misfit(items);
        for (std::size_t odd = 0; odd < items.size(); ++odd) {
            if (only != kNone && odd != only) {
                continue;
            }
            std::string changed;
            for (std::size_t i = 0; i < items.size(); ++i) {
                changed += i == odd ? fitting_item(items[i]) : items[i];
            }
            if (const int level = match_level(orn_, changed); level > 0) {
                const std::size_t full_stop = odd + 1 < items.size() ? 1 : 0;
                return {items[odd].substr(0, items[odd].size() - full_stop), level};
            }
        }
        return {};
    }

  private:
    static constexpr std::size_t kNone = ~std::size_t{0};
    static constexpr std::size_t kSeveral = kNone - 1;

    static std::size_t keyword_of(std::string_view item) {
        const std::string keyword{item.substr(0, item.find('$'))};
        const auto *const found = std::find_if(
            kLevelKeywords.begin(), kLevelKeywords.end(),
            [&keyword](const char *known) { return mim_StrCaseCmp(keyword.c_str(), known) != 0; });
        return static_cast<std::size_t>(found - kLevelKeywords.begin());
    }

    // What would stand in the place of an item in a key that fits: nothing for a unit, for which all below it
    // would stand elsewhere.
    [[nodiscard]] std::string fitting_item(std::string_view item) const {
        const std::size_t keyword = keyword_of(item);
        return keyword < kLevelKeywords.size() ? kLevelKeywords[keyword] + ("$" + values_[keyword]) + "."
                                               : "";
    }

    // The one item, units apart, that is clearly another than the name's; kNone without one. With several no
    // single item is in the way.
    [[nodiscard]] std::size_t find_misfit(const std::vector<std::string> &items) const {
        std::size_t misfit = kNone;
        for (std::size_t i = 0; i < items.size(); ++i) {
            const std::size_t keyword = keyword_of(items[i]);
            if (keyword == kLevelKeywords.size() || items[i].find('\\') != std::string::npos) {
                continue;
            }
            const std::string_view value = std::string_view{items[i]}.substr(items[i].find('$') + 1);
            if (const std::string_view sought = value.substr(0, value.find('.'));
                !text::equal_ignoring_case(sought.empty() ? kUnset : sought, values_[keyword])) {
                misfit = misfit == kNone ? i : kSeveral;
            }
        }
        return misfit;
    }

    OrName &orn_;
    std::array<std::string, kLevelKeywords.size()> values_;
};

void append_label(std::string &domain, std::string_view label) {
    if (!domain.empty()) {
        domain += '.';
    }
    domain += label;
}

// The domain for a key of `level`; or nothing, with the reason in `fault`.
std::optional<std::string> build_domain(const OrName &orn, std::size_t level, std::string_view mapped,
                                        std::string &labels, std::string &fault) {
    for (std::size_t slot = kLevelFields.size(); slot-- > level;) {
        const std::string_view field = field_text(orn, kLevelFields[slot]);
        if (field.empty()) {
            continue;
        }
        if (!text::is_domain_label(field)) {
            fault = in_quotes(field) + " is no domain label";
            return std::nullopt;
        }
        append_label(labels, field);
    }
    std::string domain = labels;
    if (!mapped.empty() && mapped != kUnset) {
        append_label(domain, mapped);
    }
    if (domain.size() > MIM_MAX_TEXT) {
        fault = "the domain would be longer than " + std::to_string(MIM_MAX_TEXT) + " characters";
        return std::nullopt;
    }
    return domain;
}

}  // namespace

bool explain_gateway_map(const std::string &domain, OrName &orn, Explanation &explanation) {
    const std::string sought = domain.empty() ? kNoDomain : domain.substr(0, MIM_MAX_TEXT);
    MapTrace trace{kGatewayMap};
    while (trace.lines().next()) {
        if (const std::optional<MapLine> line = split(trace.lines().view())) {
            consider_entry(*line, sought, trace);
        }
    }
    Step &step = trace.show(sought, explanation);
    if (trace.winner() == nullptr) {
        return false;
    }
    std::string list = *trace.winner()->line.value;
    if (mim_ArpaDomainReplace(orn.text.data(), &orn.index, list.data(), nullptr, 0) != 0) {
        return true;
    }
    step.text += ", which cannot be used: it has more than four units";
    return false;
}

std::optional<std::string> explain_x400_map(OrName &orn, Explanation &explanation) {
    MapTrace trace{kDomainMap};
    const NearMissSearch near_misses{orn};
    while (trace.lines().next()) {
        const std::string_view whole = trace.lines().view();
        const std::optional<MapLine> line = split(whole.substr(0, whole.find('\0')));
        if (!line) {
            continue;
        }
        if (const int level = match_level(orn, line->key); level == 0) {
            if (const OddItem odd = near_misses.find(line->key); odd.level > 0) {
                trace.add_near_miss(*line, static_cast<std::size_t>(odd.level), "but for " + odd.text);
            }
        } else if (line->value) {
            trace.add_match(*line, static_cast<std::size_t>(level));
        } else {
            trace.add_near_miss(*line, static_cast<std::size_t>(level), "no second # ends its domain");
        }
    }
    nm_FormatText(orn.text.data(), orn.form.data(), NM_TEXT_SIZE);
    Step &step = trace.show(orn.form.data(), explanation);
    const Match *winner = trace.winner();
    if (winner == nullptr) {
        return std::nullopt;
    }
    std::string labels;
    std::string fault;
    std::optional<std::string> domain = build_domain(orn, winner->rank, *winner->line.value, labels, fault);
    if (!domain) {
        step.text += ", which gives no domain here: " + fault;
        return std::nullopt;
    }
    if (!labels.empty()) {
        step.notes.push_back("with the attributes below it: " + *domain);
    }
    for (const int field : kLevelFields) {
        nm_PutFieldStr(orn.text.data(), &orn.index, field, "");
    }
    return domain;
}

}  // namespace tool
