// The customisation store: ~/sys/customise, read at the first use in a home.

#include "cust.h"

#include <array>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "home_file.h"
#include "text/ascii.h"

namespace {

constexpr const char *kCustomiseFile = "~/sys/customise";
constexpr std::array<std::string_view, 4> kTrueWords{"true", "yes", "on", "1"};
constexpr std::array<std::string_view, 4> kFalseWords{"false", "no", "off", "0"};

struct CustomiseTable {
    std::map<std::string, std::string, std::less<>> values;

    static CustomiseTable load();
};

CustomiseTable CustomiseTable::load() {
    CustomiseTable table;
    kv::for_each_line(kCustomiseFile, [&table](const kv::HomeLine &line) {
        const std::size_t equals = line.text.find('=');
        const std::string_view key = text::trim(line.text.substr(0, equals), kv::kLineBlanks);
        if (equals == std::string_view::npos || key.empty()) {
            kv::log_skipped_line(kCustomiseFile, line.number, "it does not have the form KEY=VALUE");
            return;
        }
        table.values.insert_or_assign(std::string{key},
                                      text::trim(line.text.substr(equals + 1), kv::kLineBlanks));
    });
    return table;
}

kv::PerHome<CustomiseTable> customisation;

const std::string *find_value(const char *key) {
    const CustomiseTable &table = customisation.get();
    const auto found = table.values.find(std::string_view{key});
    return found != table.values.end() ? &found->second : nullptr;
}

bool value_is_one_of(const char *key, const std::array<std::string_view, 4> &words) {
    const std::string *value = find_value(key);
    if (value == nullptr) {
        return false;
    }
    for (const std::string_view word : words) {
        if (text::equal_ignoring_case(*value, word)) {
            return true;
        }
    }
    return false;
}

}  // namespace

int cust_GetCustomiseInfo(const char *key, const char **value) {
    const std::string *found = find_value(key);
    if (found != nullptr && value != nullptr) {
        *value = found->c_str();
    }
    return found != nullptr ? 1 : 0;
}

int cust_PresentAndTrue(const char *key) {
    return value_is_one_of(key, kTrueWords) ? 1 : 0;
}

int cust_PresentAndFalse(const char *key) {
    return value_is_one_of(key, kFalseWords) ? 1 : 0;
}

const char *cust_GetString(const char *key, const char *fallback, int /*unused1*/, int /*unused2*/) {
    const std::string *value = find_value(key);
    return value != nullptr ? value->c_str() : fallback;
}
