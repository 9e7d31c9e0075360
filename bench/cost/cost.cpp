// mim-cost: what the library's functions cost on input that was written to hurt them.
//
// Each function takes each input of its kind in sizes that double, from 1 KiB up to the most that it takes.
// On its own the program prints the memory of each call: the peak of the heap and of the stack, in bytes.
// Under `valgrind --tool=callgrind` it has the instructions of each call dumped; bench/cost/run makes a table
// of both. A function that takes the text twice has twice as much to read.

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cust.h"
#include "dstring.h"
#include "er.h"
#include "ext.h"
#include "mim.h"

// ---- The heap ----

extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void __libc_free(void *);
}

namespace {

std::atomic<std::ptrdiff_t> heap_now;
std::atomic<std::ptrdiff_t> heap_peak;

void count_heap(std::ptrdiff_t change) {
    const std::ptrdiff_t now = heap_now += change;
    if (now > heap_peak) {
        heap_peak = now;
    }
}

std::ptrdiff_t size_of(void *block) {
    return block != nullptr ? static_cast<std::ptrdiff_t>(malloc_usable_size(block)) : 0;
}

}  // namespace

extern "C" {
void *malloc(std::size_t size) {
    void *const block = __libc_malloc(size);
    count_heap(size_of(block));
    return block;
}
void *calloc(std::size_t count, std::size_t size) {
    void *const block = __libc_calloc(count, size);
    count_heap(size_of(block));
    return block;
}
void *realloc(void *block, std::size_t size) {
    const std::ptrdiff_t before = size_of(block);
    void *const moved = __libc_realloc(block, size);
    // While it is moved both stand side by side.
    count_heap(size_of(moved));
    count_heap(-before);
    return moved;
}
void free(void *block) {
    count_heap(-size_of(block));
    __libc_free(block);
}
}

namespace {

// ---- Input ----

constexpr std::size_t kSmallest = 1024;
constexpr std::size_t kLargest = std::size_t{1024} * 1024;
constexpr std::size_t kLongestAddress = 2048;  // with which an O/R name can be made
constexpr std::size_t kLongestName = 2048;     // in a field of an O/R name
constexpr std::size_t kLongestKey = 1024;      // of a map

// A text of `size` characters, of `unit` again and again.
std::string repeat(std::string_view unit, std::size_t size) {
    std::string text;
    text.reserve(size + unit.size());
    while (text.size() < size) {
        text += unit;
    }
    text.resize(size);
    return text;
}

std::vector<std::string_view> addresses() {
    return {"(",   "<",    "\"",  "\\",   "[",     "@",      ",",        ".",
            " ",   ")(",   "a@",  "a.b ", "()",    "\"a\" ", "a!b%",     "@a,@b:c<>",
            "a+b", "\xFF", "\t(", "=?",   "<a@b>", "x@y;z:", "aaaaaaaab"};
}

std::vector<std::string_view> values() {
    return {"=?",
            "=?a?Q?",
            "=?UTF-8?Q?=C3=A9?= ",
            "=?UTF-8?B?w6k=?= ",
            "=?ISO-8859-1?Q?=E9?=\t=?UTF-8?Q?_?= ",
            "=?ISO-2022-JP?B?GyRCJCIbKEI=?= ",
            "=?x-unknown?Q?=FF?= ",
            "=?UTF-7?Q?+AOk-?= ",
            "=?UTF-8?Q?",
            "?=",
            " \r\n ",
            "\xC3\xA9",
            "\xFF",
            "a",
            "a ",
            "=?B?",
            "=?UTF-8?B?====?= "};
}

std::vector<std::string_view> bodies() {
    return {"=",    "=\n",  "\n", "\r",  "\r\n", "..\n",           ".", "=3D", "=0",   " ",       "a", "A=",
            "AAAA", "\xFF", "M",  "M\n", "`\n",  "begin 644 x\nM", "-", " \n", "a \n", "=0D=0A=", "\t"};
}

std::vector<std::string_view> keys() {
    return {"C$", "OU$a.", "$", ".", "\\", "\\.", "O$x.", "a$b.c", "C$gb.ADMD$", "@.", "$."};
}

std::vector<std::string_view> names() {
    return {"/", "a", "(", ".", " ", "@", "#", "\"", "a@b>,<", "\\", "$", "\xFF", "a-b.", "A B ", "=?"};
}

// ---- Functions ----

// A call, ready to be measured: what it needs stands.
using Call = std::function<void()>;

struct Function {
    const char *name;
    int bound;  // of instructions for each byte
    std::size_t longest;
    std::vector<std::string_view> (*inputs)();
    std::function<Call(const std::string &)> prepare;
    std::size_t texts = 1;  // how many times it takes the text
};

Function twice(Function function) {
    function.texts = 2;
    return function;
}

constexpr int kCodec = 200;
constexpr int kAddress = 500;

// A function that works on a text in place, or on a copy.
Function in_place(const char *name, void (*function)(char *)) {
    return {name, kCodec, kLargest, addresses, [function](const std::string &text) -> Call {
                return [function, copy = text]() mutable { function(copy.data()); };
            }};
}

struct Name {
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index{};
};

// An O/R name whose attributes hold `text`.
Name name_of(const std::string &text) {
    Name name;
    nm_InitORN(name.orn.data(), &name.index);
    for (const auto &[field, value] : {std::pair{int{NM_COUNTRY}, std::string{"us"}},
                                       {NM_ADMD, "mail"},
                                       {NM_ORGANISATION, "Acme"},
                                       {NM_OU1, text.substr(0, kSmallest / 2)},
                                       {NM_SURNAME, text.substr(0, text.size() / 2)},
                                       {NM_DDA1_TYPE, "RFC-822"},
                                       {NM_DDA1_VALUE, text.substr(0, text.size() / 4)}}) {
        nm_PutFieldStr(name.orn.data(), &name.index, field, value.c_str());
    }
    return name;
}

Function on_name(const char *name, void (*function)(Name &name, char *out)) {
    return {name, kAddress, kLongestName, names, [function](const std::string &text) -> Call {
                return [function, name = name_of(text)]() mutable {
                    std::array<char, MIM_TEXT_SIZE> out{};
                    function(name, out.data());
                };
            }};
}

Function on_value(std::string_view name, std::function<void(const std::string &value, char *out)> function,
                  std::size_t room = 1) {
    return {name.data(), kCodec, kLargest, values, [function, room](const std::string &text) -> Call {
                return [function, text, out = std::vector<char>(room * text.size() + 1)]() mutable {
                    function(text, out.data());
                };
            }};
}

class DynamicString {
  public:
    DynamicString() { dstring_init(&text_); }
    DynamicString(const DynamicString &) = delete;
    DynamicString &operator=(const DynamicString &) = delete;
    ~DynamicString() { dstring_free(&text_); }
    [[nodiscard]] dstring *get() { return &text_; }

  private:
    dstring text_{};
};

// A file in memory that holds `text`.
int file_with(std::string_view text) {
    const int file = memfd_create("cost", MFD_CLOEXEC);
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        std::perror("memfd");
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

Function decoder(const char *name, const char *encoding) {
    return {name, kCodec, kLargest, bodies, [encoding](const std::string &text) -> Call {
                return [encoding, text] {
                    os_file *const in = os_fdopen(file_with(text), "r");
                    os_file *const out = os_fdopen(open("/dev/null", O_WRONLY | O_CLOEXEC), "w");
                    int message_end = 0;
                    int closed = 0;
                    if (encoding != nullptr) {
                        mim_DecodeMimeFile(in, out, encoding, "--x", "--x--", &message_end, &closed, 1);
                    } else {
                        mim_DecodeUUencodeFile(in, out, "--x", "--x--", &message_end, &closed);
                    }
                    os_fclose(in);
                    os_fclose(out);
                };
            }};
}

Function encoder(const char *name, const char *encoding) {
    return {name, kCodec, kLargest, bodies, [encoding](const std::string &text) -> Call {
                return [encoding, text] {
                    const int in = file_with(text);
                    const int out = open("/dev/null", O_WRONLY | O_CLOEXEC);
                    unsigned total = 0;
                    unsigned lines = 0;
                    mim_EncMimeFile2(in, out, encoding, "--x", 1, &total, &lines);
                    close(in);
                    close(out);
                };
            }};
}

void fold(const std::string &value, const char *charset, char mode) {
    ccs_descriptor set{};
    ccs_GetCSDescriptor(charset, &set);
    std::array<char, 128> word{};
    const char *rest = value.c_str();
    for (int start = 1; rest != nullptr && *rest != '\0'; start = 0) {
        const char *const next = mim_EncodeFold(
            rest, static_cast<int>(value.size() - static_cast<std::size_t>(rest - value.c_str())),
            word.data(), 75, start, &set, mode, 1, nullptr, 1, 1);
        if (next == rest) {
            break;
        }
        rest = next;
    }
}

Function with_pattern(const char *name, const char *pattern) {
    return {name, kAddress, kLongestAddress, addresses, [pattern](const std::string &text) -> Call {
                return [pattern, text] {
                    std::array<const char *, MIM_CAPTURES> starts{};
                    std::array<int, MIM_CAPTURES> lengths{};
                    mim_MatchRulePattern(text.c_str(), pattern, starts.data(), lengths.data(), 0);
                };
            }};
}

constexpr const char *kGatewayMap = "~/sys/unixmap.gw";
constexpr const char *kDomainMap = "~/sys/unixmap.out";

// The cost of reading a map that was written to hurt.
Function reading_map(const char *name, const char *path, bool is_gateway_map) {
    return {name, kAddress, kLargest, keys, [path, is_gateway_map](const std::string &text) -> Call {
                std::array<char, EXT_PATH_SIZE> file{};
                ext_GetActualFName(path, file.data());
                std::ofstream{file.data()} << text;
                return [path, is_gateway_map, name = name_of("x")]() mutable {
                    std::array<char, MIM_TEXT_SIZE> domain{};
                    if (is_gateway_map) {
                        mim_ArpaDomainLookup(path, "a.b.example", name.orn.data(), &name.index, 0);
                    } else {
                        mim_X400DomainLookup(path, name.orn.data(), domain.data());
                    }
                };
            }};
}

int convert(const Name &name, char *out, std::int16_t mode, std::int16_t style) {
    return mim_ConvORNIaToArpaORN(name.orn.data(), out, mim_RoutableToUnix(name.orn.data()), "", 0, 0, "167",
                                  1, mode, style, '/', 1, 1, 1);
}

std::vector<Function> functions() {
    std::vector<Function> list{
        in_place("mim_parse_address",
                 [](char *text) {
                     std::array<std::array<char, MIM_ADDRESS_SIZE>, 5> parts{};
                     mim_parse_address(text, parts[0].data(), parts[1].data(), parts[2].data(),
                                       parts[3].data(), parts[4].data());
                 }),
        in_place("mim_trim_space", mim_trim_space),
        in_place("mim_trim_spacequotes", mim_trim_spacequotes),
        in_place("mim_trim_trailing_space", mim_trim_trailing_space),
        in_place("mim_RemoveQuotes", mim_RemoveQuotes),
        in_place("mim_SpaceTrimming", mim_SpaceTrimming),
        in_place("mim_TrimCommentSpaces", mim_TrimCommentSpaces),
        in_place("mim_IsValidArpaAddress", [](char *text) { mim_IsValidArpaAddress(text); }),
        in_place("mim_ScanArpaStrForSpecialChar",
                 [](char *text) { mim_ScanArpaStrForSpecialChar(text, '~'); }),
        in_place("mim_StrCaseCmp", [](char *text) { mim_StrCaseCmp(text, text); }),
        in_place("mim_catchUser",
                 [](char *text) {
                     const mim_user_pattern third{nullptr, "aaaaaaaab*@b", 3};
                     const mim_user_pattern second{&third, "a*@b", 2};
                     const mim_user_pattern first{&second, "*", 1};
                     mim_catchUser(text, &first);
                 }),
        with_pattern("mim_MatchRulePattern, 4 wildcards", "$*a$*b$*@$*x"),
        with_pattern("mim_MatchRulePattern, 10 wildcards", "$*a$*a$*a$*a$*a$*a$*a$*a$*a$+b$*c"),
        with_pattern("mim_MatchRulePattern, brackets", "$*[$*]$*<$*>$*"),
        {"mim_ProcessRule", kAddress, kLongestAddress, addresses,
         [](const std::string &text) -> Call {
             return [text] {
                 std::array<char, MIM_SUBJECT_SIZE> subject{};
                 text.copy(subject.data(), subject.size() - 1);
                 int stop = 0;
                 mim_ProcessRule(subject.data(), "$*.$+", "$1$2", &stop);
             };
         }},
        {"mim_GetSurnameFromArpaORN", kAddress, kLargest, addresses,
         [](const std::string &text) -> Call {
             return [text] {
                 std::array<char, MIM_SURNAME_SIZE> surname{};
                 mim_GetSurnameFromArpaORN(text.c_str(), surname.data());
             };
         }},
        {"mim_ArpaToORN2", kAddress, kLongestAddress, addresses,
         [](const std::string &text) -> Call {
             return [text] {
                 Name name;
                 mim_ArpaToORN2(text.c_str(), name.orn.data(), &name.index, MIM_FLAG_COMMON_NAME);
             };
         }},
        {"mim_ArpaDomainLookup, domain", kAddress, kLargest, addresses,
         [](const std::string &text) -> Call {
             return [text] {
                 Name name = name_of("x");
                 mim_ArpaDomainLookup(kGatewayMap, text.c_str(), name.orn.data(), &name.index, 1);
             };
         }},
        {"mim_ArpaDomainReplace", kAddress, kLongestKey, keys,
         [](const std::string &text) -> Call {
             return [list = text, rest = text]() mutable {
                 Name name = name_of("x");
                 mim_ArpaDomainReplace(name.orn.data(), &name.index, list.data(), rest.data(), 1);
             };
         }},
        {"mim_MatchX400Domain", kAddress, kLongestKey, keys,
         [](const std::string &text) -> Call {
             return [key = text, name = name_of("x")]() mutable {
                 mim_MatchX400Domain(name.orn.data(), &name.index, key.data());
             };
         }},
        {"mim_GetArpaORNFromSurname", kAddress, kLargest, names,
         [](const std::string &text) -> Call {
             return [text] {
                 std::array<char, MIM_TEXT_SIZE> out{};
                 mim_GetArpaORNFromSurname(text.c_str(), out.data());
             };
         }},
        on_name("mim_X400DomainLookup, name",
                [](Name &name, char *out) { mim_X400DomainLookup(kDomainMap, name.orn.data(), out); }),
        on_name("mim_FormatORN, style 1",
                [](Name &name, char *out) { mim_DoFormatORN(name.orn.data(), out, 0, 1, 1, 1); }),
        on_name("mim_FormatORN, style 2",
                [](Name &name, char *out) { mim_DoFormatORN(name.orn.data(), out, 0, 2, 2, 1); }),
        on_name("mim_FormatORN, style 3",
                [](Name &name, char *out) { mim_DoFormatORN(name.orn.data(), out, 1, 3, 3, 0); }),
        on_name("mim_FormatPersonalName",
                [](Name &name, char *out) {
                    mim_DoFormatPersonalName(name.orn.data(), &name.index, out, 3, 1, 1);
                    mim_FormatInitials(name.orn.data(), &name.index, out, 1);
                }),
        on_name("mim_GetDDA", [](Name &name, char *out) { mim_GetDDA(name.orn.data(), out); }),
        on_name("mim_RoutableToUnix", [](Name &name, char *) { mim_RoutableToUnix(name.orn.data()); }),
        on_name("mim_ConvORNIaToArpaORN", [](Name &name, char *out) { convert(name, out, 1, 1); }),
        on_name("mim_ConvORNIaToArpaORN, mode 2", [](Name &name, char *out) { convert(name, out, 2, 2); }),
        on_name("mim_ConvORNToCertSMTP",
                [](Name &name, char *out) { mim_ConvORNToCertSMTP(name.orn.data(), out, 0, 0, 0); }),
        {"mim_GetIA", kAddress, kLongestName, addresses,
         [](const std::string &text) -> Call {
             Name name = name_of("x");
             nm_PutFieldStr(name.orn.data(), &name.index, NM_INTERNET_ADDRESS, text.c_str());
             return [name] {
                 std::array<char, MIM_TEXT_SIZE> out{};
                 mim_GetIA(name.orn.data(), out.data(), 0, nullptr);
                 mim_ExtractIaFromORN(name.orn.data());
             };
         }},
        {"mim_ConvMsgId", kAddress, kLargest, names,
         [](const std::string &text) -> Call {
             return [copy = text, out = std::vector<char>(text.size() + MIM_MAX_MESSAGE_ID + 9)]() mutable {
                 mim_ConvMsgId(copy.data(), out.data());
             };
         }},
        on_value("mim_2047_to_string_and_cset_dstring",
                 [](const std::string &value, char *) {
                     DynamicString out;
                     std::array<char, MIM_CHARSET_SIZE> charset{"UTF-8"};
                     mim_2047_to_string_and_cset_dstring(value.c_str(), out.get(), charset.data(), 1);
                 }),
        on_value("the same, into the words' set",
                 [](const std::string &value, char *) {
                     DynamicString out;
                     std::array<char, MIM_CHARSET_SIZE> charset{"DECODEIT"};
                     mim_2047_to_string_and_cset_dstring(value.c_str(), out.get(), charset.data(), 0);
                 }),
        on_value(
            "mim_DecodeMimeCharStr",
            [](const std::string &value, char *out) { mim_DecodeMimeCharStr(value.c_str(), out, nullptr); }),
        on_value(
            "mim_ConvertMimeCharStr",
            [](const std::string &value, char *out) { mim_ConvertMimeCharStr(value.c_str(), out, "UTF-8"); },
            4),
        on_value(
            "mim_ConvertMimeCharStr, T61INTL",
            [](const std::string &value, char *out) {
                mim_ConvertMimeCharStr(value.c_str(), out, "T61INTL");
            },
            4),
        twice(on_value(
            "mim_joinRfc2047Strings",
            [](const std::string &value, char *) { mim_joinRfc2047Strings(value.c_str(), value.c_str()); })),
        on_value("mim_reEncodeRfc2047String",
                 [](const std::string &value, char *) {
                     DynamicString out;
                     mim_reEncodeRfc2047String(value.c_str(), 'Q', 10, out.get());
                 }),
        twice(on_value("mim_equivRfc2047Strings",
                       [](const std::string &value, char *) {
                           mim_equivRfc2047Strings(value.c_str(), (value + "x").c_str());
                       })),
        on_value("mim_truncate_2047_string",
                 [](const std::string &value, char *out) {
                     mim_truncate_2047_string(value.c_str(), static_cast<std::uint32_t>(value.size() / 2),
                                              out);
                 }),
        on_value("mim_GetEncLen",
                 [](const std::string &value, char *) { mim_GetEncLen(value.c_str(), 'Q'); }),
        twice(on_value("mim_MimeToKVType",
                       [](const std::string &value, char *) {
                           int type = 0;
                           std::array<char, CCS_NAME_SIZE> charset{};
                           mim_MimeToKVType(value.c_str(), value.c_str(), charset.data(), &type);
                       })),
        twice(on_value(
            "mim_InsertNewCSName",
            [](const std::string &value, char *) { mim_InsertNewCSName(value.c_str(), value.c_str(), 1); })),
        on_value("mim_CnvStringTo1stLossless",
                 [](const std::string &value, char *) {
                     std::string copy = value;
                     std::array<char, CCS_NAME_SIZE> chosen{};
                     mim_CnvStringTo1stLossless(copy.data(), "UTF-8", chosen.data(), "US-ASCII,ISO-8859-1");
                 }),
        on_value("mim_FileExtToKVType",
                 [](const std::string &value, char *) {
                     int type = 0;
                     mim_FileExtToKVType(value.c_str(), &type);
                 }),
        on_value("mim_MakeFname8dot3",
                 [](const std::string &value, char *) { mim_MakeFname8dot3(value.c_str(), 0); }),
        on_value(
            "mim_XtextString",
            [](const std::string &value, char *out) {
                *out = '\0';
                mim_XtextString(value.c_str(), out);
            },
            3),
        on_value("mim_DecodeXtextString",
                 [](const std::string &value, char *out) { mim_DecodeXtextString(value.c_str(), out); }),
        decoder("mim_DecodeMimeFile, base64", "BASE64"),
        decoder("mim_DecodeMimeFile, quoted-printable", "QUOTED-PRINTABLE"),
        decoder("mim_DecodeMimeFile, x-uuencode", "X-UUENCODE"),
        decoder("mim_DecodeMimeFile, 8bit", "8BIT"),
        decoder("mim_DecodeUUencodeFile", nullptr),
        encoder("mim_EncMimeFile2, base64", "BASE64"),
        encoder("mim_EncMimeFile2, quoted-printable", "QUOTED-PRINTABLE"),
        encoder("mim_EncMimeFile2, 7bit", "7BIT"),
        encoder("mim_EncMimeFile2, 8bit", "8BIT"),
        // Last, for they leave maps behind that were written to hurt.
        reading_map("mim_ArpaDomainLookup, map", kGatewayMap, true),
        reading_map("mim_X400DomainLookup, map", kDomainMap, false),
    };
    for (const char *charset : {"UTF-8", "ISO-8859-1", "ISO-2022-JP", "ISO-2022-KR", "T61INTL", "GB18030"}) {
        for (const char mode : {'B', 'Q'}) {
            static std::vector<std::string> labels = [] {
                std::vector<std::string> room;
                room.reserve(32);
                return room;
            }();
            labels.push_back(std::string{"mim_EncodeFold, "} + mode + ", " + charset);
            list.insert(list.end() - 2,
                        on_value(labels.back(), [charset, mode](const std::string &value, char *) {
                            fold(value, charset, mode);
                        }));
        }
    }
    return list;
}

// ---- Measuring ----

constexpr std::size_t kStack = std::size_t{1024} * 1024;
constexpr unsigned char kPaint = 0xA5;

struct OnStack {
    const Call *call;
    bool failed;
};

void *run_on_stack(void *context) {
    auto *const run = static_cast<OnStack *>(context);
    run->failed = er_Try([](void *call) { (*static_cast<const Call *>(call))(); },
                         const_cast<Call *>(run->call)) != 0;  // NOLINT(*-const-cast)
    er_Clear();
    return nullptr;
}

// The most bytes of stack that `call` uses, its thread's own ones included.
std::size_t stack_of(const Call &call) {
    void *const stack =
        mmap(nullptr, kStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    std::memset(stack, kPaint, kStack);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, kStack);
    OnStack run{&call, false};
    pthread_t thread{};
    pthread_create(&thread, &attributes, run_on_stack, &run);
    pthread_join(thread, nullptr);
    const auto *const bytes = static_cast<const unsigned char *>(stack);
    const auto *const used =
        std::find_if(bytes, bytes + kStack, [](unsigned char byte) { return byte != kPaint; });
    const std::size_t depth = static_cast<std::size_t>(bytes + kStack - used);
    munmap(stack, kStack);
    return depth;
}

// What a thread's stack holds before the first call.
std::size_t empty_stack() {
    static const std::size_t depth = stack_of([] {});
    return depth;
}

void measure_instructions(const Call &call, const std::string &label) {
    OnStack run{&call, false};
    CALLGRIND_ZERO_STATS;
    run_on_stack(&run);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

void measure_memory(const Call &call, const std::string &label) {
    heap_peak = heap_now.load();
    const std::ptrdiff_t before = heap_now;
    OnStack run{&call, false};
    run_on_stack(&run);
    const std::ptrdiff_t heap = heap_peak - before;
    std::printf("%s\t%td\t%zu\n", label.c_str(), heap, stack_of(call) - empty_stack());
}

std::string shown(std::string_view unit) {
    std::string text;
    for (const char c : unit) {
        std::array<char, 5> code{};
        std::snprintf(code.data(), code.size(), c > ' ' && c < '\x7F' ? "%c" : "\\x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += code.data();
    }
    return text;
}

// Which calls are measured.
struct Choice {
    std::size_t from = kSmallest;  // sizes
    std::size_t to = kLargest;
    std::vector<std::string> calls{""};  // beginnings of labels

    [[nodiscard]] bool has(const std::string &label) const {
        return std::ranges::any_of(calls, [&](const std::string &call) { return label.starts_with(call); });
    }
};

void measure(const Function &function, const Choice &choice) {
    for (const std::string_view unit : function.inputs()) {
        const std::string name = std::string{function.name} + "\t" + shown(unit) + "\t";
        if (!choice.has(name)) {
            continue;
        }
        function.prepare(repeat(unit, kSmallest))();  // what is read once per process is not counted
        for (std::size_t size = choice.from; size <= std::min(function.longest, choice.to); size *= 2) {
            const Call call = function.prepare(repeat(unit, size));
            const std::string label =
                name + std::to_string(size * function.texts) + "\t" + std::to_string(function.bound);
            if (RUNNING_ON_VALGRIND != 0) {
                measure_instructions(call, label);
            } else {
                measure_memory(call, label);
            }
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2 && argc != 5) {
        std::fprintf(
            stderr,
            "usage: mim-cost HOME [FROM TO CALLS]\n"
            "HOME: a copy of a home, which is written to\n"
            "FROM, TO: the smallest and the largest input; powers of two, from %zu to %zu\n"
            "CALLS: a file with a line for each choice, FUNCTION<tab>INPUT<tab> or a beginning of it\n",
            kSmallest, kLargest);
        return 2;
    }
    Choice choice;
    if (argc == 5) {
        choice = {std::stoul(argv[2]), std::stoul(argv[3]), {}};
        std::ifstream file{argv[4]};
        for (std::string line; std::getline(file, line);) {
            choice.calls.push_back(line);
        }
    }
    ext_SetHome(argv[1]);
    er_SetLogSink([](void *, int, const char *) {}, nullptr);
    for (const Function &function : functions()) {
        measure(function, choice);
    }
    return 0;
}
