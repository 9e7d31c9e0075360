// Bodies encoded: what each rule makes of a case, and everything, down to the size of each write, against an
// encoder written byte by byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "body_encode_reference.h"
#include "body_streams.h"
#include "mim.h"
#include "text/base64.h"
#include "text/line_ends.h"
#include "text/quoted_printable.h"

namespace body_encode {

std::ostream &operator<<(std::ostream &out, const Result &result) {
    return out << testing::PrintToString(result.writes) << " " << result.total << " " << result.lines;
}

}  // namespace body_encode

namespace {

using namespace body_encode;
using std::string_literals::operator""s;

Result encode(const Job &job) {
    Result result{{}, 77, 77};
    auto [in, out] = packets();
    std::vector<char> text(MIM_ENCODED_SIZE, '#');
    const Descriptor file = memory_file(job.in);
    mim_EncMimeData2(file, out, job.encoding.c_str(), job.guard, job.is_text ? job.in.c_str() : nullptr, text.data(),
                     job.header_mode, job.crlf, job.at_line_start, &result.total, &result.lines, job.fold);
    out.close();
    result.writes = packets_in(in);
    if (job.is_text) {
        EXPECT_EQ(text.at(result.total), '\0');
        result.writes.emplace_back(text.data(), result.total);
    }
    return result;
}

// ---- Tests ----

TEST(EncMimeData2, KeepsTheRules) {
    const std::string a100(100, 'a');
    const struct {
        Job job;
        std::string wanted;
        unsigned lines;
    } rows[] = {
        {{"Quoted-Printable", "a \nb\t\n.x-\n-.\n="}, "a=20\nb=09\n=2Ex-\n=2D.\n=3D", 4},
        {{"quoted-printable", "a \r\n\n\xE9", nullptr, 1}, "a =0D\r\n\r\n=E9", 2},
        {{"quoted-printable", a100}, a100.substr(28) + "=\n" + a100.substr(72), 1},
        {{"quoted-printable", a100, nullptr, 0, 0}, a100, 0},
        {{"quoted-printable", a100.substr(29) + "\xE9-"}, a100.substr(29) + "=E9=\n=2D", 1},
        {{"base64", std::string(54, 'a')},
         "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh\n",
         1},
        {{"base64", "a", nullptr, 1}, "YQ==\r\n", 1},
        {{"base64", std::string(54, '\0') + "aa"}, std::string(72, 'A') + "\nYWE=\n", 2},
        {{"7BIT", "\xC1.\n.\xAE\n", nullptr}, "A.\n...\n", 2},
        {{"8BIT", ".\n.a\r\n.", nullptr}, "..\n..a\r\n..", 2},
        {{"8BIT", ".\n.a\r\n.", nullptr, 1}, ".\r\n.a\r\n.", 2},
        {{"8BIT", "--b\n--b\n--bc\r\n--b c\n-b\n--b", "--b"}, "--b\n--b \n--bc \r\n--b c\n-b\n--b", 5},
    };
    for (const auto &row : rows) {
        const Result wanted{{row.wanted}, static_cast<unsigned>(row.wanted.size()), row.lines};
        EXPECT_EQ(encode(row.job), wanted);
    }
    for (const char *encoding : {"QUOTED-PRINTABLE", "BASE64", "7BIT"}) {
        EXPECT_EQ(encode({encoding, ""}), Result{});
        EXPECT_EQ(encode({encoding, "", nullptr, 0, 1, 0, 1, true}), Result{{""}});
    }
}

std::string random_body(std::mt19937 &random, std::size_t size) {
    const std::string sets[] = {
        "",   " \t\n\r.-=ab", "abcdefgh jklmno.pqrs -tuvwxyz,ABCDEFGH\n\xE9\xFC", "--b \n\r.\xAE\x8A\xA0",
        "a ", "?_a\n"};
    const std::string &set = sets[random() % std::size(sets)];
    std::string body;
    while (body.size() < size) {
        body += set.empty() ? static_cast<char>(random()) : set[random() % set.size()];
    }
    return body;
}

void compare_some(int count) {
    std::mt19937 random{5};
    const auto some = [&](std::size_t kinds) { return static_cast<int>(random() % kinds); };
    const char *const encodings[] = {"QUOTED-PRINTABLE", "BASE64", "7BIT", "8BIT"};
    const char *const guards[] = {nullptr, "", "--b", "."};
    const int sizes[] = {3, 30, 80, 1000, 1023, 1024, 2046, 3069, 4088, 6000};
    for (int i = 0; i < count; ++i) {
        const auto size = static_cast<std::size_t>(sizes[some(std::size(sizes))] + some(7) - 3);
        Job job{encodings[some(4)], random_body(random, size), guards[some(4)], some(2), some(2), 0, some(2),
                some(3) == 0};
        if (job.is_text) {
            std::replace(job.in.begin(), job.in.end(), '\0', 'x');
        }
        ASSERT_TRUE(encode(job) == Reference{job}.run())
            << job.encoding << job.crlf << job.fold << job.is_text << testing::PrintToString(job.in);
    }
}

TEST(EncMimeData2, EqualsThePlainEncoder) { compare_some(4000); }

TEST(EncMimeData2, ObeysTheTableOfSafeCharacters) {
    const std::string question = "?_\n";
    const std::vector<int> before(std::begin(safe_char), std::end(safe_char));
    for (const int byte : {0x3F, 0x5F}) {
        safe_char[byte] = 1;  // as in a process that has written no header word
    }
    EXPECT_EQ(encode({"QUOTED-PRINTABLE", question}).writes, std::vector{question});
    EXPECT_EQ(encode({"BASE64", question, nullptr, 0, 1, 1, 1, true}).writes, std::vector{"P18K"s});
    EXPECT_EQ(encode({"QUOTED-PRINTABLE", question}).writes, std::vector{question}) << "it was no header word";
    EXPECT_EQ(encode({"QUOTED-PRINTABLE", "a b?_ \n", nullptr, 0, 1, 1, 1, true}).writes,
              std::vector{"a_b=3F=5F=20\n"s});
    EXPECT_EQ(encode({"QUOTED-PRINTABLE", question}).writes, std::vector{"=3F=5F\n"s}) << "for good";
    compare_some(500);
    for (const auto &[byte, is_safe] : {std::pair{0x61, 0}, {0x3D, 1}, {0x0A, 1}}) {
        safe_char[byte] = is_safe;
    }
    EXPECT_EQ(encode({"QUOTED-PRINTABLE", "a=b\n"}).writes, std::vector{"=61=b\n"s});
    compare_some(500);
    std::copy(before.begin(), before.end(), safe_char);
}

std::string with_returns(std::string_view in, char previous, std::size_t room) {
    std::string out;
    for (const char c : in) {
        if (out.size() < room) {
            out += c == '\n' && previous != '\r' ? "\r\n"s : std::string{c};
            previous = c;
        }
    }
    return out;
}

// On buffers of just the size that may be touched.
TEST(Kernels, EncodeTheSameInEveryForm) {
    using namespace text;
    namespace qp = quoted_printable;
    std::mt19937 random{6};
    const qp::Codes few = qp::make_codes([](char c) { return c == '=' || c == 'a' || c == '\x7F'; });
    for (std::size_t i = 0; i < 6000; ++i) {
        const std::size_t size = i % 300;
        std::string in(size, 'a');
        for (std::size_t left = random() % 4 * (size / 3); left > 0; --left) {
            in[random() % size] = i % 2 == 0 ? static_cast<char>(random()) : "\r\n=?_ \xE9\x7F"[random() % 8];
        }
        const auto form = [&](const auto &call, std::size_t length, std::size_t slack) {
            std::vector<char> from(in.begin(), in.end());
            from.resize(size + slack);
            std::vector<char> out(length + slack);
            return std::string{out.data(), static_cast<std::size_t>(call(from.data(), out.data()) - out.data())};
        };
        const auto digits_of = [&](base64::Encode encode) {
            const auto call = [&](const char *from, char *out) {
                encode(reinterpret_cast<const unsigned char *>(from), size / 3, out);
                return out + size / 3 * 4;
            };
            return form(call, size / 3 * 4, 0);
        };
        ASSERT_EQ(digits_of(base64::encoder()), digits_of(base64::encode_plain));
        ASSERT_EQ(digits_of(has_avx2() ? base64::encode_avx2 : base64::encode_plain),
                  digits_of(base64::encode_plain));
        for (const qp::Codes *codes : {&qp::kBodyCodes, &qp::kStrictCodes, &few}) {
            const auto quoted = [&](qp::Encode encode) {
                const auto call = [&](const char *from, char *out) { return encode(*codes, {from, size}, out); };
                return form(call, size * 3, qp::kSlack);
            };
            ASSERT_EQ(quoted(qp::encoder(*codes)), quoted(qp::encode_plain)) << in;
            ASSERT_EQ(quoted(has_avx2() ? qp::encode_avx2 : qp::encode_plain), quoted(qp::encode_plain)) << in;
        }
        if (const AddReturns add_returns = return_adder(); add_returns != nullptr) {
            const char previous = i % 5 == 0 ? '\r' : '\n';
            const std::size_t room = 1 + random() % (size * 2 + 1);
            const auto call = [&](const char *from, char *out) {
                const auto [next, end, feeds] = add_returns(from, from + size, previous, out, out + room);
                EXPECT_EQ(feeds, static_cast<std::size_t>(std::count(from, next, '\n')));
                return end;
            };
            ASSERT_EQ(form(call, room + 1, kLineEndSlack), with_returns(in, previous, room)) << in;
        }
    }
}

TEST(EncMimeData2, EndsWhereItCannotWrite) {
    const Descriptor full{open("/dev/full", O_WRONLY | O_CLOEXEC)};
    for (const auto &[encoding, total] : {std::pair{"8BIT", 1016U}, {"BASE64", 1017U}, {"QUOTED-PRINTABLE", 1016U}}) {
        const Descriptor in = memory_file(std::string(5000, 'a'));
        unsigned total_out = 0;
        unsigned lines_out = 0;
        mim_EncMimeFile2(in, full, encoding, nullptr, 0, &total_out, &lines_out);
        EXPECT_EQ(total_out, total) << encoding;
        EXPECT_EQ(lseek(in, 0, SEEK_CUR), 1023) << encoding;
    }
}

}  // namespace
