// mim check: the two domain maps, each by itself and each against the other.

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "explanation.h"
#include "home_files.h"
#include "home_formats.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/domain_label.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr LineFormat kFormat{kMapLineCapacity, false, false};

// A way back reads both maps some times. Ways back are tried as long as that makes no more lines than these.
constexpr std::size_t kLinesToRead = 10'000'000;

// The keywords by level, that of units behind them.
constexpr std::size_t kUnit = kLevelKeywords.size();
constexpr std::size_t kUnknown = kUnit + 1;
constexpr std::size_t kMaxUnits = 4;
constexpr std::array<int, 8> kLevelFields{NM_COUNTRY, NM_ADMD,    NM_PRMD,    NM_ORGANISATION,
                                          NM_OU1,     NM_OU1 + 1, NM_OU1 + 2, NM_OU4};

// An entry KEY#VALUE#.
struct Entry {
    int line;
    std::string key;
    std::string value;
};

// Splits a line as the maps do; adds why it is no entry.
std::optional<Entry> read_entry(CheckedFile &file, HomeLines &line) {
    const std::string_view text = line.view();
    const std::size_t key_end = text.find(kMapSeparator);
    if (key_end == 0 || text::trim(text, text::kWhiteSpace).empty()) {
        return std::nullopt;
    }
    const std::size_t value_end =
        key_end != std::string_view::npos ? text.find(kMapSeparator, key_end + 1) : std::string_view::npos;
    if (value_end == std::string_view::npos) {
        file.add(Fault::kSkippedLine, line.number(),
                 key_end == std::string_view::npos ? "the line has no #"
                                                   : "the line has no second #, which ends its value");
        return std::nullopt;
    }
    return Entry{line.number(), std::string{text.substr(0, key_end)},
                 std::string{text.substr(key_end + 1, value_end - key_end - 1)}};
}

// Finds the lines whose keys stand in an earlier one.
class Keys {
  public:
    // Returns the line that `key` stands in already, or 0, and then remembers it.
    int find_or_add(const std::string &key, int line) {
        const auto [place, is_new] = lines_.emplace(key, line);
        return is_new ? 0 : place->second;
    }

  private:
    std::map<std::string, int, std::less<>> lines_;
};

// ---- Lists of attributes ----

// An item KEYWORD$VALUE.
struct Item {
    std::string name;
    std::size_t keyword;  // by level, kUnit or kUnknown
    std::optional<std::string> value;
};

std::size_t keyword_of(std::string_view name) {
    for (std::size_t level = 0; level < kLevelKeywords.size(); ++level) {
        if (text::equal_ignoring_case(name, kLevelKeywords[level])) {
            return level;
        }
    }
    return text::equal_ignoring_case(name, kUnitKeyword) ? kUnit : kUnknown;
}

// Cuts an attribute list as the maps do: in the gateway map an item without "$" goes on to the next one's.
std::vector<Item> items_of(std::string_view list, bool bare_item_ends) {
    std::vector<Item> items;
    const auto take = [&list](std::string_view ends) {
        std::size_t i = 0;
        while (i < list.size() && ends.find(list[i]) == std::string_view::npos) {
            i += list[i] == '\\' && i + 1 < list.size() ? 2 : 1;
        }
        const std::string_view piece = list.substr(0, i);
        const char end = i < list.size() ? list[i] : '\0';
        list.remove_prefix(std::min(i + 1, list.size()));
        return std::pair{std::string{piece}, end};
    };
    while (!list.empty()) {
        const auto [name, end] = take(bare_item_ends ? "$." : "$");
        Item item{name, keyword_of(name), std::nullopt};
        if (end == '$') {
            item.value = take(".").first;
        }
        items.push_back(std::move(item));
    }
    return items;
}

void check_items(CheckedFile &file, int line, const std::vector<Item> &items) {
    std::array<int, kLevelKeywords.size()> counts{};
    for (const Item &item : items) {
        if (!item.value || item.name.find('.') != std::string::npos) {
            file.add(Fault::kMissingDollar, line,
                     "an item has no $: " + quote_shortly(item.name) +
                         (item.value ? " is read as one keyword, and the value behind it is lost" : ""));
        } else if (item.keyword == kUnknown) {
            file.add(Fault::kUnknownKeyword, line,
                     quote_shortly(item.name + "$" + *item.value) +
                         " is passed over: its keyword is none of " + "C, ADMD, PRMD, O and OU");
        } else if (item.keyword < kUnit && ++counts[item.keyword] == 2) {
            file.add(Fault::kRepeatedKeyword, line,
                     std::string{kLevelKeywords[item.keyword]} + " stands twice; the last one counts");
        }
    }
}

std::string unescaped(std::string_view value) {
    std::string plain;
    for (std::size_t i = 0; i < value.size(); ++i) {
        i += value[i] == '\\' && i + 1 < value.size() ? 1 : 0;
        plain += value[i];
    }
    return plain == kUnset ? std::string{} : plain;
}

// What a key of the X.400 map asks for, slot by slot down to its level.
struct Asked {
    std::array<std::string, kLevelFields.size()> slots;
    std::size_t level = 0;
    std::size_t units = 0;
};

Asked asked_by(const std::vector<Item> &items) {
    Asked asked;
    for (const Item &item : items) {
        if (item.keyword < kUnit) {
            asked.slots[item.keyword] = unescaped(item.value.value_or(""));
            asked.level = std::max(asked.level, item.keyword + 1);
        } else if (item.keyword == kUnit && ++asked.units <= kMaxUnits) {
            for (std::size_t slot = kUnit + asked.units - 1; slot > kUnit; --slot) {
                asked.slots[slot] = asked.slots[slot - 1];
            }
            asked.slots[kUnit] = unescaped(item.value.value_or(""));
            asked.level = kUnit + asked.units;
        }
    }
    return asked;
}

// ---- There and back ----

// A name of somebody, for whom routing attributes are then put in.
void begin_name(OrName &orn) {
    nm_InitORN(orn.text.data(), &orn.index);
    nm_PutFieldStr(orn.text.data(), &orn.index, NM_SURNAME, "x");
}

std::string form_of(OrName &orn) {
    nm_FormatText(orn.text.data(), orn.form.data(), NM_TEXT_SIZE);
    return orn.form.data();
}

// The domain of a name; empty when the map has none for it.
std::string domain_of(const OrName &orn) {
    OrName copy = orn;
    std::array<char, MIM_TEXT_SIZE> domain{};
    const bool is_found = try_call([&] {
        domain[0] = mim_X400DomainLookup(kDomainMap, copy.text.data(), domain.data()) != 0 ? domain[0] : '\0';
    });
    return is_found ? domain.data() : "";
}

// Fills in the routing of a domain; false when the map has none for it.
bool route_domain(const std::string &domain, OrName &orn) {
    bool is_found = false;
    begin_name(orn);
    return try_call([&] {
               is_found =
                   mim_ArpaDomainLookup(kGatewayMap, domain.c_str(), orn.text.data(), &orn.index, 0) != 0;
           }) &&
           is_found;
}

// The unit or other attribute of `orn` below the level of the best key, that is no label; or nothing.
std::optional<std::string> find_no_label(const OrName &orn, const std::vector<std::string> &keys) {
    OrName copy = orn;
    int level = 0;
    for (std::string key : keys) {
        level = std::max(level, mim_MatchX400Domain(copy.text.data(), &copy.index, key.data()));
    }
    for (auto slot = static_cast<std::size_t>(level); level > 0 && slot < kLevelFields.size(); ++slot) {
        const std::string_view value = field_text(orn, kLevelFields[slot]);
        if (!value.empty() && !text::is_domain_label(value)) {
            return std::string{value};
        }
    }
    return std::nullopt;
}

std::vector<std::string> keys_of_domain_map() {
    std::vector<std::string> keys;
    HomeLines lines{kDomainMap, kFormat.capacity};
    while (lines.next()) {
        if (const std::size_t end = lines.view().find(kMapSeparator);
            end != std::string_view::npos && end > 0) {
            keys.emplace_back(lines.view().substr(0, end));
        }
    }
    return keys;
}

// The node that names route to when their way out needs a map: those of the Internet gateway, and those that
// route nowhere, carry their addresses.
std::optional<std::string> node_without_addresses(const OrName &orn) {
    std::optional<std::string> node = route_of(orn);
    return node && !text::equal_ignoring_case(*node, kInternetNode) ? node : std::nullopt;
}

// The names of an entry should lead back to its domain.
void check_way_out(CheckedFile &file, const Entry &entry, OrName &orn, const std::vector<std::string> &keys) {
    const std::string way_back = domain_of(orn);
    if (!way_back.empty()) {
        OrName back{};
        if (!text::equal_ignoring_case(way_back, entry.key) &&
            (!route_domain(way_back, back) || form_of(back) != form_of(orn))) {
            file.add(Fault::kOtherWayBack, entry.line,
                     "unixmap.out makes " + quote_shortly(way_back) + " of its names, which " +
                         (form_of(back) == "/S=x/" ? "is no domain of this map" : "is " + form_of(back)));
        }
        return;
    }
    const std::optional<std::string> node = node_without_addresses(orn);
    if (!node) {
        return;
    }
    const std::string whose = "its names route to " + *node + ", and unixmap.out has no domain for them";
    if (const std::optional<std::string> value = find_no_label(orn, keys)) {
        file.add(Fault::kNoLabel, entry.line, whose + ": " + quote_shortly(*value) + " is no label");
    } else {
        file.add(Fault::kNoWayBack, entry.line, whose);
    }
}

// The domain of a key that stands for names with a country and an ADMD should come in as one of them.
void check_way_in(CheckedFile &file, int line, const Asked &asked) {
    OrName orn{};
    begin_name(orn);
    for (std::size_t slot = 0; slot < asked.level; ++slot) {
        nm_PutFieldStr(orn.text.data(), &orn.index, kLevelFields[slot], asked.slots[slot].c_str());
    }
    const std::string domain = domain_of(orn);
    if (domain.empty() || asked.slots[0].empty() || asked.slots[1].empty()) {
        return;
    }
    OrName back{};
    if (!route_domain(domain, back)) {
        file.add(Fault::kNoWayBack, line,
                 "unixmap.gw has no entry for " + quote_shortly(domain) +
                     ": its mail has the routing of the default mail node");
    } else if (const std::string again = domain_of(back); !text::equal_ignoring_case(again, domain) &&
                                                          (!again.empty() || node_without_addresses(back))) {
        file.add(Fault::kOtherWayBack, line,
                 "unixmap.gw makes " + form_of(back) + " of " + quote_shortly(domain) +
                     ", which goes out as " +
                     (again.empty() ? "a name without a domain" : quote_shortly(again)));
    }
}

std::size_t count_lines(const char *path) {
    HomeLines lines{path, kFormat.capacity};
    std::size_t count = 0;
    while (lines.next()) {
        ++count;
    }
    return count;
}

// Which ways back are tried: none when there is no other map, else those of the first entries.
class Tries {
  public:
    Tries(CheckedFile &file, const char *other_map) : file_(file) {
        if (is_in_home(other_map)) {
            left_ = kLinesToRead / (count_lines(file.path()) + count_lines(other_map) + 1);
            tried_ = left_;
        }
    }

    // Whether that of one more entry is.
    bool take_one() {
        if (left_ > 0) {
            --left_;
            return true;
        }
        if (tried_ > 0) {
            file_.set_note("and the ways back of the first " + std::to_string(tried_) + " entries");
        }
        return false;
    }

  private:
    CheckedFile &file_;
    std::size_t left_ = 0;
    std::size_t tried_ = 0;
};

// ---- Entries ----

// Why no domain ends in a suffix, or the empty text.
std::string find_dead_suffix(const std::string &key) {
    if (key == kNoDomain) {
        return {};
    }
    if (const char *const marks = " \t.";
        std::string_view{marks}.find(key.front()) != std::string_view::npos ||
        std::string_view{marks}.find(key.back()) != std::string_view::npos) {
        return "a blank or full stop at an end of " + quote_shortly(key) + " counts, and no domain has it";
    }
    return is_domain(key) ? std::string{} : quote_shortly(key) + " is no domain";
}

class GatewayMapCheck {
  public:
    explicit GatewayMapCheck(CheckedFile &file)
        : file_(file), tries_(file, kDomainMap), keys_back_(keys_of_domain_map()) {}

    void take(const Entry &entry) {
        const std::string dead = find_dead_suffix(entry.key);
        if (!dead.empty()) {
            file_.add(Fault::kDeadKey, entry.line, dead);
        }
        if (const int earlier = keys_.find_or_add(to_upper(entry.key), entry.line); earlier != 0) {
            file_.add(Fault::kDuplicateKey, entry.line,
                      quote_shortly(entry.key) + " stands in line " + std::to_string(earlier) +
                          " too, which counts");
            return;
        }
        check_items(file_, entry.line, items_of(entry.value, false));
        OrName orn{};
        begin_name(orn);
        std::string list = entry.value;
        if (mim_ArpaDomainReplace(orn.text.data(), &orn.index, list.data(), nullptr, 0) == 0) {
            file_.add(Fault::kTooManyUnits, entry.line,
                      "more than four units: mail has the routing of the default mail node");
        } else if (const std::string why = find_incompleteness(orn); !why.empty()) {
            file_.add(Fault::kIncompleteName, entry.line, form_of(orn) + " is no O/R address: " + why);
        } else if (dead.empty() && entry.key != kNoDomain && tries_.take_one()) {
            check_way_out(file_, entry, orn, keys_back_);
        }
    }

  private:
    CheckedFile &file_;
    Tries tries_;
    std::vector<std::string> keys_back_;
    Keys keys_;
};

class DomainMapCheck {
  public:
    explicit DomainMapCheck(CheckedFile &file) : file_(file), tries_(file, kGatewayMap) {}

    void take(const Entry &entry) {
        const std::vector<Item> items = items_of(entry.key, true);
        check_items(file_, entry.line, items);
        const Asked asked = asked_by(items);
        if (asked.units > kMaxUnits) {
            file_.add(Fault::kTooManyUnits, entry.line, "more than four units: no name fits the key");
            return;
        }
        if (asked.level == 0) {
            file_.add(Fault::kDeadKey, entry.line, "the key names no attribute, and no name fits it");
            return;
        }
        if (!entry.value.empty() && entry.value != kNoDomain && !is_domain(entry.value)) {
            file_.add(Fault::kBadDomain, entry.line, quote_shortly(entry.value) + " is no domain");
        }
        std::string key = std::to_string(asked.level);
        for (std::size_t slot = 0; slot < asked.level; ++slot) {
            key += '\n' + to_upper(asked.slots[slot]);
        }
        if (const int earlier = keys_.find_or_add(key, entry.line); earlier != 0) {
            file_.add(Fault::kDuplicateKey, entry.line,
                      "line " + std::to_string(earlier) + " asks for the same, and counts");
        } else if (tries_.take_one()) {
            check_way_in(file_, entry.line, asked);
        }
    }

  private:
    CheckedFile &file_;
    Tries tries_;
    Keys keys_;
};

template <typename Check>
void check_map(CheckedFile &file, Check check) {
    each_line(file, kFormat, [&](HomeLines &line) {
        if (const std::optional<Entry> entry = read_entry(file, line)) {
            check.take(*entry);
        }
    });
}

}  // namespace

void check_gateway_map(CheckedFile &file) {
    check_map(file, GatewayMapCheck{file});
}

void check_domain_map(CheckedFile &file) {
    check_map(file, DomainMapCheck{file});
}

}  // namespace tool
