// The conversion of an O/R name into an Internet address.
//
// An address that somebody gave (recorded in the name, in an attribute, in the directory) goes before one
// that is made up from the name. A source whose address would be longer than MIM_MAX_TEXT characters gives
// none, and the next one is asked: half an address would lead to somebody else.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "cust.h"
#include "directory_name.h"
#include "frame.h"
#include "mdc.h"
#include "mim.h"
#include "orn_field.h"
#include "orn_format.h"
#include "rules_file.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr const char *kDomainMap = "~/sys/unixmap.out";
constexpr const char *kOutboundRules = "~/sys/unixout.rules";
constexpr const char *kCommentsKey = "INET_DISPLAY_IA_COMMENTS";
constexpr const char *kHostKey = "HOSTNAME";
constexpr const char *kHostKeyNext = "UXO_FQDN";
constexpr const char *kHostKeyLast = "UAL_POP3_HOSTNAME";
constexpr std::size_t kHostSize = 64;
constexpr std::string_view kGroupMark = ":;";  // in the local part of a group without members

using AddressText = std::array<char, MIM_TEXT_SIZE>;

// The domain of addresses that have none. Read once per process.
class LocalHost {
  public:
    [[nodiscard]] static const char *name() {
        static LocalHost host;
        if (!host.is_read_) {
            host.read();
            host.is_read_ = true;
        }
        return host.name_.data();
    }

  private:
    void read() {
        const char *last = cust_GetString(kHostKeyLast, nullptr, 0, 0);
        const char *next = cust_GetString(kHostKeyNext, last, 0, 0);
        if (const char *set = cust_GetString(kHostKey, next, 0, 0); set != nullptr) {
            mdc_strlcpy(name_.data(), set, name_.size());
            return;
        }
        os_gethostname(name_.data(), static_cast<int>(name_.size()));
        std::array<char, kHostSize> official{};
        if (mdc_gethostbyname(name_.data(), official.data(), official.size()) != 0 &&
            official.front() != '\0') {
            name_ = official;
        }
    }

    bool is_read_ = false;
    std::array<char, kHostSize> name_{};
};

// Whether comments of recorded addresses are displayed at all. Read once per process.
bool are_comments_displayed() {
    static const bool is_displayed = cust_PresentAndFalse(kCommentsKey) == 0;
    return is_displayed;
}

// What is asked for, as the entry points take it.
struct Request {
    const char *orn;
    bool is_routable;
    const char *address_template;
    int mapping_on;
    std::int16_t directory;
    const char *attribute;
    bool t61;
    bool fallback;
    bool takes_recorded;  // the Internet address recorded in the name is the first source
    bool comments;

    // What holds for every conversion of the process.
    const char *local_host = nullptr;
    bool are_comments_displayed = true;
};

// Puts the text made of the parts into `out`; false, with `out` empty, when it does not fit.
template <typename... Parts>
bool compose(char *out, const Parts &...parts) {
    text::Writer writer{out, MIM_TEXT_SIZE};
    (writer.append(std::string_view{parts}), ...);
    const bool fits = writer.finish() <= MIM_MAX_TEXT;
    if (!fits) {
        *out = '\0';
    }
    return fits;
}

// ---- Template ----

// In a template "$u" stands for the formatted name and "$h" for the local host; any other "$" and the
// character after it stay, but for "$$", which is one mark.
void expand_template(const char *form, std::string_view name, std::string_view host, char *out) {
    text::Writer writer{out, MIM_TEXT_SIZE};
    bool is_marked = false;
    for (const char *c = form; *c != '\0'; ++c) {
        if (*c == '$') {
            is_marked = true;
            continue;
        }
        if (!is_marked) {
            writer.append(*c);
        } else if (*c == 'h') {
            writer.append(host);
        } else if (*c == 'u') {
            writer.append(name);
        } else {
            writer.append('$');
            writer.append(*c);
        }
        is_marked = false;
    }
    if (writer.finish() > MIM_MAX_TEXT) {
        *out = '\0';
    }
}

bool convert_by_template(const Request &request, char *out) {
    if (*request.address_template == '\0' || request.is_routable) {
        return false;
    }
    AddressText name;  // NOLINT(*-member-init): filled by the next call
    mim_FormatORN(request.orn, name.data(), 0, request.t61 ? 1 : 0);
    expand_template(request.address_template, name.data(), request.local_host, out);
    return *out != '\0';
}

// ---- Domain-defined attributes ----

// The attribute of the name, else of the name that the directory holds for it, else the directory's address.
int convert_by_attribute(const Request &request, char *out) {
    if (mim_GetDDA(request.orn, out) != 0) {
        return 1;
    }
    int result = 0;
    mim::protected_region(
        mim::kOrnArpFile,
        [&] {
            std::array<char, NM_ORN_SIZE> found;  // NOLINT(*-member-init): filled by the next call
            if (request.directory != 0 &&
                mim::find_directory_name(request.directory, request.orn, found.data()) &&
                mim_GetDDA(found.data(), out) != 0) {
                result = 1;
            }
        },
        [&] { *out = '\0'; }, mim::Disposal::kAcceptSearch);
    if (result == 0) {
        result =
            mim_GetDirArpaORN(request.orn, out, request.mapping_on, request.directory, request.attribute);
    }
    return result;
}

// ---- Domain map ----

enum class Mapped { kNo, kYes, kFinished };

// Converts by the domain map; `name` (in-out, NM_ORN_SIZE bytes) loses its routing fields when the map has
// its domain and the address fits.
Mapped convert_by_map(const Request &request, char *name, char *out, int &result) {
    AddressText domain;  // NOLINT(*-member-init): filled by the next call
    if (mim_X400DomainLookup(kDomainMap, name, domain.data()) == 0) {
        *out = '\0';
        return Mapped::kNo;
    }
    AddressText local_part;  // NOLINT(*-member-init): filled by the next calls
    if (request.is_routable) {
        nm_index index;
        nm_ParseORN(name, &index, nullptr);
        mim_FormatPersonalName(name, &index, local_part.data(), request.t61 ? 1 : 0);
        const bool has_domain = domain.front() != '\0';
        if (compose(out, local_part.data(), has_domain ? "@" : "", domain.data())) {
            result = 1;
            return Mapped::kYes;
        }
    } else {
        if (!request.fallback) {
            return Mapped::kFinished;
        }
        mim_FormatORN(name, local_part.data(), 1, request.t61 ? 1 : 0);
        if (compose(out, local_part.data(), "@", domain.data())) {
            return Mapped::kFinished;
        }
    }
    mdc_strlcpy(name, request.orn, NM_ORN_SIZE);
    return Mapped::kNo;
}

// ---- Last resorts ----

// The surname as it is stored: the text of the first field.
int convert_by_rules(const char *orn, char *out) {
    std::array<char, NM_ORN_SIZE> surname;  // NOLINT(*-member-init): filled by the next call
    const std::string_view name{orn, strnlen(orn, NM_ORN_SIZE - 1)};
    const auto *const end = std::find_if(name.begin(), name.end(),
                                         [](char c) { return c == mim::kNextField || c == mim::kNextBlock; });
    text::copy_text({name.begin(), end}, surname.data(), surname.size());
    mim_GetArpaORNFromSurname(surname.data(), out);
    return *out != '\0' ? 1 : 0;
}

// ---- All sources ----

// Asks the sources in their order; the first that gives an address decides.
int find_address(const Request &request, char *out, int *from_system_name) {
    if (request.takes_recorded) {
        const bool keep_text = request.comments && request.are_comments_displayed;
        mim_GetIA(request.orn, out, keep_text ? 1 : 0, from_system_name);
        if (*out != '\0') {
            return 0;
        }
    }
    if (convert_by_template(request, out)) {
        return 0;
    }
    int result = 0;
    if (request.is_routable) {
        result = convert_by_attribute(request, out);
        if (*out != '\0') {
            return result;
        }
    }
    std::array<char, NM_ORN_SIZE> name;  // NOLINT(*-member-init): filled by the next call
    mdc_strlcpy(name.data(), request.orn, name.size());
    if (mim_GetDirArpaORN(name.data(), out, request.mapping_on, request.directory, request.attribute) != 0) {
        result = 1;
    } else if (convert_by_map(request, name.data(), out, result) == Mapped::kFinished) {
        return result;
    }
    if (!request.fallback || *out != '\0') {
        return result;
    }
    if (request.is_routable && convert_by_rules(name.data(), out) != 0) {
        return 1;
    }
    mim_FormatORN(name.data(), out, 0, request.t61 ? 1 : 0);
    return result;
}

void remove_line_breaks(char *text) {
    char *const end =
        std::remove_if(text, text + std::strlen(text), [](char c) { return c == '\r' || c == '\n'; });
    *end = '\0';
}

// Gives an address without a domain the local host's, when that fits.
void complete_domain(const char *host, char *address) {
    std::array<char, MIM_ADDRESS_SIZE> phrase;      // NOLINT(*-member-init): filled by the next call
    std::array<char, MIM_ADDRESS_SIZE> local_part;  // NOLINT(*-member-init)
    std::array<char, MIM_ADDRESS_SIZE> domain;      // NOLINT(*-member-init)
    mim_parse_address(address, phrase.data(), nullptr, nullptr, local_part.data(), domain.data());
    if (domain.front() != '\0' ||
        std::string_view{local_part.data()}.find(kGroupMark) != std::string_view::npos) {
        return;
    }
    AddressText completed;  // NOLINT(*-member-init): filled by the next calls
    const bool fits = phrase.front() != '\0'
                          ? compose(completed.data(), phrase.data(), " <", local_part.data(), "@", host, ">")
                          : compose(completed.data(), local_part.data(), "@", host);
    if (fits) {
        text::copy_text(completed.data(), address, MIM_TEXT_SIZE);
    }
}

int convert(const Request &request, char *out) {
    int from_system_name = 0;
    const int result = find_address(request, out, &from_system_name);
    remove_line_breaks(out);
    if (*out != '\0' && !request.comments) {
        std::array<char, MIM_ADDRESS_SIZE> address;  // NOLINT(*-member-init): filled by the next call
        mim_parse_address(out, nullptr, address.data(), nullptr, nullptr, nullptr);
        text::copy_text(address.data(), out, MIM_TEXT_SIZE);
    }
    if (*out != '\0' && from_system_name == 0) {
        complete_domain(request.local_host, out);
    }
    return result;
}

int real_convert(Request request, const mim::FormatSettings &settings, char *out) {
    return mim::traced<TraceClass::kMain>("mim_RealConvORNToArpaORN", [&] {
        *out = '\0';
        request.local_host = LocalHost::name();
        mim::format_settings() = settings;
        request.are_comments_displayed = are_comments_displayed();
        return convert(request, out);
    });
}

}  // namespace

int mim_ConvORNToArpaORN(const char *orn, char *out, int routable, const char *address_template,
                         int mapping_on, int16_t directory, const char *attribute, int add_delimiter,
                         int16_t mode, int16_t style, char delimiter, int t61, int fallback) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        return real_convert({orn, routable != 0, address_template, mapping_on, directory, attribute, t61 != 0,
                             fallback != 0, false, false},
                            {mode, style, delimiter, add_delimiter != 0}, out);
    });
}

int mim_ConvORNIaToArpaORN(const char *orn, char *out, int routable, const char *address_template,
                           int mapping_on, int16_t directory, const char *attribute, int add_delimiter,
                           int16_t mode, int16_t style, char delimiter, int t61, int fallback, int comments) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        return real_convert({orn, routable != 0, address_template, mapping_on, directory, attribute, t61 != 0,
                             fallback != 0, true, comments != 0},
                            {mode, style, delimiter, add_delimiter != 0}, out);
    });
}

void mim_GetArpaORNFromSurname(const char *surname, char *out) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        std::array<char, MIM_SUBJECT_SIZE> subject;  // NOLINT(*-member-init): filled by the next call
        mim::apply_rules_file(
            kOutboundRules, surname, [](char * /*subject*/) {}, subject.data());
        compose(out, subject.data());
    });
}
