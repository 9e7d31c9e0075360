// The table behind a directory.
//
// Each value of each entry is a posting: the hash of the attribute and of the value as loose comparison sees
// it, and the entry. The postings stand sorted, so those of one value stand together, in the file's order; a
// table over the hashes' top bits tells where. A search takes the shortest of its attributes' runs, or the
// first that is short enough, and compares those entries' values themselves, exactly or loosely, so that
// equal hashes of different values do no harm.

#include "directory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <utility>

#include "dr.h"
#include "ldif.h"
#include "text/ascii.h"

namespace kv {
namespace {

constexpr std::string_view kPasswordName = "userPassword";
constexpr unsigned kHashBits = 32;
constexpr std::size_t kPostingsOfBucket = 4;  // on the average
constexpr std::size_t kFewEntries = 8;        // comparing these costs less than looking for a shorter run

// The characters of a value as loose comparison sees them.
class LooseText {
  public:
    static constexpr int kEnd = -1;

    explicit LooseText(std::string_view value) : rest_(text::trim(value, text::kBlanks)) {}

    int next() {
        if (rest_.empty()) {
            return kEnd;
        }
        const char c = rest_.front();
        rest_.remove_prefix(1);
        if (!text::kBlanks.contains(c)) {
            return static_cast<unsigned char>(text::to_upper(c));
        }
        while (text::kBlanks.contains(rest_.front())) {  // a blank is never the last
            rest_.remove_prefix(1);
        }
        return ' ';
    }

  private:
    std::string_view rest_;
};

bool equal_loosely(std::string_view a, std::string_view b) {
    LooseText rest_of_a{a};
    LooseText rest_of_b{b};
    for (;;) {
        const int c = rest_of_a.next();
        if (c != rest_of_b.next()) {
            return false;
        }
        if (c == LooseText::kEnd) {
            return true;
        }
    }
}

bool equal(std::string_view a, std::string_view b, Directory::Comparison comparison) {
    return comparison == Directory::Comparison::kExact ? a == b : equal_loosely(a, b);
}

// A hash of 32 bits, fed byte by byte (FNV-1a), whose last step spreads it into the top bits.
class Hash {
  public:
    explicit Hash(std::uint32_t seed) : state_(0xCBF29CE484222325 ^ seed) {}

    void add(int byte) { state_ = (state_ ^ static_cast<std::uint64_t>(byte)) * 0x100000001B3; }

    [[nodiscard]] std::uint32_t finish() const {
        return static_cast<std::uint32_t>(((state_ ^ state_ >> kHashBits) * 0x9E3779B97F4A7C15) >> kHashBits);
    }

  private:
    std::uint64_t state_;
};

std::uint32_t hash_of(std::uint32_t name, std::string_view value) {
    Hash hash{name};
    LooseText rest{value};
    for (int c = rest.next(); c != LooseText::kEnd; c = rest.next()) {
        hash.add(c);
    }
    return hash.finish();
}

bool holds_value(std::string_view values, std::string_view wanted, Directory::Comparison comparison) {
    for (;;) {
        const std::size_t end = values.find(kValueSeparator);
        if (equal(values.substr(0, end), wanted, comparison)) {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        values.remove_prefix(end + 1);
    }
}

}  // namespace

std::size_t Directory::NameHash::operator()(std::string_view name) const {
    Hash hash{0};
    for (const char c : name) {
        hash.add(static_cast<unsigned char>(text::to_upper(c)));
    }
    return hash.finish();
}

bool Directory::NameEqual::operator()(std::string_view a, std::string_view b) const {
    return text::equal_ignoring_case(a, b);
}

// ---- Reading ----

// Puts the entries together. The values of one attribute may stand apart in the file: a record's values are
// gathered until it ends, and then stored attribute by attribute.
class Directory::Builder {
  public:
    explicit Builder(Directory &directory) : directory_(directory) { directory_.entry_begins_.push_back(0); }

    // Ends the record before, if there was one.
    void begin_record() {
        end_record();
        inside_record_ = true;
    }

    // Returns null, or why the value cannot be taken.
    const char *add_value(std::string_view name, std::string_view value) {
        if (text::equal_ignoring_case(name, kPasswordName)) {
            return entry() == 0 ? set_password(value) : nullptr;
        }
        const std::uint32_t number = number_of(name);
        if (gathered_in_[number].entry != entry()) {
            if (gathered_.size() == DA_MAX_ATTRIBUTES) {
                return "the entry has more than 100 attributes";
            }
            gathered_in_[number] = {entry(), static_cast<std::uint32_t>(gathered_.size())};
            gathered_.push_back({number, kNoValue, kNoValue});
        }
        Gathered &attribute = gathered_[gathered_in_[number].place];
        const auto place = static_cast<std::uint32_t>(values_.size());
        (attribute.last == kNoValue ? attribute.first : values_[attribute.last].next) = place;
        attribute.last = place;
        values_.push_back({text_.size(), value.size(), kNoValue});
        text_.append(value);
        directory_.postings_.push_back(Posting{hash_of(number, value)} << kHashBits | entry());
        return nullptr;
    }

    void end_record() {
        if (!inside_record_) {
            return;
        }
        for (const Gathered &attribute : gathered_) {
            const std::size_t begin = directory_.text_.size();
            for (std::uint32_t i = attribute.first; i != kNoValue; i = values_[i].next) {
                if (i != attribute.first) {
                    directory_.text_ += kValueSeparator;
                }
                directory_.text_.append(text_, values_[i].offset, values_[i].length);
            }
            directory_.attributes_.push_back({attribute.name, static_cast<std::uint32_t>(begin),
                                              static_cast<std::uint32_t>(directory_.text_.size() - begin)});
        }
        directory_.entry_begins_.push_back(static_cast<std::uint32_t>(directory_.attributes_.size()));
        gathered_.clear();
        values_.clear();
        text_.clear();
    }

  private:
    static constexpr std::uint32_t kNoValue = ~std::uint32_t{0};
    static constexpr std::uint32_t kNoEntry = ~std::uint32_t{0};

    struct Value {
        std::size_t offset;  // in text_
        std::size_t length;
        std::uint32_t next;  // of the same attribute
    };
    struct Gathered {
        std::uint32_t name;
        std::uint32_t first;
        std::uint32_t last;
    };
    struct GatheredIn {
        std::uint32_t entry;  // the last entry that held the attribute, and its place in gathered_ then
        std::uint32_t place;
    };

    // The number of the current entry.
    [[nodiscard]] std::uint32_t entry() const {
        return static_cast<std::uint32_t>(directory_.entry_begins_.size() - 1);
    }

    const char *set_password(std::string_view value) {
        if (directory_.password_) {
            return "the directory has a second password";
        }
        directory_.password_ = value.substr(0, DR_PASSWORD_LENGTH);
        return nullptr;
    }

    std::uint32_t number_of(std::string_view name) {
        if (const auto found = directory_.numbers_.find(name); found != directory_.numbers_.end()) {
            return found->second;
        }
        const auto number = static_cast<std::uint32_t>(directory_.names_.size());
        const auto added = directory_.numbers_.emplace(name, number).first;
        directory_.names_.push_back({added->first, is_orn_attribute(name)});
        gathered_in_.push_back({kNoEntry, 0});
        return number;
    }

    Directory &directory_;
    bool inside_record_ = false;
    std::string text_;  // of the current record's values
    std::vector<Value> values_;
    std::vector<Gathered> gathered_;       // the current record's attributes
    std::vector<GatheredIn> gathered_in_;  // by the name's number
};

std::optional<DirectoryFault> Directory::read(os_file *file) {
    LdifReader reader{file};
    Builder builder{*this};
    for (;;) {
        switch (reader.next()) {
            case LdifReader::Item::kRecord:
                builder.begin_record();
                break;
            case LdifReader::Item::kAttribute:
                if (const char *reason = builder.add_value(reader.name(), reader.value())) {
                    return DirectoryFault{reader.line_number(), reason};
                }
                break;
            case LdifReader::Item::kEnd:
                builder.end_record();
                make_index();
                return std::nullopt;
            case LdifReader::Item::kBroken:
                return DirectoryFault{reader.line_number(), reader.reason()};
        }
    }
}

void Directory::make_index() {
    text_.shrink_to_fit();
    attributes_.shrink_to_fit();
    postings_.shrink_to_fit();
    std::sort(postings_.begin(), postings_.end());
    const auto bucket_bits =
        std::max(1U, static_cast<unsigned>(std::bit_width(postings_.size() / kPostingsOfBucket)));
    bucket_shift_ = 2 * kHashBits - bucket_bits;
    bucket_begins_.assign((std::size_t{1} << bucket_bits) + 1, 0);
    for (const Posting posting : postings_) {
        ++bucket_begins_[bucket_of(posting) + 1];
    }
    std::partial_sum(bucket_begins_.begin(), bucket_begins_.end(), bucket_begins_.begin());
}

bool Directory::is_opened_by(std::string_view password) const {
    return !password_ || *password_ == password.substr(0, DR_PASSWORD_LENGTH);
}

// ---- Searching ----

struct Directory::Condition {
    std::uint32_t name;
    std::string_view value;
};

Directory::Matches Directory::find(const da_list &filter, Comparison comparison) const {
    std::array<Condition, DA_MAX_ATTRIBUTES> conditions;  // NOLINT(*-member-init): filled as far as used
    std::span<const Posting> candidates;
    const auto count = static_cast<std::size_t>(filter.count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto name = numbers_.find(name_of(filter.attributes[i]));
        if (name == numbers_.end()) {
            return {};
        }
        conditions[i] = {name->second, value_of(filter.attributes[i])};
        if (i > 0 && candidates.size() <= kFewEntries) {
            continue;
        }
        const std::span<const Posting> postings = postings_of(conditions[i].name, conditions[i].value);
        if (i == 0 || postings.size() < candidates.size()) {
            candidates = postings;
        }
        if (candidates.empty()) {
            return {};
        }
    }
    Matches found;
    Posting previous = 0;
    for (const Posting &posting : candidates) {
        const bool is_repeated = posting == std::exchange(previous, posting) && &posting != candidates.data();
        const auto entry = static_cast<std::uint32_t>(posting);
        if (is_repeated) {  // two values of the entry that are equal loosely
            continue;
        }
        if (matches(entry, {conditions.data(), count}, comparison)) {
            found.first = found.count == 0 ? entry : found.first;
            ++found.count;
        } else if (found.count == 0 && !found.has_loose_matches) {
            found.has_loose_matches = matches(entry, {conditions.data(), count}, Comparison::kLoose);
        }
    }
    found.has_loose_matches = found.has_loose_matches && found.count == 0;
    return found;
}

void Directory::show(std::uint32_t entry, std::string_view wanted, da_entry &result) const {
    const bool wants_all = wanted.empty();
    const bool wants_orn = wanted == DA_X400_ATTRIBUTES;
    result.count = 0;
    for (const Attribute &attribute : attributes_of(entry)) {
        const Name &name = names_[attribute.name];
        if (wants_all || (wants_orn ? name.is_orn_attribute : text::equal_ignoring_case(name.text, wanted))) {
            result.attributes[result.count++] = make_attribute(name.text, values_of(attribute));
        }
    }
}

// The postings with the hash of a value: those of the value, and by chance others.
std::span<const Directory::Posting> Directory::postings_of(std::uint32_t name, std::string_view value) const {
    const Posting first = Posting{hash_of(name, value)} << kHashBits;
    const Posting last = first | ~std::uint32_t{0};
    const std::size_t bucket = bucket_of(first);
    const Posting *bucket_end = postings_.data() + bucket_begins_[bucket + 1];
    const Posting *begin = std::lower_bound(postings_.data() + bucket_begins_[bucket], bucket_end, first);
    return {begin, std::upper_bound(begin, bucket_end, last)};
}

std::span<const Directory::Attribute> Directory::attributes_of(std::uint32_t entry) const {
    return {attributes_.data() + entry_begins_[entry], attributes_.data() + entry_begins_[entry + 1]};
}

std::string_view Directory::values_of(const Attribute &attribute) const {
    return {text_.data() + attribute.offset, attribute.length};
}

bool Directory::matches(std::uint32_t entry, std::span<const Condition> conditions,
                        Comparison comparison) const {
    const std::span<const Attribute> attributes = attributes_of(entry);
    return std::all_of(conditions.begin(), conditions.end(), [&](const Condition &condition) {
        const auto attribute = std::find_if(attributes.begin(), attributes.end(), [&](const Attribute &each) {
            return each.name == condition.name;
        });
        return attribute != attributes.end() &&
               holds_value(values_of(*attribute), condition.value, comparison);
    });
}

}  // namespace kv
