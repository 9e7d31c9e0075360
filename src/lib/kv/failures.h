// The failures that the services raise and the messages that they log, all of the server's set (mes.h).
#ifndef KV_FAILURES_H
#define KV_FAILURES_H

#include "er.h"
#include "mes.h"

namespace kv {

enum Message : int {
    kUnknownCharset = 811,
    kNoMemory = 901,
    kShutdownAsked = 902,
    kPathTooLong = 903,
    kReadFailed = 904,
    kNameTooLong = 905,
    kNoSuchField = 906,
    kBadNodeName = 910,
    kNoT61Form = 911,
    kBadConversionMode = 912,
    kLineSkipped = 920,     // %1 file, %2 line number, %3 reason
    kFileUnreadable = 921,  // %1 file
    kBadAttributeName = 930,
    kAttributeListFull = 931,
    kNoSuchDirectory = 932,
    kWrongPassword = 933,
    kBadDirectoryFile = 934,
    kTooManyDirectories = 935,
    kNoSuchDirectoryHandle = 936,
    kDirectoryLine = 937,  // %1 file, %2 line number, %3 reason
};

inline constexpr int kSkippedLineSeverity = ER_SEVERITY_WARNING;
inline constexpr int kUnreadableFileSeverity = ER_SEVERITY_ERROR;

[[noreturn]] inline void raise_no_memory(const char *file, int line) {
    er_PersistentEscape(MES_SET_SERVER, kNoMemory, file, line);
}

}  // namespace kv

#endif
