// What mim check can find: a short name for each fault, how grave it is, and what it means.
#ifndef TOOL_CHECK_FAULTS_H
#define TOOL_CHECK_FAULTS_H

#include <array>
#include <cstddef>

namespace tool {

enum class Severity { kWarning, kError };

enum class Fault {
    kUnreadable,
    kLongLine,
    kZeroByte,
    kCarriageReturn,
    kSkippedLine,
    kIgnoredText,
    kDeadPattern,
    kUnreachedRule,
    kEndlessRule,
    kMissingWildcard,
    kDroppedItem,
    kDuplicateKey,
    kDeadKey,
    kUnknownKeyword,
    kMissingDollar,
    kRepeatedKeyword,
    kTooManyUnits,
    kIncompleteName,
    kNoWayBack,
    kOtherWayBack,
    kNoLabel,
    kBadDomain,
    kOddEncoding,
    kBadExtension,
    kUnusedLine,
    kUnknownCharset,
    kUnknownKey,
    kBadValue,
    kUnknownMessage,
    kUnknownNodeType,
    kMissingNode,
    kIgnoredAttribute,
    kUnreachedRoute,
    kOtherRoute,
    kShortConfig,
    kBrokenDirectory,
    kStrayFile,
    kAmbiguousEntry,
    kNoAttribute,
    kNoAddress,
};

struct FaultKind {
    Fault fault;
    const char *name;
    Severity severity;
    const char *meaning;
};

inline constexpr std::array kFaultKinds = std::to_array<FaultKind>({
    {Fault::kUnreadable, "unreadable", Severity::kError, "the file cannot be read"},
    {Fault::kLongLine, "long-line", Severity::kError,
     "a line is over the limit: its rest is read as a further line, or all of it is skipped"},
    {Fault::kZeroByte, "zero-byte", Severity::kError,
     "a line holds a byte 0: it is not read behind it, or not at all"},
    {Fault::kCarriageReturn, "carriage-return", Severity::kError,
     "a carriage return becomes part of the line's last field"},
    {Fault::kSkippedLine, "skipped-line", Severity::kError, "a line is passed over"},
    {Fault::kIgnoredText, "ignored-text", Severity::kWarning, "what follows in the line is not read"},
    {Fault::kDeadPattern, "dead-pattern", Severity::kError, "no text fits the pattern of a rule"},
    {Fault::kUnreachedRule, "unreached-rule", Severity::kWarning,
     "what would fit a rule never comes to it, because of a rule above"},
    {Fault::kEndlessRule, "endless-rule", Severity::kError,
     "a rule fits its own result: it ends at the limit"},
    {Fault::kMissingWildcard, "missing-wildcard", Severity::kWarning,
     "a replacement uses a wildcard that cannot be used"},
    {Fault::kDroppedItem, "dropped-item", Severity::kWarning, "a $ of a replacement gives nothing"},
    {Fault::kDuplicateKey, "duplicate-key", Severity::kWarning, "a key stands twice; only one line counts"},
    {Fault::kDeadKey, "dead-key", Severity::kError, "no domain, or no name, fits a key"},
    {Fault::kUnknownKeyword, "unknown-keyword", Severity::kError, "an item is passed over for its keyword"},
    {Fault::kMissingDollar, "missing-dollar", Severity::kError, "an item has no $"},
    {Fault::kRepeatedKeyword, "repeated-keyword", Severity::kWarning,
     "a keyword stands twice in a list; the last counts"},
    {Fault::kTooManyUnits, "too-many-units", Severity::kError,
     "a list has more than four units, and does nothing"},
    {Fault::kIncompleteName, "incomplete-name", Severity::kError,
     "names made from this are no O/R addresses"},
    {Fault::kNoWayBack, "no-way-back", Severity::kWarning, "the other map does not lead back"},
    {Fault::kOtherWayBack, "other-way-back", Severity::kWarning, "the other map leads to something else"},
    {Fault::kNoLabel, "no-label", Severity::kWarning,
     "an attribute has to become a label of a domain, and cannot"},
    {Fault::kBadDomain, "bad-domain", Severity::kError, "that is no domain"},
    {Fault::kOddEncoding, "odd-encoding", Severity::kWarning,
     "only the first letter of an encoding is read, and this word is none"},
    {Fault::kBadExtension, "bad-extension", Severity::kWarning, "an extension is not taken"},
    {Fault::kUnusedLine, "unused-line", Severity::kWarning, "all of a line stands in lines above it"},
    {Fault::kUnknownCharset, "unknown-charset", Severity::kWarning, "no service knows the character set"},
    {Fault::kUnknownKey, "unknown-key", Severity::kWarning, "nothing asks for the setting"},
    {Fault::kBadValue, "bad-value", Severity::kWarning, "a value does not do what it seems to"},
    {Fault::kUnknownMessage, "unknown-message", Severity::kWarning, "no message has the number"},
    {Fault::kUnknownNodeType, "unknown-node-type", Severity::kWarning, "no gateway has the type"},
    {Fault::kMissingNode, "missing-node", Severity::kWarning, "a node that mail needs is missing"},
    {Fault::kIgnoredAttribute, "ignored-attribute", Severity::kWarning, "an attribute does not count here"},
    {Fault::kUnreachedRoute, "unreached-route", Severity::kWarning, "a route above takes all its names"},
    {Fault::kOtherRoute, "other-route", Severity::kWarning, "Internet names route to another node than UNIX"},
    {Fault::kShortConfig, "short-config", Severity::kError, "the file ends before its fields"},
    {Fault::kBrokenDirectory, "broken-directory", Severity::kError, "the directory cannot be opened"},
    {Fault::kStrayFile, "stray-file", Severity::kWarning, "nothing reads the file"},
    {Fault::kAmbiguousEntry, "ambiguous-entry", Severity::kWarning,
     "every name that fits the entry fits another too"},
    {Fault::kNoAttribute, "no-attribute", Severity::kWarning, "that is no attribute of an O/R name"},
    {Fault::kNoAddress, "no-address", Severity::kWarning, "that is no Internet address"},
});

// The row of `fault`, which has its place in the table.
[[nodiscard]] constexpr const FaultKind &kind_of(Fault fault) {
    return kFaultKinds[static_cast<std::size_t>(fault)];
}

static_assert([]() {
    for (std::size_t i = 0; i < kFaultKinds.size(); ++i) {
        if (kFaultKinds[i].fault != static_cast<Fault>(i)) {
            return false;
        }
    }
    return true;
}());

}  // namespace tool

#endif
