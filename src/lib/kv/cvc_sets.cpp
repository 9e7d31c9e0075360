// Converters are kept by each thread, and so are the names of sets that the server's table does not have.

#include "cvc_sets.h"

#include <algorithm>
#include <limits>

#include "cvc_output.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace kv::conversion {

namespace {

constexpr std::size_t kCachedConverters = 16;
constexpr std::size_t kOutsideSets = 8;

// A ring of things that are kept until their places are needed. The one that was given out last is never the
// one to go.
template <typename Thing, std::size_t kSize>
class Ring {
  public:
    // The thing that `is_wanted` accepts, or null.
    template <typename IsWanted>
    Thing *find(const IsWanted &is_wanted) {
        if (is_wanted(things_[last_used_])) {
            return &things_[last_used_];
        }
        for (std::size_t i = 0; i < kSize; ++i) {
            if (is_wanted(things_[i])) {
                last_used_ = i;
                return &things_[i];
            }
        }
        return nullptr;
    }

    Thing *add(Thing thing) {
        do {
            newest_ = (newest_ + 1) % kSize;
        } while (newest_ == last_used_);
        last_used_ = newest_;
        things_[newest_] = std::move(thing);
        return &things_[newest_];
    }

  private:
    std::array<Thing, kSize> things_;
    std::size_t newest_ = 0;
    std::size_t last_used_ = 0;
};

// The calling thread's converters.
thread_local Ring<Converter, kCachedConverters> converters;

Set set_of(const ccs_charset &row) {
    return {&row, kv::number_of(row)};
}

// The calling thread's, with the rows made of them.
struct OutsideSets {
    Ring<OutsideSet, kOutsideSets> sets;
    Ring<OutsideSet, kOutsideSets> refused;  // names that are none, for the next word with such a one
    std::int64_t last_id = std::numeric_limits<std::int16_t>::max();  // beyond all numbers of the table
};
thread_local OutsideSets outside;

constexpr text::CharSet kPlainName = text::kLetters | text::kDigits | text::CharSet{"-_.:"};

// Beginnings of names, in upper case, of sets that are no sets of mail: of wide characters, of a locale, and
// one whose converter has been a danger.
constexpr std::array kNeverNames = std::to_array<std::string_view>(
    {"UCS", "UTF-16", "UTF16", "UTF-32", "UTF32", "UNICODE", "CSUNICODE", "CSUCS", "ISO-10646", "ISO_10646",
     "ISO10646", "10646", "OSF0001", "WCHAR", "INTERNAL", "CHAR", "LOCALE", "ISO-2022-CN-EXT",
     "ISO2022CNEXT"});

bool may_name(std::string_view name) {
    return !name.empty() && name.size() <= kMaxPlainName &&
           std::ranges::all_of(name, [](char c) { return kPlainName.contains(c); }) &&
           std::ranges::none_of(kNeverNames, [name](std::string_view never) {
               return text::equal_ignoring_case(name.substr(0, never.size()), never);
           });
}

ccs_charset row_of(const char *name) {
    return {nullptr, name, name, 0, kMaxCharacterLength, kv::Shape::kSingle, kv::Escapes::kNone};
}

// Whether each printing character of ASCII is itself in the set, both ways.
bool holds_ascii(const Set &set) {
    for (const auto &[source, target] : {std::pair{set, unicode()}, std::pair{unicode(), set}}) {
        Converter converter{source, target};
        if (!converter.is_open()) {
            return false;
        }
        for (char c = ' '; c <= '~'; ++c) {
            std::string_view text{&c, 1};
            std::array<char, kMinOutputSize> result;  // NOLINT(*-member-init): iconv writes what is read
            char *place = result.data();
            std::size_t room = result.size();
            if (converter.convert(text, place, room) != Stop::kAtEnd ||
                converter.flush(place, room) != Stop::kAtEnd || place != result.data() + 1 ||
                result[0] != c) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

Converter *find_converter(const Set &source, const Set &target) {
    Converter *found =
        converters.find([&](const Converter &converter) { return converter.converts(source, target); });
    if (found != nullptr) {
        found->reset();
        return found;
    }
    Converter opened{source, target};
    return opened.is_open() ? converters.add(std::move(opened)) : nullptr;
}

Set unicode() {
    static const Set set = set_of(*kv::find_charset(kv::kUnicodeCharset));
    return set;
}

NamedSet::NamedSet(std::string_view name) {
    if (const ccs_charset *row = kv::find_charset(name)) {
        set_ = set_of(*row);
    } else {
        find_outside(name);
    }
}

void NamedSet::find_outside(std::string_view name) {
    const auto has_name = [name](const OutsideSet &set) {
        return set.length == name.size() && text::equal_ignoring_case({set.name.data(), set.length}, name);
    };
    if (name.empty() || outside.refused.find(has_name) != nullptr) {
        return;
    }
    const OutsideSet *known = outside.sets.find(has_name);
    if (known == nullptr && !may_name(name)) {
        return;
    }
    outside_.length = text::copy_text(name, outside_.name.data(), outside_.name.size());
    row_ = row_of(outside_.name.data());
    if (known != nullptr) {
        set_ = {&row_, known->id};
        return;
    }
    outside_.id = outside.last_id + 1;
    if (holds_ascii({&row_, outside_.id})) {
        outside.last_id = outside_.id;
        outside.sets.add(outside_);
        set_ = {&row_, outside_.id};
    } else {
        outside.refused.add(outside_);
    }
}

}  // namespace kv::conversion
