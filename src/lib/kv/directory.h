// A directory in memory: the entries of an LDIF file, and an index of their values.
#ifndef KV_DIRECTORY_H
#define KV_DIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "da_internal.h"
#include "os.h"

namespace kv {

// Why a file is no directory, and the line.
struct DirectoryFault {
    int line;
    const char *reason;
};

class Directory {
  public:
    // Reads `file` into this directory, which is empty. What is left of it after a fault is of no use. Raises
    // std::bad_alloc and what the file service raises.
    [[nodiscard]] std::optional<DirectoryFault> read(os_file *file);

    // Whether `password` opens the directory: it has no password, or their characters that count are equal.
    [[nodiscard]] bool is_opened_by(std::string_view password) const;

    enum class Comparison { kExact, kLoose };

    // The entries that a search found.
    struct Matches {
        std::uint32_t count = 0;
        std::uint32_t first = 0;         // the first of them, when there is one
        bool has_loose_matches = false;  // none was found, but comparing loosely finds some
    };

    // Finds the entries that hold every attribute of `filter`. Looks at no more entries than hold the rarest
    // of these, or at a few. Allocates nothing.
    [[nodiscard]] Matches find(const da_list &filter, Comparison comparison) const;

    // Makes `result` the attributes `wanted` of an entry: a name, DA_X400_ATTRIBUTES, or "" for all.
    void show(std::uint32_t entry, std::string_view wanted, da_entry &result) const;

  private:
    class Builder;
    struct Condition;

    // Names are found without regard to case.
    struct NameHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view name) const;
    };
    struct NameEqual {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const;
    };
    using NameNumbers = std::unordered_map<std::string, std::uint32_t, NameHash, NameEqual>;

    struct Name {
        std::string_view text;  // as the file writes it first; lives in numbers_
        bool is_orn_attribute;
    };

    // An attribute of an entry; several values stand one behind the other with kValueSeparator between them.
    struct Attribute {
        std::uint32_t name;
        std::uint32_t offset;  // of its values in text_
        std::uint32_t length;
    };

    // That an entry (the lower half) holds a value whose hash is the upper half.
    using Posting = std::uint64_t;

    void make_index();
    [[nodiscard]] std::size_t bucket_of(Posting posting) const {
        return static_cast<std::size_t>(posting >> bucket_shift_);
    }
    [[nodiscard]] std::span<const Posting> postings_of(std::uint32_t name, std::string_view value) const;
    [[nodiscard]] std::span<const Attribute> attributes_of(std::uint32_t entry) const;
    [[nodiscard]] std::string_view values_of(const Attribute &attribute) const;
    [[nodiscard]] bool matches(std::uint32_t entry, std::span<const Condition> conditions,
                               Comparison comparison) const;

    std::string text_;
    NameNumbers numbers_;
    std::vector<Name> names_;
    std::vector<Attribute> attributes_;        // entry by entry
    std::vector<std::uint32_t> entry_begins_;  // where each entry's attributes begin; then where the last end
    std::vector<Posting> postings_;            // sorted
    std::vector<std::uint32_t> bucket_begins_;  // where the postings begin whose hashes share their top bits
    unsigned bucket_shift_ = 0;
    std::optional<std::string> password_;
};

}  // namespace kv

#endif
