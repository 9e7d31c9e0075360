// mim-soak: millions of calls of all the library's functions in one process, one in ten with a service that
// fails or memory that is exhausted, to see that it keeps its size. Prints its figures every million calls;
// ends with 1 when the heap or the number of open descriptors has grown since the first hundred thousand.
//
// Before each count of the heap the same calls are made, so that results and converters that are kept are the
// same.

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>

#include "er.h"
#include "ext.h"
#include "mim.h"
#include "service_spy.h"
#include "work_string.h"

// ---- The heap ----

extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_memalign(std::size_t, std::size_t);
void __libc_free(void *);
}

namespace {

std::atomic<std::ptrdiff_t> heap_bytes;  // atomic, or the compiler takes it that malloc does not change it
std::atomic<int> allocations_to_fault;   // 0: none fails
bool allocation_failed;

bool fails() {
    const bool failing = allocations_to_fault > 0 && --allocations_to_fault == 0;
    allocation_failed = allocation_failed || failing;
    return failing;
}

void *count(void *block, std::ptrdiff_t sign = 1) {
    heap_bytes += block != nullptr ? sign * static_cast<std::ptrdiff_t>(malloc_usable_size(block)) : 0;
    return block;
}

}  // namespace

extern "C" {
void *malloc(std::size_t size) {
    return fails() ? nullptr : count(__libc_malloc(size));
}
void *calloc(std::size_t items, std::size_t size) {
    return fails() ? nullptr : count(__libc_calloc(items, size));
}
void *realloc(void *block, std::size_t size) {
    if (fails()) {
        return nullptr;
    }
    count(block, -1);
    return count(__libc_realloc(block, size));
}
void *aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails() ? nullptr : count(__libc_memalign(alignment, size));
}
void free(void *block) {
    __libc_free(count(block, -1));
}
}

namespace {

// ---- Input ----

std::mt19937 random_numbers{2822};

std::size_t some(std::size_t count) {
    return random_numbers() % count;
}

constexpr auto kPieces =
    std::to_array<std::string_view>({"jdoe",
                                     "@",
                                     "example.org",
                                     "John Doe ",
                                     "<j.d@host.example>",
                                     "(comment)",
                                     "\"a, b\"",
                                     ",",
                                     "<@r1,@r2:",
                                     ">",
                                     "(",
                                     "\"",
                                     "\\",
                                     "[",
                                     ".",
                                     " ",
                                     "\t",
                                     "\r\n ",
                                     "=?UTF-8?Q?=C3=A9_x?= ",
                                     "=?ISO-8859-1?B?6Q==?= ",
                                     "=?ISO-2022-JP?B?GyRCJCIbKEI=?= ",
                                     "=?x-none?Q?=FF?= ",
                                     "=?UTF-16?B?AOk=?= ",
                                     "=?UTF-7?Q?+AOk-?= ",
                                     "=?UTF-8?Q?=00",
                                     "=?",
                                     "?=",
                                     "\xC3\xA9",
                                     "\xE6\x97\xA5",
                                     "\xFF",
                                     "\x1B$B$\"\x1B(B",
                                     "\x1D",
                                     "\x17",
                                     "C$us.O$Acme",
                                     "OU$x.",
                                     "$*",
                                     "$+",
                                     "$1",
                                     "S=Smith",
                                     "/",
                                     ";",
                                     "+3D",
                                     "(a)",
                                     "(p)",
                                     "(064)",
                                     "text/plain; charset=\"utf-8\"",
                                     "a.html",
                                     "image/gif",
                                     "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
                                     "=3D",
                                     "QUJD",
                                     "begin 644 f\n",
                                     "#86)C\n",
                                     "=\n"});
constexpr auto kSets = std::to_array<const char *>(
    {"UTF-8", "IA5", "T61INTL", "ISO8859_1", "ISO8859_15", "ISO-2022-JP", "ISO2022_KR", "EUC_JP", "GB18030",
     "KOI8-R", "x-none", "NONE", "", "UTF-7", "ISO8859_1//TRANSLIT"});
constexpr auto kBodies =
    std::to_array<const char *>({"BASE64", "QUOTED-PRINTABLE", "X-UUENCODE", "8BIT", "7BIT"});
constexpr std::size_t kLongest = 3000;

template <typename List>
auto one_of(const List &list) {
    return list[some(list.size())];
}

std::string some_text() {
    const std::size_t pieces = some(8);
    std::string text;
    for (std::size_t i = 0; i < pieces; ++i) {
        text += one_of(kPieces);
    }
    if (some(100) == 0) {
        while (!text.empty() && text.size() < kLongest / 2) {
            text += text;
        }
        text.resize(std::min(text.size(), kLongest));
    }
    return text;
}

struct Name {
    std::array<char, NM_ORN_SIZE> orn;
    nm_index index;
};

// What a call is made with. All is taken before anything can fail.
struct Input {
    std::string a = some_text();
    std::string b = some_text();
    const char *set = one_of(kSets);
    const char *body = one_of(kBodies);
    int flag = static_cast<int>(some(2));
    std::int16_t small = static_cast<std::int16_t>(some(5));
    int number = static_cast<int>(random_numbers());
    Name name{};
    std::string out = std::string(16384, '\0');

    Input() {
        nm_InitORN(name.orn.data(), &name.index);
        for (const int field :
             {NM_SURNAME, NM_GIVEN_NAME, NM_OU1, NM_ORGANISATION, NM_DDA1_VALUE, NM_INTERNET_ADDRESS}) {
            nm_PutFieldStr(name.orn.data(), &name.index, field, some(3) == 0 ? b.substr(0, 300).c_str() : "");
        }
        nm_PutFieldStr(name.orn.data(), &name.index, NM_COUNTRY, "us");
        nm_PutFieldStr(name.orn.data(), &name.index, NM_DDA1_TYPE, flag != 0 ? "RFC-822" : "");
    }
};

// ---- Calls ----

int body_file = -1;  // what is encoded and decoded
int null_file = -1;

// A stream that is closed whatever fails.
class Stream {
  public:
    Stream(int file, const char *mode) : file_(os_fdopen(file, mode)) {}
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;
    ~Stream() {
        allocations_to_fault = 0;
        mim::clean_up_quietly([this] { os_fclose(file_); });
    }
    [[nodiscard]] os_file *get() { return file_; }

  private:
    os_file *file_;
};

void fill_body(const std::string &text) {
    if (ftruncate(body_file, 0) != 0 || pwrite(body_file, text.data(), text.size(), 0) < 0) {
        std::perror("memfd");
        std::exit(2);
    }
    lseek(body_file, 0, SEEK_SET);
}

template <auto kConvert, typename... Last>
void to_internet(Input &in, Last... last) {
    kConvert(in.name.orn.data(), in.out.data(), in.flag, in.small == 4 ? "$u@$h" : "", 1, 0, "167", in.flag,
             in.small, static_cast<std::int16_t>(some(5)), '/', in.flag, 1, last...);
}

using Call = void (*)(Input &);
constexpr auto kCalls = std::to_array<Call>({
    [](Input &in) {
        mim_parse_address(in.a.c_str(), in.out.data(), in.out.data() + 1024, in.out.data() + 2048,
                          in.out.data() + 3072, in.out.data() + 4096);
    },
    [](Input &in) { mim_trim_space(in.a.data()); },
    [](Input &in) { mim_trim_spacequotes(in.a.data()); },
    [](Input &in) { mim_trim_trailing_space(in.a.data()); },
    [](Input &in) {
        std::int16_t directory = 0;
        std::array<char, MIM_ATTRIBUTE_SIZE> attribute{};
        mim_ChkMappingConfig("UXO_NAME_MAPPING", in.out.data(), &directory, 0, attribute.data(), in.flag);
        mim_CloseMapDir(directory, 0);
    },
    [](Input &in) {
        int flags[2];
        std::int16_t numbers[2];
        mim_SetDelimsAndLimits(&flags[0], &flags[1], in.out.data(), in.out.data() + 1, &numbers[0],
                               &numbers[1]);
    },
    [](Input &in) {
        mim_ProcessRule(strncpy(in.out.data(), in.a.c_str(), 300), in.b.substr(0, 20).c_str(), "$1b",
                        &in.flag);
    },
    [](Input &in) {
        std::array<const char *, MIM_CAPTURES> starts{};
        std::array<int, MIM_CAPTURES> lengths{};
        mim_MatchRulePattern(in.a.c_str(), in.flag != 0 ? "$*a$*@$*" : in.b.c_str(), starts.data(),
                             lengths.data(), 0);
    },
    [](Input &in) { mim_ScanArpaStrForSpecialChar(in.a.c_str(), '@'); },
    [](Input &in) {
        mim_ArpaDomainLookup("~/sys/unixmap.gw", in.a.c_str(), in.name.orn.data(), &in.name.index, in.flag);
    },
    [](Input &in) {
        mim_ArpaDomainReplace(in.name.orn.data(), &in.name.index, in.a.data(), in.b.data(), in.flag);
    },
    [](Input &in) { mim_StrCaseCmp(in.a.c_str(), in.b.c_str()); },
    [](Input &in) {
        mim_ArpaToORN2(in.a.c_str(), in.name.orn.data(), &in.name.index,
                       static_cast<unsigned char>(in.small));
    },
    [](Input &in) { mim_ArpaToORN(in.a.c_str(), in.name.orn.data(), &in.name.index, in.flag); },
    [](Input &in) { mim_GetSurnameFromArpaORN(in.a.c_str(), in.out.data()); },
    [](Input &in) { mim_SetOrgUAddress(in.name.orn.data(), &in.name.index, in.flag != 0 ? 1 : 7); },
    [](Input &in) { mim_RemoveQuotes(in.a.data()); },
    [](Input &in) { mim_SpaceTrimming(in.a.data()); },
    [](Input &in) { mim_X400DomainLookup("~/sys/unixmap.out", in.name.orn.data(), in.out.data()); },
    [](Input &in) { mim_MatchX400Domain(in.name.orn.data(), &in.name.index, in.a.data()); },
    [](Input &in) { mim_ConvSpecialChar(in.a.c_str(), in.out.data(), in.flag); },
    [](Input &in) { mim_FormatFields(in.name.orn.data(), &in.name.index, in.small, in.out.data(), in.flag); },
    [](Input &in) { mim_FormatInitials(in.name.orn.data(), &in.name.index, in.out.data(), in.flag); },
    [](Input &in) { mim_FormatPersonalName(in.name.orn.data(), &in.name.index, in.out.data(), in.flag); },
    [](Input &in) { mim_FormatORN(in.name.orn.data(), in.out.data(), in.flag, in.flag); },
    [](Input &in) {
        mim_DoFormatPersonalName(in.name.orn.data(), &in.name.index, in.out.data(), in.small, 2, in.flag);
    },
    [](Input &in) { mim_DoFormatORN(in.name.orn.data(), in.out.data(), 1, 3, in.small, in.flag); },
    [](Input &in) { mim_GetIA(in.name.orn.data(), in.out.data(), in.flag, nullptr); },
    [](Input &in) { mim_GetDDA(in.name.orn.data(), in.out.data()); },
    [](Input &in) { mim_GetDirArpaORN(in.name.orn.data(), in.out.data(), 1, 1, "167"); },
    [](Input &in) { mim_RoutableToUnix(in.name.orn.data()); },
    [](Input &in) { mim_RoughRoutableToUnix(in.name.orn.data()); },
    [](Input &in) { to_internet<mim_ConvORNToArpaORN>(in); },
    [](Input &in) { to_internet<mim_ConvORNIaToArpaORN>(in, in.flag); },
    [](Input &in) { mim_GetArpaORNFromSurname(in.a.c_str(), in.out.data()); },
    [](Input &in) { mim_ConvORNToCertSMTP(in.name.orn.data(), in.out.data(), 0, 0, in.flag); },
    [](Input &in) { mim_ConvMsgId(in.a.data(), in.out.data()); },
    [](Input &in) {
        mim_ConvDateToArpa(static_cast<std::uint32_t>(in.number), static_cast<std::int16_t>(in.number),
                           in.out.data());
    },
    [](Input &in) { mim_IsValidArpaAddress(in.a.c_str()); },
    [](Input &in) { mim_TrimCommentSpaces(in.a.data()); },
    [](Input &in) { mim_ExtractIaFromORN(in.name.orn.data()); },
    [](Input &in) { mim_ExtractCnFromORN(in.name.orn.data()); },
    [](Input &in) {
        mim::WorkString out;
        in.b = in.set;
        in.b.resize(MIM_CHARSET_SIZE);
        mim_2047_to_string_and_cset_dstring(in.a.c_str(), out.get(), in.b.data(), in.flag);
    },
    [](Input &in) { mim_DecodeMimeCharStr(in.a.c_str(), in.out.data(), nullptr); },
    [](Input &in) { mim_ConvertMimeCharStr(in.a.c_str(), in.out.data(), in.set); },
    [](Input &in) { mim_joinRfc2047Strings(in.a.c_str(), in.b.c_str()); },
    [](Input &in) {
        mim::WorkString out;
        mim_reEncodeRfc2047String(in.a.c_str(), "QBN"[in.small % 3], in.small, out.get());
    },
    [](Input &in) { mim_equivRfc2047Strings(in.a.c_str(), in.b.c_str()); },
    [](Input &in) {
        mim_truncate_2047_string(in.a.c_str(), static_cast<std::uint32_t>(in.b.size()), in.out.data());
    },
    [](Input &in) {
        fill_body(in.a);
        Stream from{body_file, "r"};
        Stream to{null_file, "w"};
        mim_DecodeMimeFile(from.get(), to.get(), in.body, "--b", "--b--", &in.flag, &in.number, 1);
    },
    [](Input &in) {
        fill_body(in.a);
        Stream from{body_file, "r"};
        Stream to{null_file, "w"};
        mim_DecodeUUencodeFile(from.get(), to.get(), "--b", "--b--", &in.flag, &in.number);
    },
    [](Input &in) {
        unsigned total = 0;
        unsigned lines = 0;
        mim_EncMimeData2(-1, -1, in.body, "--b", in.a.c_str(), in.out.data(), in.flag, 0, 1, &total, &lines,
                         in.flag);
    },
    [](Input &in) {
        mim_EncodeMimeData(-1, -1, in.body, "--b", in.a.c_str(), in.out.data(), in.flag, 1, 1, 0);
    },
    [](Input &in) {
        unsigned total = 0;
        unsigned lines = 0;
        fill_body(in.a);
        mim_EncMimeFile2(body_file, null_file, in.body, "--b", in.flag, &total, &lines);
    },
    [](Input &in) {
        fill_body(in.a);
        mim_EncodeMimeFile(body_file, null_file, in.body, "--b", in.flag);
    },
    [](Input &in) { mim_GetEncLen(in.a.c_str(), "QBN"[in.small % 3]); },
    [](Input &in) {
        ccs_descriptor set{};
        ccs_GetCSDescriptor(in.set, &set);
        mim_EncodeFold(in.a.c_str(), static_cast<int>(in.a.size()), in.out.data(), 40 + in.small, 1, &set,
                       "QBN"[in.small % 3], 1, nullptr, 1, 1);
    },
    [](Input &in) { mim_XtextString(in.a.c_str(), in.out.data()); },
    [](Input &in) { mim_DecodeXtextString(in.a.c_str(), in.out.data()); },
    [](Input &in) { mim_GetTextEncoding("QBN"[in.small % 3], in.set); },
    [](Input &in) {
        const mim_user_pattern pattern{nullptr, in.b.c_str(), 1};
        mim_catchUser(in.a.c_str(), &pattern);
    },
    [](Input &in) { mim_GetCharSetName(in.flag != 0 ? in.set : nullptr, in.a.c_str()); },
    [](Input &in) { mim_InsertNewCSName(in.a.c_str(), in.set, in.flag); },
    [](Input &in) {
        mim_CnvStringTo1stLossless(in.a.data(), "UTF-8", in.out.data(), "US-ASCII,x-none,ISO-8859-1,KOI8-R");
    },
    [](Input &in) { mim_FileExtToKVType(in.a.c_str(), &in.flag); },
    [](Input &in) { mim_KVToMimeType(in.small, in.set, in.out.data()); },
    [](Input &in) { mim_MimeToKVType(in.a.c_str(), in.b.c_str(), in.out.data(), &in.flag); },
    [](Input &in) { mim_getMimeType(in.small, in.out.data()); },
    [](Input &in) { mim_getFileExt(in.small); },
    [](Input &in) { mim_getEncoding(in.small); },
    [](Input &in) { mim_ValidFnameChar(static_cast<char>(in.small)); },
    [](Input &in) { mim_MakeFname8dot3(in.a.c_str(), in.small); },
});

// ---- The run ----

struct Run {
    const Call *call;
    Input *in;
};

// Makes a call; `fault` 0: all its services work, else the fault-th of them or of its allocations fails.
// Returns whether one failed.
bool make(const Call &call, int fault) {
    Input in;
    Run run{&call, &in};
    allocation_failed = false;
    const bool of_memory = fault > 0 && some(3) == 0;
    if (fault > 0 && !of_memory) {
        spy::fail_call(fault, some(4) == 0 ? spy::Fault::kPersistent : spy::Fault::kRecoverable);
    }
    allocations_to_fault = of_memory ? fault : 0;
    er_Try(
        [](void *context) {
            const Run &run_it = *static_cast<Run *>(context);
            (*run_it.call)(*run_it.in);
        },
        &run);
    allocations_to_fault = 0;
    er_Clear();
    return !spy::end_fault().empty() || allocation_failed;
}

// Brings everything that the library keeps into one state.
void settle() {
    const auto kept = random_numbers;
    random_numbers.seed(1);
    for (int round = 0; round < 20; ++round) {
        for (const Call &call : kCalls) {
            make(call, 0);
        }
    }
    random_numbers = kept;
}

std::size_t open_descriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator{"/proc/self/fd"}) {
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: mim-soak HOME [CALLS]\n");
        return 2;
    }
    ext_SetHome(argv[1]);
    er_SetLogSink([](void *, int, const char *) {}, nullptr);
    body_file = memfd_create("soak", MFD_CLOEXEC);
    null_file = open("/dev/null", O_WRONLY | O_CLOEXEC);

    constexpr std::int64_t kWarm = 100'000;
    constexpr std::int64_t kStep = 1'000'000;
    constexpr std::ptrdiff_t kSlack = 16384;
    const std::int64_t calls = argc > 2 ? std::atoll(argv[2]) : 10 * kStep;
    const auto begin = std::chrono::steady_clock::now();
    std::int64_t failed = 0;
    std::ptrdiff_t warm_heap = 0;
    std::size_t warm_descriptors = 0;
    bool has_grown = false;
    settle();
    for (std::int64_t made = 1; made <= calls; ++made) {
        // A fault is put in until a tenth of all calls has met one: not every call comes to it.
        failed += make(one_of(kCalls), failed * 10 < made ? static_cast<int>(1 + some(6)) : 0) ? 1 : 0;
        if (made != kWarm && made % kStep != 0 && made != calls) {
            continue;
        }
        settle();
        const std::ptrdiff_t heap = heap_bytes;
        const std::size_t descriptors = open_descriptors();
        if (made == kWarm) {
            warm_heap = heap;
            warm_descriptors = descriptors;
        }
        has_grown =
            has_grown || (made > kWarm && (heap > warm_heap + kSlack || descriptors > warm_descriptors));
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        std::printf("%9lld calls, %8lld of them failed, heap %9td bytes, %2zu descriptors, %4.0f s%s\n",
                    static_cast<long long>(made), static_cast<long long>(failed), heap, descriptors,
                    time.count(), has_grown ? ": grown" : "");
        std::fflush(stdout);
    }
    return has_grown ? 1 : 0;
}
