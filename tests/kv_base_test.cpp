// The services under everything else: failures, trace and log, files, home, messages, customisation.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "cust.h"
#include "er.h"
#include "er_capture.h"
#include "ext.h"
#include "inet.h"
#include "mdc.h"
#include "mes.h"
#include "os.h"
#include "temp_home.h"

namespace {

using namespace std::string_literals;

// ---- er ----

TEST(Er, TurnsExhaustedMemoryIntoItsFailure) {
    const auto outer = failure_of([] {
        EXPECT_TRUE(is_failure(failure_of([] { throw std::bad_alloc{}; }), 100, 901));
        EXPECT_NE(er_GetLive(), 0) << "it is persistent";
    });
    EXPECT_FALSE(outer);
    EXPECT_THROW(failure_of([] { throw 42; }), int);
    EXPECT_EQ(er_GetCurrEnv(), nullptr);
}

TEST(Er, LogsOneSafeLine) {
    const TempHome home{{"messages", "102 1 a %1 and %2, 100%, %3 %\n102 2 %1\n"}};
    LogCapture log;
    er_LogMsg(5, 102, 1, "x\ny\x7F", "\xC3\xA9%1\\", nullptr);
    er_LogMsg(1, 102, 2, std::string(2000, 'x').c_str(), nullptr);
    er_LogMsg(13, 102, 9999, "no", "text", nullptr);
    er_LogInfo(1, "not yet", nullptr);
    er_SetInfoLevel(2);
    er_LogInfo(2, "a\tb", " c", nullptr);
    er_LogInfo(2, "", nullptr);
    er_LogInfo(3, "too deep", nullptr);
    er_SetInfoLevel(0);
    EXPECT_EQ(log.take(), (LogEntries{{5, "102/1: a x\\x0Ay\\x7F and \xC3\xA9%1\\, 100%, %3 %"},
                                      {1, "102/2: " + std::string(ER_LOG_SIZE - 8, 'x')},
                                      {13, "102/9999: no text %3"},
                                      {11, "a\\x09b c"}}));
}

TEST(ErDeathTest, EndsTheProcessWithOneLine) {
    EXPECT_DEATH([]() noexcept { er_TracedEscape(102, 1413, "here", 12); }(),
                 "^mim: unhandled failure 102/1413: Internet user \\(raised at here:12\\)\n$");
}

TEST(Er, AsksForShutdown) {
    const TempHome home{{"messages", "102 1 unread"}};
    LogCapture log;
    er_AskShutdown(1);
    const auto failure = failure_of([] { os_fclose(os_fopen("~/sys/messages", "r")); });
    const auto read_failure = failure_of([] { mdc_read(-1, nullptr, 1); });
    er_LogMsg(5, 102, 1, "the log goes on", nullptr);
    er_AskShutdown(0);
    EXPECT_TRUE(is_failure(failure, 100, 902) && is_failure(read_failure, 100, 902));
    EXPECT_EQ(log.take(), (LogEntries{{5, "102/1: the log goes on %2 %3"}}));
    EXPECT_FALSE(failure_of([] { os_fclose(os_fopen("~/sys/messages", "r")); }));
}

// ---- os, mdc, ext ----

// All pieces that os_fgets gives with a buffer of exactly `capacity` bytes; os_fline gives the same.
std::vector<std::string> pieces(const char *path, int capacity) {
    const std::unique_ptr<os_file, void (*)(os_file *)> file{os_fopen(path, "r"), os_fclose};
    const std::unique_ptr<char[]> buffer{new char[static_cast<std::size_t>(capacity)]};
    std::vector<std::string> found;
    while (const int length = os_fgets(buffer.get(), capacity, file.get())) {
        EXPECT_EQ(buffer[static_cast<std::size_t>(length)], '\0');
        found.emplace_back(buffer.get(), static_cast<std::size_t>(length));
    }
    const std::unique_ptr<os_file, void (*)(os_file *)> again{os_fopen(path, "r"), os_fclose};
    std::vector<std::string> lines;
    int length = 7;
    for (const int limit = std::min(capacity - 1, +OS_MAX_LINE);
         const char *line = os_fline(again.get(), limit, &length);) {
        lines.emplace_back(line, static_cast<std::size_t>(length));
        int last = 0;
        EXPECT_TRUE(os_flast(again.get(), &last) == line && last == length);
    }
    EXPECT_EQ(length, 0);
    EXPECT_EQ(os_flast(again.get(), &length), nullptr);
    EXPECT_TRUE(lines == found || capacity > OS_MAX_LINE);
    return found;
}

TEST(Os, ReadsLines) {
    const std::string long_line(200000, 'x');  // more than a stream's buffer
    const TempHome home{{"lines", "one\n\na\0b\nlast"s}, {"long", long_line + "\nz\n"}, {"empty", ""}};
    EXPECT_EQ(pieces("~/sys/lines", 80), (std::vector{"one\n"s, "\n"s, "a\0b\n"s, "last"s}));
    EXPECT_EQ(pieces("~/sys/lines", 4), (std::vector{"one"s, "\n"s, "\n"s, "a\0b"s, "\n"s, "las"s, "t"s}));
    EXPECT_EQ(pieces("~/sys/lines", 2).size(), 13U);
    EXPECT_EQ(pieces(home.path("long").c_str(), 300000), (std::vector{long_line + "\n", "z\n"s}));
    EXPECT_EQ(pieces("~/sys/long", OS_MAX_LINE + 1).size(), 200001 / OS_MAX_LINE + 2U);
    EXPECT_EQ(pieces("~/sys/long", 1000).size(), 200001 / 999 + 2U);
    EXPECT_EQ(pieces("~/sys/empty", 80), std::vector<std::string>{});
}

TEST(Os, OpensFilesOnly) {
    const TempHome home{{"f", "x"}};
    ASSERT_EQ(mkfifo(home.path("fifo").c_str(), 0600), 0);
    for (const auto &[path, mode, exists, opens] : {std::tuple{"~/sys/f", "r", true, true},
                                                    {"~/sys/f", "a", true, false},
                                                    {"~/sys", "r", true, false},
                                                    {"~/sys/none", "r", false, false},
                                                    {"~/sys/f/x", "r", false, false},
                                                    {"~/sys/fifo", "r", true, true}}) {
        EXPECT_EQ(os_fexists(path) != 0, exists) << path;
        os_file *file = os_fopen(path, mode);
        EXPECT_EQ(file != nullptr, opens) << path << " " << mode;
        os_fclose(file);
        const int descriptor = os_open(path, std::string_view{mode} == "r" ? 0 : 1);
        EXPECT_EQ(descriptor >= 0, opens) << path << " " << mode;
        mdc_close(descriptor);
    }
    EXPECT_EQ(pieces("~/sys/fifo", 80), std::vector<std::string>{}) << "nobody writes to it";
}

TEST(Os, WritesStreams) {
    const TempHome home{{"f", "old"}};
    ASSERT_EQ(mkfifo(home.path("fifo").c_str(), 0600), 0);
    for (const char *path : {"~/sys", "~/sys/none/x", "~/sys/fifo"}) {
        EXPECT_EQ(os_fopen(path, "w"), nullptr) << path;
    }
    EXPECT_EQ(os_fdopen(0, "a"), nullptr);
    std::string text;
    os_file *file = os_fopen("~/sys/f", "w");
    for (std::size_t i = 0; i < 100; ++i) {
        const std::string piece(i * 100, static_cast<char>('a' + i % 26));
        EXPECT_EQ(os_fwrite(piece.data(), 100, i, file), piece.size());
        const std::string line(i == 50 ? std::size_t{OS_MAX_LINE} : i, 'x');
        char *place = os_freserve(file, line.size());
        line.copy(place, line.size());
        std::fill_n(place + line.size(), OS_LINE_SLACK, '#');
        os_fcommit(file, line.size());
        text.append(piece).append(line);
        EXPECT_TRUE(i % 7 != 0 || os_fflush(file) == 0);
    }
    os_fclose(file);
    std::string found;
    for (const std::string &piece : pieces("~/sys/f", 1000)) {
        found += piece;
    }
    EXPECT_TRUE(found == text) << found.size() << " bytes instead of " << text.size();
    os_fclose(os_fopen("~/sys/f", "w"));
    EXPECT_EQ(pieces("~/sys/f", 80), std::vector<std::string>{});
}

TEST(Os, TellsWhatWasNotWritten) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    os_file *file = os_fdopen(full, "w");
    const std::string text(200000, 'x');
    EXPECT_EQ(os_fwrite(text.data(), 1, 100, file), 100U) << "the buffer takes it";
    EXPECT_EQ(os_fwrite(text.data(), 1, text.size(), file), 0U);
    EXPECT_EQ(os_fwrite(text.data(), 1, 1, file), 0U);
    EXPECT_EQ(os_freserve(file, 1), nullptr);
    EXPECT_EQ(os_fflush(file), -1);
    EXPECT_EQ(errno, ENOSPC);
    os_fclose(file);
    EXPECT_EQ(os_write(full, text.data(), 10), 0) << "it is still open";
    mdc_close(full);

    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);  // which takes 64 KiB
    file = os_fdopen(ends[1], "w");
    EXPECT_EQ(os_fwrite(text.data(), 1, text.size(), file), 65536U);
    er_AskShutdown(1);
    EXPECT_FALSE(failure_of([file] { os_fclose(file); })) << "it closes in silence";
    er_AskShutdown(0);
    std::vector<char> read_back(text.size());
    EXPECT_EQ(os_read(ends[0], read_back.data(), 70000), 65536);
    mdc_close(ends[0]);
    mdc_close(ends[1]);
}

TEST(Mdc, ReadsFromAnyPlace) {
    const TempHome home{{"digits", "0123456789"}};
    const int descriptor = os_open("~/sys/digits", 0);
    const auto read_at = [descriptor](std::int64_t offset, std::size_t count) {
        const std::int64_t place = mdc_lseek(descriptor, offset, MDC_SEEK_SET);
        std::string bytes(count, '#');
        const std::int64_t length = mdc_read(descriptor, bytes.data(), count);
        return std::pair{place, length < 0 ? "failed" : bytes.substr(0, static_cast<std::size_t>(length))};
    };
    using Found = std::pair<std::int64_t, std::string>;
    EXPECT_EQ(read_at(4, 3), (Found{4, "456"}));
    EXPECT_EQ(read_at(-1, 2), (Found{-1, "78"})) << "the place stays";
    EXPECT_EQ(read_at(8, 99), (Found{8, "89"}));
    EXPECT_EQ(read_at(std::int64_t{5} << 32, 1), (Found{std::int64_t{5} << 32, ""}));
    EXPECT_EQ(mdc_lseek(descriptor, 0, SEEK_END), -1) << "no such origin";
    mdc_close(descriptor);
    EXPECT_EQ(read_at(0, 1), (Found{-1, "failed"})) << "it is closed";
    mdc_close(-1);
}

// No host here makes the resolver ask the network.
TEST(Mdc, NamesHosts) {
    std::array<char, 300> out{};
    ASSERT_EQ(gethostname(out.data(), out.size()), 0);
    const std::string name = out.data();
    EXPECT_EQ(os_gethostname(out.data(), static_cast<int>(name.size())), 0);
    EXPECT_EQ(out.data(), name.substr(0, name.size() - 1));
    for (const auto &[host, size, known, want] :
         {std::tuple{"127.0.0.1", 300U, 1, "127.0.0.1"}, {"127.0.0.1", 4U, 1, "127"}, {"a..b", 300U, 0, ""}}) {
        out.fill('#');
        EXPECT_EQ(mdc_gethostbyname(host, out.data(), size), known) << host;
        EXPECT_STREQ(out.data(), want);
    }
}

TEST(Mdc, CopiesNothingWithoutCapacity) {
    char junk = '#';
    EXPECT_EQ(mdc_strlcpy(&junk, "abc", 0), 3U);
    EXPECT_EQ(junk, '#');
}

TEST(Ext, FindsTheHome) {
    const std::string longest(EXT_PATH_SIZE - 1, 'h');
    std::array<char, EXT_PATH_SIZE> name{};
    for (const auto &[directory, path, want] : {std::tuple{"/srv/m"s, "~/sys/x"s, "/srv/m/sys/x"s},
                                                {"/srv/m//", "~/", "/srv/m/"},
                                                {"/", "/etc/x", "/etc/x"},
                                                {"rel", "~x/~/y", "~x/~/y"},
                                                {longest, longest, longest},
                                                {longest, "~/x", ""},
                                                {"/a", longest + "x", ""}}) {
        ext_SetHome(directory.c_str());
        const auto failure = failure_of([&, &p = path] { ext_GetActualFName(p.c_str(), name.data()); });
        EXPECT_EQ(is_failure(failure, 100, 903), want.empty());
        EXPECT_EQ(name.data(), want);
    }
    EXPECT_TRUE(is_failure(failure_of([&] { ext_SetHome((longest + "x").c_str()); }), 100, 903));
    EXPECT_STREQ(ext_GetHome(), "/a");
    unsetenv("KV_HOME");
    ext_SetHome(nullptr);
    EXPECT_STREQ(ext_GetHome(), "/var/lib/mim");
}

// ---- mes, cust ----

TEST(Mes, TakesTheLinesOfTheHomeFirst) {
    TempHome home{{"messages", "# 102 1413 no\n 102 1413  Somebody else \r\n102 x y\n102 7\n7 8 first\n7 8 last\n" +
                                   std::string(9000, 'x') + "\n102"}};
    LogCapture log;
    for (const auto &[set, number, want] :
         {std::tuple{102, 1413, "Somebody else"}, {102, 7, ""}, {7, 8, "last"}, {100, 901, "Memory is exhausted"}}) {
        EXPECT_STREQ(mes_GetText(set, number), want) << number;
    }
    EXPECT_EQ(mes_GetText(102, 1), nullptr);
    EXPECT_EQ(log.take(), (LogEntries{skipped_line("messages:3", "it does not begin with SET NUMBER"),
                                      skipped_line("messages:7", "the line is too long"),
                                      skipped_line("messages:8", "it does not begin with SET NUMBER")}));
}

TEST(Mes, ConvertsAndCutsBetweenCharacters) {
    const TempHome home{{"messages", "102 5 Gr\xC3\xB6n \xE2\x98\x83\n"}};
    for (const auto &[number, size, charset, want] : {std::tuple{5, 99U, "ISO8859_1", "Gr\xF6n ?"},
                                                      {5, 4U, "utf8", "Gr"},
                                                      {5, 5U, "utf8", "Gr\xC3\xB6"},
                                                      {5, 9U, "ISO8859_12", nullptr},
                                                      {6, 9U, "ISO8859_1", nullptr}}) {
        const std::unique_ptr<char[]> out{new char[size]};
        EXPECT_EQ(mes_GetAnyMsg2(102, number, out.get(), static_cast<int>(size), charset) != 0, want != nullptr);
        EXPECT_STREQ(out.get(), want != nullptr ? want : "") << charset << size;
    }
}

TEST(Cust, ReadsKeysAndValues) {
    TempHome home{
        {"customise", "#T1=no\nT1 = Yes\nT2=on\nT3=1\nF1=NO\nF2=0\nN=maybe\nE=\nTWICE=a\nTWICE=b=c \nbad\n=x"}};
    LogCapture log;
    const struct {
        const char *key;
        const char *value;
        bool is_true;
        bool is_false;
    } rows[] = {{"T1", "Yes", true, false}, {"T2", "on", true, false},      {"T3", "1", true, false},
                {"F1", "NO", false, true},  {"F2", "0", false, true},       {"N", "maybe", false, false},
                {"E", "", false, false},    {"TWICE", "b=c", false, false}, {"t1", nullptr, false, false},
                {"", nullptr, false, false}};
    for (const auto &row : rows) {
        const char *value = nullptr;
        EXPECT_EQ(cust_GetCustomiseInfo(row.key, &value) != 0, row.value != nullptr) << row.key;
        EXPECT_STREQ(value, row.value) << row.key;
        EXPECT_STREQ(cust_GetString(row.key, "none", 0, 0), row.value != nullptr ? row.value : "none");
        EXPECT_EQ(cust_PresentAndTrue(row.key) != 0, row.is_true) << row.key;
        EXPECT_EQ(cust_PresentAndFalse(row.key) != 0, row.is_false) << row.key;
    }
    EXPECT_EQ(log.take(), (LogEntries{skipped_line("customise:11", "it does not have the form KEY=VALUE"),
                                      skipped_line("customise:12", "it does not have the form KEY=VALUE")}));
    EXPECT_EQ(inet_AutoIamOn(), 0);
    home.write("customise", "INET_AUTO_IAM=Yes");
    EXPECT_NE(inet_AutoIamOn(), 0);
}

}  // namespace
