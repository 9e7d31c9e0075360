// The two domain maps: lookups in a file against a reading of it line by line, and lists of attributes.

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <vector>

#include "fuzz.h"
#include "mim.h"
#include "text/ascii.h"

namespace {

constexpr std::size_t kMaxLine = 1025;
constexpr std::array<int, 8> kFields{NM_COUNTRY, NM_ADMD,    NM_PRMD,    NM_ORGANISATION,
                                     NM_OU1,     NM_OU1 + 1, NM_OU1 + 2, NM_OU4};

// A file in memory with a name of its own.
const char *map_file(const std::string &content) {
    static const int file = memfd_create("map", MFD_CLOEXEC);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    const auto size = static_cast<ssize_t>(content.size());
    fuzz::expect(ftruncate(file, size) == 0 && pwrite(file, content.data(), content.size(), 0) == size,
                 "a file is written");
    return name.c_str();
}

struct Line {
    std::string key;
    std::string value;
};

// The lines that have a key and a value, in the map's order.
std::vector<Line> lines_of(std::string_view file) {
    std::vector<Line> lines;
    while (!file.empty()) {
        std::string_view line = file.substr(0, std::min(file.find('\n'), kMaxLine - 1) + 1);
        file.remove_prefix(line.size());
        line = line.substr(0, line.find_first_of(std::string_view{"\n\0", 2}));
        const std::size_t first = line.find('#');
        const std::size_t second = line.find('#', first + 1);
        if (first != 0 && first != line.npos && second != line.npos) {
            lines.push_back({std::string{line.substr(0, first)},
                             std::string{line.substr(first + 1, second - first - 1)}});
        }
    }
    return lines;
}

struct MappedName {
    MappedName() { nm_InitORN(orn.get(), &index); }
    [[nodiscard]] std::string text() const { return orn.get(); }
    std::unique_ptr<char[]> orn{new char[NM_ORN_SIZE]};
    nm_index index{};
};

std::string stored(const std::string &attributes, const std::string &rest, bool extends) {
    MappedName name;
    const int result = mim_ArpaDomainReplace(name.orn.get(), &name.index, fuzz::Copy{attributes},
                                             fuzz::Copy{rest}, extends ? 1 : 0);
    fuzz::expect(result == 1 || name.text().empty(), "nothing is stored without success", name.text());
    nm_index index;
    nm_ParseORN(name.orn.get(), &index, nullptr);
    fuzz::expect(std::equal(std::begin(index.present), std::end(index.present), name.index.present),
                 "a name's index is kept in step");
    return std::to_string(result) + name.text();
}

std::string look_up_slowly(const std::string &domain, const std::string &file, bool extends) {
    const std::string sought = domain.empty() ? "@" : domain.substr(0, MIM_MAX_TEXT);
    std::optional<Line> best;
    for (const Line &line : lines_of(file)) {
        const std::size_t size = line.key.size();
        if (size <= sought.size() &&
            text::equal_ignoring_case(sought.substr(sought.size() - size), line.key) &&
            (size == sought.size() || sought[sought.size() - size - 1] == '.') &&
            (!best || size > best->key.size())) {
            best = line;
        }
    }
    return best ? stored(best->value, sought.substr(0, sought.size() - best->key.size()), extends) : "0";
}

std::string outbound_slowly(const MappedName &name, const std::string &file) {
    int level = 0;
    std::string domain;
    for (const Line &line : lines_of(file)) {
        nm_index index = name.index;
        if (const int found = mim_MatchX400Domain(name.orn.get(), &index, fuzz::Copy{line.key});
            found > level) {
            level = found;
            domain = line.value == "@" ? "" : line.value;
        }
    }
    std::string labels;
    for (std::size_t slot = kFields.size(); level > 0 && slot-- > static_cast<std::size_t>(level);) {
        int length = 0;
        const char *bytes = nm_GetFieldMemPtr(name.orn.get(), &name.index, kFields[slot], &length);
        const std::string label{bytes != nullptr ? bytes : "", static_cast<std::size_t>(length)};
        constexpr text::CharSet kInner = text::kLetters | text::kDigits | text::CharSet{"-"};
        if (!label.empty() &&
            (!text::kLetters.contains(label[0]) ||
             !std::all_of(label.begin(), label.end(), [&kInner](char c) { return kInner.contains(c); }))) {
            return "0";
        }
        labels += label.empty() ? "" : (labels.empty() ? "" : ".") + label;
    }
    labels += labels.empty() || domain.empty() ? domain : "." + domain;
    return level == 0 || labels.size() > MIM_MAX_TEXT ? "0" : "1" + labels;
}

}  // namespace

FUZZ_TARGET(maps) {
    const auto kind = in.below(3);
    const bool extends = in.flag() != 0;
    const std::string text = in.text(NM_ORN_SIZE - 1);
    if (kind == 0) {
        stored(text, in.text(), extends);
    } else if (kind == 1) {
        const std::string file = in.rest();
        MappedName name;
        std::string got;
        const bool is_good = fuzz::succeeds([&] {
            got = std::to_string(mim_ArpaDomainLookup(map_file(file), fuzz::Copy{text}, name.orn.get(),
                                                      &name.index, extends ? 1 : 0));
        });
        std::string want;
        fuzz::expect(fuzz::succeeds([&] { want = look_up_slowly(text, file, extends); }) == is_good,
                     "a lookup fails as storing does");
        fuzz::expect_equal(got + name.text(), want, "the longest entry is the one that counts");
    } else {
        const std::string file = in.rest();
        MappedName name;
        std::copy(text.begin(), text.end() + 1, name.orn.get());
        nm_ParseORN(name.orn.get(), &name.index, nullptr);
        const std::string want = outbound_slowly(name, file);
        const std::string got = fuzz::answer(MIM_TEXT_SIZE, [&](char *out) {
            return mim_X400DomainLookup(map_file(file), name.orn.get(), out);
        });
        fuzz::expect_equal(got[0] == '0' ? got.substr(0, 1) : "1" + got.substr(2), want,
                           "the line that reaches furthest counts");
        nm_ParseORN(name.orn.get(), &name.index, nullptr);
        for (const int field : kFields) {
            int length = 0;
            fuzz::expect(
                got[0] == '0' || nm_GetFieldMemPtr(name.orn.get(), &name.index, field, &length) == nullptr,
                "routing fields are emptied");
        }
        fuzz::expect(got[0] == '1' || name.text() == text, "a name that has no line stays as it is");
    }
}
