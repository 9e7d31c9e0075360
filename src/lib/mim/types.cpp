// The server's numbers for kinds of attachments, and what MIME calls them: content type, transfer encoding,
// file extensions. The table is the administrator's; a number that it does not list has a private content
// type all the same, and comes back from that.

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstring>
#include <limits>
#include <string_view>

#include "ccs.h"
#include "frame.h"
#include "inet.h"
#include "mim.h"
#include "mime_table.h"
#include "text/ascii.h"
#include "text/tokens.h"
#include "text/writer.h"

namespace {

using mim::RowIndex;
using mim::TraceClass;
using text::CharSet;
using text::equal_ignoring_case;
using text::starts_with_ignoring_case;

constexpr const char *kTableFile = "~/sys/mime.types";
constexpr int kLineCapacity = 255;  // a line of at most 254 characters and its terminator
constexpr std::size_t kMaxTypeName = 63;
constexpr std::size_t kMaxExtension = 4;
constexpr std::size_t kExtensions = 5;

constexpr CharSet kDelimiters{" \t()<>@,;:\\/[]?=\""};  // RFC 2045, 5.1: tspecials, and blanks
constexpr text::Tokens kTokens{kDelimiters};
constexpr text::Tokens kTypeTokens{kDelimiters, "/;"};
constexpr text::Tokens kSubtypeTokens{kDelimiters, ";"};
constexpr CharSet kNumberBeginnings = text::kDigits | CharSet{"-"};
constexpr CharSet kEncodings{"bqn78"};
constexpr std::string_view kAny = "*";

constexpr std::string_view kHeaderName = "Content-Type: ";
constexpr std::string_view kCharsetBeginning = "; charset=";
constexpr std::string_view kUnlistedType = "application";
constexpr std::string_view kOctetStream = "octet-stream";  // the unlisted type 0
constexpr std::size_t kNumberWidth = 4;
constexpr const char *kDefaultExtension = ".bin";
constexpr char kDefaultEncoding = 'b';
constexpr std::string_view kCharsetParameter = "charset";

constexpr std::size_t kDecodedSize = 1024;       // a decoded file name of the usual length
constexpr std::size_t kCharsetLabelSize = 1024;  // no longer name is one that any service knows

static_assert(MIM_MIME_TYPE_SIZE == 2 * kMaxTypeName + 2);
static_assert(MIM_TYPE_HEADER_SIZE ==
              kHeaderName.size() + (MIM_MIME_TYPE_SIZE - 1) + kCharsetBeginning.size() + CCS_NAME_SIZE);

// The number that a text begins with, 0 when it begins with none, as near as an int comes.
int leading_number(std::string_view text) {
    const bool is_negative = !text.empty() && text.front() == '-';
    if (is_negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    constexpr long long kLargest = -static_cast<long long>(INT_MIN);
    long long number = 0;
    for (; !text.empty() && text::kDigits.contains(text.front()); text.remove_prefix(1)) {
        number = std::min(number * 10 + (text.front() - '0'), kLargest);
    }
    return static_cast<int>(is_negative ? -number : std::min<long long>(number, INT_MAX));
}

// ---- Table ----

struct Row {
    int number;
    char encoding;
    mim::ShortText<kMaxTypeName> type;
    mim::ShortText<kMaxTypeName> subtype;
    std::array<mim::ShortText<kMaxExtension>, kExtensions> extensions;

    [[nodiscard]] bool is_wildcard() const { return type.view() == kAny || subtype.view() == kAny; }

    [[nodiscard]] std::size_t count_extensions() const {
        return static_cast<std::size_t>(std::count_if(extensions.begin(), extensions.end(),
                                                      [](const auto &own) { return !own.empty(); }));
    }

    [[nodiscard]] bool has_extension(std::string_view extension) const {
        return std::any_of(extensions.begin(), extensions.end(),
                           [extension](const auto &own) { return own.is(extension); });
    }
};

auto has_number(int number) {
    return [number](const Row &row) { return row.number == number; };
}

auto has_extension(std::string_view extension) {
    return [extension](const Row &row) { return row.has_extension(extension); };
}

// An empty extension stands for any.
auto has_content(std::string_view type, std::string_view subtype, std::string_view extension) {
    return [type, subtype, extension](const Row &row) {
        return row.type.is(type) && row.subtype.is(subtype) &&
               (extension.empty() || row.has_extension(extension));
    };
}

std::uint32_t hash_number(int number) {
    constexpr std::uint32_t kSpread = 2654435769U;  // 2^32 divided by the golden ratio
    const std::uint32_t hash = static_cast<std::uint32_t>(number) * kSpread;
    return hash ^ hash >> 16U;
}

struct Table {
    mim::TableState state = mim::TableState::kNew;
    mim::Rows<Row> rows;

    // The first row that tells what a number stands for, or null.
    [[nodiscard]] const Row *find_by_number(int number) const {
        return row_or_null(by_number_.find(rows, hash_number(number), has_number(number)));
    }

    // The first row with an extension, or null.
    [[nodiscard]] const Row *find_by_extension(std::string_view extension) const {
        if (extension.empty()) {
            return nullptr;
        }
        return row_or_null(by_extension_.find(rows, mim::hash_texts({extension}), has_extension(extension)));
    }

    // The first row for a content type or, where the row's type or subtype is any, for the extension of a
    // file that is of it; null when there is none.
    [[nodiscard]] const Row *find_by_content(std::string_view type, std::string_view subtype,
                                             std::string_view extension) const {
        std::uint32_t first = find_content(type, subtype, {});
        if (!extension.empty()) {
            first = std::min({first, find_content(kAny, kAny, extension),
                              find_content(kAny, subtype, extension), find_content(type, kAny, extension)});
        }
        return row_or_null(first);
    }

    void add_line(const char *line) {
        Row row{};
        const std::string_view number = kTokens.take(line);
        const std::string_view encoding = kTokens.take(line);
        const std::string_view type = kTokens.take(line);
        const std::string_view subtype = kTokens.take(line);
        if (subtype.empty() || !kNumberBeginnings.contains(number.front()) ||
            !kEncodings.contains(encoding.front()) || !row.type.set(type) || !row.subtype.set(subtype)) {
            return;
        }
        row.number = leading_number(number);
        row.encoding = encoding.front();
        for (auto &extension : row.extensions) {
            // One that is too long leaves its place empty.
            static_cast<void>(extension.set(kTokens.take(line)));
        }
        rows.add(row);
    }

    void make_indexes() {
        std::size_t extensions = 0;
        std::size_t wildcard_extensions = 0;
        for (std::uint32_t i = 0; i < rows.size(); ++i) {
            const std::size_t count = rows[i].count_extensions();
            extensions += count;
            wildcard_extensions += rows[i].is_wildcard() ? count : 0;
        }
        by_number_.reserve(rows.size());
        by_extension_.reserve(extensions);
        by_content_.reserve(rows.size() + wildcard_extensions);
        for (std::uint32_t i = 0; i < rows.size(); ++i) {
            index_row(i);
        }
    }

  private:
    [[nodiscard]] const Row *row_or_null(std::uint32_t i) const {
        return i != RowIndex::kNone ? &rows[i] : nullptr;
    }

    [[nodiscard]] std::uint32_t find_content(std::string_view type, std::string_view subtype,
                                             std::string_view extension) const {
        return by_content_.find(rows, mim::hash_texts({type, subtype, extension}),
                                has_content(type, subtype, extension));
    }

    void index_content(std::uint32_t i, std::string_view extension) {
        const std::string_view type = rows[i].type.view();
        const std::string_view subtype = rows[i].subtype.view();
        by_content_.add(rows, i, mim::hash_texts({type, subtype, extension}),
                        has_content(type, subtype, extension));
    }

    void index_row(std::uint32_t i) {
        const Row &row = rows[i];
        if (!row.is_wildcard()) {
            by_number_.add(rows, i, hash_number(row.number), has_number(row.number));
        }
        index_content(i, {});
        for (const auto &own : row.extensions) {
            const std::string_view extension = own.view();
            if (!extension.empty()) {
                by_extension_.add(rows, i, mim::hash_texts({extension}), has_extension(extension));
                if (row.is_wildcard()) {
                    index_content(i, extension);
                }
            }
        }
    }

    RowIndex by_number_;  // of the rows without "*"
    RowIndex by_extension_;
    RowIndex by_content_;  // by type and subtype; those with "*" also with each extension
};

// Read at the first use, kept for the life of the process.
const Table &type_table() {
    static Table table;
    mim::traced<TraceClass::kMain>("mim_ListTypesFile",
                                   [] { mim::make_table<kLineCapacity>(table, kTableFile); });
    return table;
}

// ---- Numbers into names ----

void append_number(text::Writer &out, int number) {
    std::array<char, std::numeric_limits<int>::digits10 + 2> digits;  // NOLINT(*-member-init)
    const char *const begin = digits.data();
    const char *end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    std::string_view text{begin, static_cast<std::size_t>(end - begin)};
    const std::size_t padding = kNumberWidth - std::min(text.size(), kNumberWidth);
    if (number < 0) {
        out.append('-');
        text.remove_prefix(1);
    }
    out.append(std::string_view{"0000"}.substr(0, padding));
    out.append(text);
}

// Writes the content type of a number, the row's where there is one.
void append_content_type(text::Writer &out, int number, const Row *row) {
    if (row != nullptr) {
        out.append(row->type.view());
        out.append('/');
        out.append(row->subtype.view());
        return;
    }
    out.append(kUnlistedType);
    out.append('/');
    if (number == 0) {
        out.append(kOctetStream);
    } else {
        out.append(mim::kPrivatePrefix);
        append_number(out, number);
    }
}

void write_header(int number, const char *charset, char *out) {
    const Row *row = type_table().find_by_number(number);
    text::Writer header{out, MIM_TYPE_HEADER_SIZE};
    header.append(kHeaderName);
    append_content_type(header, number, row);
    if (row != nullptr && charset != nullptr && *charset != '\0') {
        header.append(kCharsetBeginning);
        header.append(mim_GetCharSetName(charset, nullptr));
    }
    header.finish();
}

// ---- Names into numbers ----

// The extension of a file, which may stand in a directory; empty when it has none.
std::string_view extension_of(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) {
        return {};
    }
    const std::string_view extension = name.substr(dot + 1);
    return extension.find_first_of("/\\") == std::string_view::npos ? extension : std::string_view{};
}

// A file name, decoded where it holds encoded words: a long one in a block of its own.
class FileName {
  public:
    explicit FileName(const char *name) : name_(name) {
        if (inet_is2047Encoded(name) == 0) {
            return;
        }
        char *decoded = decoded_.data();
        if (const std::size_t size = std::strlen(name) + 1; size > decoded_.size()) {
            long_decoded_ = mim::allocate_block<char>(size);
            decoded = long_decoded_.get();
        }
        mim_DecodeMimeCharStr(name, decoded, nullptr);
        name_ = decoded;
    }

    [[nodiscard]] std::string_view view() const {
        return name_ != nullptr ? std::string_view{name_} : std::string_view{};
    }

  private:
    const char *name_;
    std::array<char, kDecodedSize> decoded_;  // NOLINT(*-member-init): filled when it is used
    mim::Block<char> long_decoded_;
};

// The number that a private content type carries, 0 when it is none.
int private_number(std::string_view type, std::string_view subtype) {
    if (!equal_ignoring_case(type, kUnlistedType) ||
        !starts_with_ignoring_case(subtype, mim::kPrivatePrefix)) {
        return 0;
    }
    return leading_number(subtype.substr(mim::kPrivatePrefix.size()));
}

// What a Content-Type value says before its parameters; empty where it says nothing.
struct Content {
    std::string_view type;
    std::string_view subtype;
};

Content read_content(const char *value) {
    Content content;
    const char *place = value;
    if (const char *colon = value + std::strcspn(value, ":/;"); *colon == ':') {
        place = colon + 1;
    }
    content.type = kTypeTokens.take(place);
    place = value + std::strcspn(value, "/;");
    if (*place == '/') {
        content.subtype = kSubtypeTokens.take(++place);
    }
    return content;
}

int number_of_content(const char *value, const char *file_name) {
    const Table &table = type_table();
    const auto [type, subtype] = read_content(value);
    const FileName name{file_name};
    const Row *row = table.find_by_content(type, subtype, extension_of(name.view()));
    return row != nullptr ? row->number : private_number(type, subtype);
}

// Writes the server's name of the character set that a value names; the empty text when it names none.
void write_charset(const char *value, char *out) {
    *out = '\0';
    const char *place = value + std::strcspn(value, ";");
    std::string_view token;
    do {
        token = kTokens.take(place);
        if (token.empty()) {
            return;
        }
    } while (!equal_ignoring_case(token, kCharsetParameter));
    if (*place != '\0') {
        ++place;  // it need not be a delimiter of what follows
    }
    const std::string_view label = mim::kCharsetTokens.take(place);
    if (!label.empty()) {
        std::array<char, kCharsetLabelSize> name;  // NOLINT(*-member-init): filled by the next call
        text::copy_text(label, name.data(), name.size());
        text::copy_text(mim_GetCharSetName(nullptr, name.data()), out, CCS_NAME_SIZE);
    }
}

}  // namespace

void mim_FileExtToKVType(const char *file_name, int *type) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        const char *dot = file_name != nullptr ? std::strchr(file_name, '.') : nullptr;
        const Row *row = type_table().find_by_extension(dot != nullptr ? dot + 1 : "");
        *type = row != nullptr ? row->number : 0;
    });
}

void mim_KVToMimeType(int type, const char *charset, char *out) {
    mim::traced<TraceClass::kMain>(__func__, [&] { write_header(type, charset, out); });
}

void mim_MimeToKVType(const char *content_type, const char *file_name, char *charset, int *type) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        *type = number_of_content(content_type, file_name);
        if (charset != nullptr) {
            write_charset(content_type, charset);
        }
    });
}

void mim_getMimeType(int type, char *out) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        text::Writer name{out, MIM_MIME_TYPE_SIZE};
        append_content_type(name, type, type_table().find_by_number(type));
        name.finish();
    });
}

const char *mim_getFileExt(int type) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        const Row *row = type_table().find_by_number(type);
        return row != nullptr && !row->extensions.front().empty() ? row->extensions.front().c_str()
                                                                  : kDefaultExtension;
    });
}

char mim_getEncoding(int type) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        const Row *row = type_table().find_by_number(type);
        return row != nullptr ? row->encoding : kDefaultEncoding;
    });
}
