// Message texts: those built in, and the lines of ~/sys/messages before them.

#include "mes.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "ccs_table.h"
#include "cvc.h"
#include "failures.h"
#include "heap_text.h"
#include "home_file.h"
#include "str.h"
#include "text/writer.h"

namespace {

constexpr const char *kMessagesFile = "~/sys/messages";

struct BuiltInMessage {
    int set;
    int number;
    const char *text;
};

constexpr std::array kBuiltInMessages = std::to_array<BuiltInMessage>({
    {MES_SET_SERVER, kv::kUnknownCharset, "A character set is not known"},
    {MES_SET_SERVER, kv::kNoMemory, "Memory is exhausted"},
    {MES_SET_SERVER, kv::kShutdownAsked, "Shutdown was asked for"},
    {MES_SET_SERVER, kv::kPathTooLong, "A file name is too long"},
    {MES_SET_SERVER, kv::kReadFailed, "A file cannot be read"},
    {MES_SET_SERVER, kv::kNameTooLong, "An O/R name would be longer than 4096 bytes"},
    {MES_SET_SERVER, kv::kNoSuchField, "An O/R name has no field of that number"},
    {MES_SET_SERVER, kv::kBadNodeName, "The name of a mail node is no O/R name"},
    {MES_SET_SERVER, kv::kNoT61Form, "An attribute that has no T.61 form holds 8-bit text"},
    {MES_SET_SERVER, kv::kBadConversionMode, "A conversion was asked for in a mode that does not exist"},
    {MES_SET_SERVER, kv::kLineSkipped, "%1:%2: line skipped: %3"},
    {MES_SET_SERVER, kv::kFileUnreadable, "%1: the file cannot be opened"},
    {MES_SET_SERVER, kv::kBadAttributeName, "That is no name of a directory attribute"},
    {MES_SET_SERVER, kv::kAttributeListFull, "A list of directory attributes is full"},
    {MES_SET_SERVER, kv::kNoSuchDirectory, "There is no such directory"},
    {MES_SET_SERVER, kv::kWrongPassword, "The password of a directory is wrong"},
    {MES_SET_SERVER, kv::kBadDirectoryFile, "The file of a directory is no LDIF"},
    {MES_SET_SERVER, kv::kTooManyDirectories, "Too many directories are open"},
    {MES_SET_SERVER, kv::kNoSuchDirectoryHandle, "No directory is open under that handle"},
    {MES_SET_SERVER, kv::kDirectoryLine, "%1:%2: %3"},
    {MES_SET_SERVER, 7617, "MAIL-SYSTEM"},
    {MES_SET_SERVER, 24149, "The character set %1 is not known"},
    {MES_SET_GATEWAY, 1141, "The directory's attribute %1 gives the address %2"},
    {MES_SET_GATEWAY, 1142, "More than one entry of the directory is %1"},
    {MES_SET_GATEWAY, 1413, "Internet user"},
    {MES_SET_GATEWAY, 1419, "The file ~/sys/config cannot be opened"},
    {MES_SET_GATEWAY, 1420, "The file ~/sys/config is too short"},
    {MES_SET_GATEWAY, 1421, "The file ~/sys/config cannot be positioned"},
    {MES_SET_GATEWAY, 1423, "No default mail node is known; the routing is taken from the O/R name UNIX"},
});

struct MessageTable {
    std::map<std::pair<int, int>, std::string> texts;

    static MessageTable load();
};

// True while the file is being read: its skipped lines are logged with the built-in text.
bool loading = false;

struct Loading {
    Loading() { loading = true; }
    Loading(const Loading &) = delete;
    Loading &operator=(const Loading &) = delete;
    ~Loading() { loading = false; }
};

MessageTable MessageTable::load() {
    const Loading guard;
    MessageTable table;
    kv::for_each_line(kMessagesFile, [&table](const kv::HomeLine &line) {
        const auto [set_word, rest] = kv::split_word(line.text);
        const auto [number_word, message] = kv::split_word(rest);
        std::pair<int, int> key;
        if (!kv::parse_number(set_word, key.first) || !kv::parse_number(number_word, key.second)) {
            kv::log_skipped_line(kMessagesFile, line.number, "it does not begin with SET NUMBER");
        } else {
            table.texts.insert_or_assign(key, message);
        }
    });
    return table;
}

kv::PerHome<MessageTable> messages;

// How much of `text` goes into a buffer of `size` bytes with no character cut in two.
std::size_t length_that_fits(const char *text, int size, const ccs_descriptor &charset) {
    int length = 0;
    for (;;) {
        int next = 0;
        str_SplitByDispLen(text + length, 1, &charset, &next);
        if (next == 0 || next >= size - length) {
            return static_cast<std::size_t>(length);
        }
        length += next;
    }
}

}  // namespace

const char *mes_GetText(int set, int number) {
    if (!loading) {
        const MessageTable &table = messages.get();
        if (const auto found = table.texts.find({set, number}); found != table.texts.end()) {
            return found->second.c_str();
        }
    }
    for (const BuiltInMessage &message : kBuiltInMessages) {
        if (message.set == set && message.number == number) {
            return message.text;
        }
    }
    return nullptr;
}

int mes_GetAnyMsg2(int set, int number, char *buffer, int size, const char *charset) {
    *buffer = '\0';
    const char *message = mes_GetText(set, number);
    ccs_descriptor descriptor;
    if (message == nullptr || ccs_GetCSDescriptor(charset, &descriptor) == 0) {
        return 0;
    }
    char *converted = nullptr;
    std::int32_t length = 0;
    int error_set = 0;
    int error_number = 0;
    int first_loss = 0;
    const int status = cvc_ConvertString(CVC_TEXT, 0, message, -1, kv::kUnicodeCharset, charset, &converted,
                                         &length, &error_set, &error_number, &first_loss);
    const kv::HeapText text{converted};
    if (status == CVC_FAILED) {
        return 0;
    }
    text::copy_text({text.get(), length_that_fits(text.get(), size, descriptor)}, buffer,
                    static_cast<std::size_t>(size));
    return 1;
}
