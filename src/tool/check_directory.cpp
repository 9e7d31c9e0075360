// mim check: the directories.

#include <glib.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ccs.h"
#include "check.h"
#include "cust.h"
#include "da.h"
#include "dr.h"
#include "explanation.h"
#include "mim.h"
#include "numbers.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr int kLineCapacity = 65538;  // the longest line of a directory, its newline and the terminator
constexpr const char *kAddress = "167";
constexpr const char *kCertificateAddress = "1300";
constexpr const char *kAddressKey = "UX_NAME_MAPPING_ATTRIB";
constexpr std::string_view kPassword = "userPassword";
constexpr std::string_view kSuffix = ".ldif";

// Entries that are all alike are found by each other. They are searched for until so many were found.
constexpr std::int64_t kEntriesToFind = 10'000'000;

// An entry of a file that is known to be good LDIF.
struct Entry {
    int line = 0;  // 0: none
    std::vector<std::pair<std::string, std::string>> attributes;
};

// Reads the entries of a directory's file one by one.
class EntryReader {
  public:
    explicit EntryReader(const char *path) : lines_(path, kLineCapacity) {}

    // Reads the next entry; false at the end.
    bool next(Entry &entry) {
        entry = {};
        while (read_line()) {
            if (line_.empty()) {
                if (entry.line != 0) {
                    return true;
                }
            } else if (line_.front() != '#') {
                take(entry);
            }
        }
        return entry.line != 0;
    }

    [[nodiscard]] int line() const { return number_; }

  private:
    // Reads a line with its continuations.
    bool read_line() {
        if (!has_upcoming_ && !fetch()) {
            return false;
        }
        line_ = std::move(upcoming_);
        number_ = upcoming_number_;
        while (fetch() && upcoming_.starts_with(' ')) {
            line_.append(upcoming_, 1);
        }
        return true;
    }

    bool fetch() {
        has_upcoming_ = lines_.next();
        upcoming_ = has_upcoming_ ? text::trim(lines_.view(), text::CharSet{"\r"}) : std::string_view{};
        upcoming_number_ = lines_.number();
        return has_upcoming_;
    }

    void take(Entry &entry) const {
        const std::size_t colon = std::min(line_.find(':'), line_.size());
        const std::string name = line_.substr(0, std::min(line_.find(';'), colon));
        std::string_view value = std::string_view{line_}.substr(std::min(colon + 1, line_.size()));
        const bool is_encoded = value.starts_with(':');
        value.remove_prefix(is_encoded ? 1 : 0);
        value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
        if (text::equal_ignoring_case(name, "dn")) {
            entry.line = number_;
        } else if (entry.line != 0) {
            entry.attributes.emplace_back(name, is_encoded ? decode(std::string{value}) : std::string{value});
        }
    }

    static std::string decode(const std::string &value) {
        gsize length = 0;
        const std::unique_ptr<guchar, decltype(&g_free)> bytes{g_base64_decode(value.c_str(), &length),
                                                               &g_free};
        return {reinterpret_cast<const char *>(bytes.get()), length};
    }

    HomeLines lines_;
    std::string line_;
    int number_ = 0;
    std::string upcoming_;
    int upcoming_number_ = 0;
    bool has_upcoming_ = false;
};

// The password that guards a directory, which stands in its first entry.
std::string password_of(const char *path) {
    EntryReader reader{path};
    Entry first;
    if (reader.next(first)) {
        for (const auto &[name, value] : first.attributes) {
            if (text::equal_ignoring_case(name, kPassword)) {
                return value;
            }
        }
    }
    return {};
}

// What was logged of the file: "...PATH:LINE: REASON".
void add_logged(CheckedFile &file, const std::vector<std::string> &logged) {
    const std::string beginning = std::string{file.path()} + ":";
    for (const std::string &text : logged) {
        const std::size_t place = text.find(beginning);
        if (place == std::string::npos) {
            continue;
        }
        const std::string_view rest = std::string_view{text}.substr(place + beginning.size());
        const std::size_t colon = rest.find(": ");
        const std::optional<int> line = read_number<int>(rest.substr(0, colon));
        if (line && colon != std::string_view::npos) {
            file.add(Fault::kBrokenDirectory, *line, std::string{rest.substr(colon + 2)});
            return;
        }
    }
    file.add(Fault::kBrokenDirectory, 0, "the directory cannot be opened");
}

class DirectoryCheck {
  public:
    DirectoryCheck(CheckedFile &file, std::int16_t directory)
        : file_(file), directory_(directory), address_(cust_GetString(kAddressKey, kAddress, 0, 0)) {}

    void take(const Entry &entry) {
        da_InitAttribList(&list_);
        bool has_address = false;
        for (const auto &[name, value] : entry.attributes) {
            if (text::equal_ignoring_case(name, address_) || name == kCertificateAddress) {
                has_address = true;
                check_address(entry, name, value);
            }
            if (is_attribute(name)) {
                add_once(name, value);
            } else if (text::equal_ignoring_case(name, "OU") ||
                       text::starts_with_ignoring_case(name, "FIELD.")) {
                file_.add(
                    Fault::kNoAttribute, entry.line,
                    in_quotes(name) + " of the entry is no attribute of an O/R name; units are OU1 to OU4");
            }
        }
        if (has_address && list_.count > 0) {
            check_search(entry);
        }
    }

  private:
    void check_address(const Entry &entry, const std::string &name, const std::string &value) {
        std::array<char, MIM_TEXT_SIZE> text{};
        std::array<char, MIM_ADDRESS_SIZE> address{};
        text::copy_text(value, text.data(), text.size());
        mim_parse_address(text.data(), nullptr, address.data(), nullptr, nullptr, nullptr);
        if (address.front() == '\0' || ccs_Is7BitAscii(address.data(), -1) == 0) {
            file_.add(Fault::kNoAddress, entry.line,
                      "its " + name + " is no Internet address: " + quote_shortly(value));
        }
    }

    // Whether names have the attribute.
    bool is_attribute(const std::string &name) {
        const auto known = is_attribute_.find(name);
        if (known != is_attribute_.end()) {
            return known->second;
        }
        bool is_one = false;
        const bool is_name = try_call([&] {
            da_list list;  // NOLINT(*-member-init): filled by the next call
            da_InitAttribList(&list);
            da_AddAttribToList(&list, DA_MAX_ATTRIBUTES, name.c_str(), "x");
            std::array<char, NM_ORN_SIZE> orn{};
            is_one = da_ConvAttribListToORN(&list, orn.data()) != 0;
        });
        return is_attribute_[name] = is_name && is_one;
    }

    // A name has one value of an attribute: the first.
    void add_once(const std::string &name, const std::string &value) {
        for (int i = 0; i < list_.count; ++i) {
            const da_attribute &attribute = *da_GetAttrib(&list_, i);
            const std::string_view other{attribute.name, static_cast<std::size_t>(attribute.name_length)};
            if (text::equal_ignoring_case(other, name)) {
                return;
            }
        }
        static_cast<void>(
            try_call([&] { da_AddAttribToList(&list_, DA_MAX_ATTRIBUTES, name.c_str(), value.c_str()); }));
    }

    void check_search(const Entry &entry) {
        if (found_ > kEntriesToFind) {
            file_.set_note("searched up to line " + std::to_string(searched_to_));
            return;
        }
        searched_to_ = entry.line;
        const da_entry *found = nullptr;
        int count = 0;
        dr_Search(directory_, "", "", &list_, 0, 1, "", &found, "", 1, -1, &count);
        found_ += count;
        if (count > 1) {
            file_.add(Fault::kAmbiguousEntry, entry.line,
                      "every name that fits the entry fits " +
                          counted(static_cast<std::size_t>(count - 1), "other") + " too, and has no address");
        }
    }

    CheckedFile &file_;
    std::int16_t directory_;
    std::string address_;
    da_list list_{};
    std::int64_t found_ = 0;
    int searched_to_ = 0;
    std::map<std::string, bool, std::less<>> is_attribute_;
};

}  // namespace

void check_directory(CheckedFile &file, const std::vector<std::string> &logged) {
    const std::string_view path = file.path();
    if (!path.ends_with(kSuffix)) {
        file.add(Fault::kStrayFile, 0, "directories are the files whose names end in .ldif");
        return;
    }
    const std::string_view base = path.substr(path.rfind('/') + 1);
    const std::string name{base.substr(0, base.size() - kSuffix.size())};
    const std::string password = password_of(file.path());
    std::int16_t directory = 0;
    if (!try_call([&] { directory = dr_OpenDir(0, DR_READ, name.c_str(), password.c_str()); })) {
        add_logged(file, logged);
        return;
    }
    DirectoryCheck check{file, directory};
    EntryReader reader{file.path()};
    for (Entry entry; reader.next(entry);) {
        check.take(entry);
        file.set_lines(reader.line());
    }
    dr_CloseDir(directory);
}

}  // namespace tool
