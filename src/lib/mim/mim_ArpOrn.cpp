// The conversion of an Internet address into an O/R name.
//
// The whole address goes into DDA 1, so that nothing is lost; the surname and the routing fields are what
// people and routing see of it. Each step leaves its result in the O/R name before the next begins.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "akt.h"
#include "ccs.h"
#include "cl.h"
#include "cust.h"
#include "cvc.h"
#include "frame.h"
#include "mdc.h"
#include "mim.h"
#include "rules_file.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;
using text::CharSet;

constexpr const char *kInboundRules = "~/sys/unixin.rules";
constexpr const char *kGatewayMap = "~/sys/unixmap.gw";

constexpr const char *kDdaTypeKey = "UXI_DDATYPE_ZTMEXT";
constexpr const char *kExtendedDdaType = "ZTMEXT1";
constexpr const char *kPlainDdaType = "RFC-822";
constexpr const char *kTrueInitials = "TtYy1";

constexpr const char *kDefaultCharset = "ISO8859_1";
constexpr const char *kCharsetFamily = "T61INTL";

constexpr int kMessageSet = 102;
constexpr int kDefaultSurnameMessage = 1413;
constexpr int kNoMailNodeMessage = 1423;
constexpr int kNoMailNodeSeverity = 5;
constexpr const char *kFallbackNode = "UNIX";

constexpr int kUnknownCharsetSet = 100;
constexpr int kUnknownCharsetMessage = 811;

constexpr CharSet kSurnameCharacters = text::kLetters | text::kDigits | CharSet{" '()+-/:=?.,"};
constexpr const char *kDroppedCharacters = "\"\\";
constexpr CharSet kDropped{kDroppedCharacters};
constexpr CharSet kBlank{" "};
// The control characters that separate fields or switch character sets in texts of the server, kept as they
// are.
constexpr CharSet kMeaningfulControls{"\x0E\x0F\x19\x1B\x1D"};
constexpr CharSet kBlankedControls = ~(~CharSet::range('\x01', '\x1F') | kMeaningfulControls);

// The settings of a gateway: where the routing comes from when the map has no entry.
struct Gateway {
    int node_type;
    const char *override_key;
    const char *override_charset_key;
};
constexpr Gateway kMimeGateway{CL_MIME_GATEWAY, "UAL_DEF_MIME_MN_OVERRIDE", "UAL_DEF_MIME_MN_OVERRIDE_CS"};
constexpr Gateway kTnefGateway{CL_TNEF_GATEWAY, "UAL_DEF_TNEF_MN_OVERRIDE", "UAL_DEF_TNEF_MN_OVERRIDE_CS"};

using AddressText = std::array<char, MIM_TEXT_SIZE>;

// The place of `target` in `text` outside delimiters when it is `from` or later, else -1.
int find_from(const char *text, char target, int from) {
    const int place = mim_ScanArpaStrForSpecialChar(text, target);
    return place >= from ? place : -1;
}

void move_text(char *to, const char *from) {
    std::memmove(to, from, std::strlen(from) + 1);
}

// Finds the domain of a cleaned address, which it cuts apart: a "%" host before a "!" host before the "@"
// domain.
void find_domain(AddressText &address, AddressText &domain) {
    char *copy = address.data();
    domain.front() = '\0';
    if (*copy == '@') {
        if (const int colon = find_from(copy, ':', 1); colon > 0) {
            move_text(copy, copy + colon + 1);
        }
    }
    if (const int at = find_from(copy, '@', 1); at > 0) {
        move_text(domain.data(), copy + at + 1);
        copy[at] = '\0';
    }
    for (int bang = 0; (bang = find_from(copy, '!', 1)) > 0;) {
        copy[bang] = '\0';
        move_text(domain.data(), copy);
        copy += bang + 1;
    }
    if (const int percent = find_from(copy, '%', 1); percent > 0) {
        move_text(domain.data(), copy + percent + 1);
    }
}

bool writes_extended_dda_type() {
    const char *value = nullptr;
    // An empty value counts as true: its first character, the terminator, ends the set of true initials too.
    return cust_GetCustomiseInfo(kDdaTypeKey, &value) != 0 && std::strchr(kTrueInitials, *value) != nullptr;
}

int override_routing(char *orn, nm_index *index, const char *key, const char *charset_key);

void convert_address(const char *received, char *orn, nm_index *index, unsigned flags) {
    AddressText address;  // NOLINT(*-member-init): filled by the next call
    mdc_strlcpy(address.data(), received, address.size());
    mim_RemoveQuotes(address.data());
    mim_SpaceTrimming(address.data());
    nm_InitORN(orn, index);

    AddressText domain;  // NOLINT(*-member-init): filled by the next call
    find_domain(address, domain);

    std::array<char, MIM_SURNAME_SIZE> surname{};
    mim_GetSurnameFromArpaORN(received, surname.data());
    mim_SpaceTrimming(surname.data());
    nm_PutFieldStr(orn, index, NM_SURNAME, surname.data());
    if ((flags & MIM_FLAG_COMMON_NAME) != 0) {
        nm_PutFieldStr(orn, index, NM_COMMON_NAME, surname.data());
    }

    if (mim_ArpaDomainLookup(kGatewayMap, domain.data(), orn, index, 0) == 0) {
        const Gateway &gateway = (flags & MIM_FLAG_TNEF) != 0 ? kTnefGateway : kMimeGateway;
        if (override_routing(orn, index, gateway.override_key, gateway.override_charset_key) == 0) {
            mim_SetOrgUAddress(orn, index, gateway.node_type);
        }
    }

    nm_PutFieldStr(orn, index, NM_DDA1_TYPE, writes_extended_dda_type() ? kExtendedDdaType : kPlainDdaType);
    nm_PutFieldStr(orn, index, NM_DDA1_VALUE, received);
}

// ---- Surname ----

void clean_subject(char *subject) {
    mim_RemoveQuotes(subject);
    mim_SpaceTrimming(subject);
}

// Writes the text of a catalogue message into `out`, cut to fit.
void copy_message(int number, char *out, std::size_t capacity) {
    const int length = os_MCFindMessage(number);
    const std::unique_ptr<char, mim::Release<os_MMFreeSpace>> space{
        static_cast<char *>(os_MMGetSpace(length + 1))};
    os_MCGetMessage(space.get(), length);
    mdc_strlcpy(out, space.get(), capacity);
}

void make_surname(const char *address, char *surname) {
    std::array<char, MIM_SUBJECT_SIZE> subject;  // NOLINT(*-member-init): filled by the next call
    mim::apply_rules_file(kInboundRules, address, clean_subject, subject.data());
    if (subject.front() == '\0') {
        copy_message(kDefaultSurnameMessage, subject.data(), subject.size());
    }
    mdc_strlcpy(surname, subject.data(), MIM_SURNAME_SIZE);
    for (char *c = surname; *c != '\0'; ++c) {
        *c = kSurnameCharacters.contains(*c) ? *c : '.';
    }
}

// ---- Routing fields ----

// Whether an absent field of a mail node empties the field that it is copied to.
enum class AbsentFields { kCopied, kSkipped };

// An O/R name that is only read, with its index.
struct NodeName {
    const char *orn;
    const nm_index *index;
};

void copy_fields(NodeName node, int first, int last, char *orn, nm_index *index, AbsentFields absent) {
    for (int field = first; field <= last; ++field) {
        int length = 0;
        const char *bytes = nm_GetFieldMemPtr(node.orn, node.index, field, &length);
        if (absent == AbsentFields::kCopied || bytes != nullptr || length != 0) {
            nm_PutFieldMem(orn, index, field, bytes, length);
        }
    }
}

// Copies the routing fields of a mail node, and their T.61 forms when the node has T.61 forms at all.
void copy_routing(NodeName node, const std::uint32_t *node_maps, char *orn, nm_index *index,
                  AbsentFields absent) {
    constexpr std::size_t kT61Word = NM_T61 / 32;
    copy_fields(node, NM_FIRST_ROUTING, NM_LAST_ROUTING, orn, index, absent);
    if (node_maps[kT61Word] != 0) {
        copy_fields(node, NM_FIRST_T61_ROUTING, NM_LAST_T61_ROUTING, orn, index, absent);
    }
}

using FieldMaps = std::array<std::uint32_t, NM_MAP_WORDS>;

void take_routing_of_default_node(char *orn, nm_index *index, int node_type) {
    std::array<char, CL_NODE_SIZE> node{};
    cl_ReadDefMNode(node_type, node.data());
    if (node.front() == '\0') {
        cl_ReadDefMNode(CL_MIME_GATEWAY, node.data());
    }
    if (node.front() == '\0') {
        er_LogMsg(kNoMailNodeSeverity, kMessageSet, kNoMailNodeMessage, nullptr);
        mdc_strlcpy(node.data(), kFallbackNode, node.size());
    }
    nm_index node_index;
    FieldMaps maps{};
    nm_ParseORN(node.data(), &node_index, nullptr);
    nm_GetFieldMaps(&node_index, maps.data());
    copy_routing({node.data(), &node_index}, maps.data(), orn, index, AbsentFields::kCopied);
}

using Converted = std::unique_ptr<char, mim::Release<os_free>>;

// Converts the name of a mail node into the server's own character set; a set or a text that cannot be had is
// a failure.
Converted convert_node_name(const char *name, const char *charset, const char *internal) {
    char *converted = nullptr;
    std::int32_t length = 0;
    int message_set = 0;
    int message = 0;
    int extra = 0;
    const int status = cvc_ConvertString(CVC_TEXT, 0, name, -1, charset, internal, &converted, &length,
                                         &message_set, &message, &extra);
    Converted result{converted};
    if (status != CVC_EXACT && status != CVC_REPLACED && status != CVC_CUT) {
        er_TracedEscape(message_set, message, mim::kArpOrnFile, __LINE__);
    }
    return result;
}

// Takes the routing of the mail node that is written in `name`; returns false when that is no valid O/R
// address.
bool take_routing_of_named_node(const char *name, const char *charset, char *orn, nm_index *index) {
    const ccs_charset *resolved = ccs_GetICCharset2(charset, kCharsetFamily);
    if (resolved == nullptr) {
        er_TracedEscape(kUnknownCharsetSet, kUnknownCharsetMessage, mim::kArpOrnFile, __LINE__);
    }
    const char *internal = ccs_GetInternalCharset(resolved, CCS_INTERNAL);
    ccs_descriptor descriptor{};
    ccs_GetCSDescriptor(internal, &descriptor);
    const Converted converted = convert_node_name(name, charset, internal);

    std::array<char, NM_ORN_SIZE> node;  // NOLINT(*-member-init): filled by the next call
    cl_ConvClMntoORN(converted.get(), node.data(), 1, 1, &descriptor);
    nm_index node_index;
    FieldMaps maps{};
    nm_ParseORN(node.data(), &node_index, nullptr);
    nm_GetFieldMaps(&node_index, maps.data());
    if (akt_CheckORName(node.data()) == 0 || akt_CheckFieldsPresent(maps.data()) == 0) {
        return false;
    }
    copy_routing({node.data(), &node_index}, maps.data(), orn, index, AbsentFields::kSkipped);
    return true;
}

// Takes the routing from the customisation key `key`; returns 1 when it was applied, else 0.
int override_routing(char *orn, nm_index *index, const char *key, const char *charset_key) {
    return mim::traced<TraceClass::kMain>("mim_SetOrgUAddressFromTweak", [&] {
        const char *name = nullptr;
        if (cust_GetCustomiseInfo(key, &name) == 0) {
            return 0;
        }
        const char *charset = kDefaultCharset;
        cust_GetCustomiseInfo(charset_key, &charset);
        bool applied = false;
        mim::protected_region(
            mim::kArpOrnFile, [&] { applied = take_routing_of_named_node(name, charset, orn, index); },
            [&] { applied = false; });
        return applied ? 1 : 0;
    });
}

}  // namespace

void mim_ArpaToORN2(const char *address, char *orn, nm_index *index, unsigned char flags) {
    mim::traced<TraceClass::kMain>(__func__, [&] { convert_address(address, orn, index, flags); });
}

void mim_ArpaToORN(const char *address, char *orn, nm_index *index, int tnef) {
    mim_ArpaToORN2(address, orn, index, tnef != 0 ? MIM_FLAG_TNEF : 0);
}

void mim_GetSurnameFromArpaORN(const char *address, char *surname) {
    mim::traced<TraceClass::kMain>(__func__, [&] { make_surname(address, surname); });
}

void mim_SetOrgUAddress(char *orn, nm_index *index, int node_type) {
    mim::traced<TraceClass::kMain>(__func__, [&] { take_routing_of_default_node(orn, index, node_type); });
}

void mim_RemoveQuotes(char *text) {
    mim::traced<TraceClass::kHelper>(__func__, [&] {
        // Most texts hold none of them, and stay as they are up to their limit.
        std::size_t length = std::min<std::size_t>(std::strcspn(text, kDroppedCharacters), MIM_MAX_TEXT);
        for (const char *c = text + length; *c != '\0' && length < MIM_MAX_TEXT; ++c) {
            text[length] = *c;
            length += kDropped.contains(*c) ? 0 : 1;
        }
        text[length] = '\0';
    });
}

void mim_SpaceTrimming(char *text) {
    mim::traced<TraceClass::kHelper>(__func__, [&] {
        if (text == nullptr) {
            return;
        }
        char *end = text;
        for (; *end != '\0'; ++end) {
            *end = kBlankedControls.contains(*end) ? ' ' : *end;
        }
        const std::string_view whole{text, static_cast<std::size_t>(end - text)};
        text::copy_text(text::trim(whole, kBlank), text, whole.size() + 1);
    });
}
