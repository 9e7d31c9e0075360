// Bodies decoded: the cases that the line rules make, everything against a decoder written byte by byte, and
// streams that fail.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "body_decode_reference.h"
#include "body_streams.h"
#include "er_capture.h"
#include "fault_matrix.h"
#include "frame.h"
#include "mim.h"
#include "os.h"
#include "text/base64.h"
#include "text/quoted_printable_decode.h"
#include "text/uuencode.h"

namespace body_decode {

std::ostream &operator<<(std::ostream &out, const Part &part) {
    return out << part.encoding << " " << testing::PrintToString(part.in);
}
std::ostream &operator<<(std::ostream &out, const Result &result) {
    return out << testing::PrintToString(result.out) << " " << result.message_end << result.closing_seen;
}

}  // namespace body_decode

namespace {

using namespace body_decode;
using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;

// Closes a stream, which may be made to fail.
struct Close {
    void operator()(os_file *file) const {
        failure_of([file] { os_fclose(file); });
    }
};
using Stream = std::unique_ptr<os_file, Close>;

// Decodes from one descriptor to another.
Result decode(const Part &part, int from, int to) {
    Result result{{}, 7, 7};
    const Stream in{os_fdopen(from, "r")};
    const Stream out{os_fdopen(to, "w")};
    mim_DecodeMimeFile(in.get(), out.get(), part.encoding.c_str(), part.boundary, part.closing, &result.message_end,
                       &result.closing_seen, part.crlf);
    return result;
}

Result decode_from(const Part &part, int from) {
    const Descriptor file = memory_file();
    Result result = decode(part, from, file);
    result.out = content_of(file);
    return result;
}

Result decode(const Part &part) { return decode_from(part, memory_file(part.in)); }

// The same with reads that bring `cut` bytes.
Result decode_cut(const Part &part, std::size_t cut) {
    auto [in, out] = packets();
    for (std::size_t i = 0; i < part.in.size(); i += cut) {
        const std::string_view piece = std::string_view{part.in}.substr(i, cut);
        EXPECT_EQ(send(out, piece.data(), piece.size(), MSG_DONTWAIT), static_cast<ssize_t>(piece.size()));
    }
    out.close();
    return decode_from(part, in);
}

// ---- Tests ----

std::string repeat(std::size_t count, std::string_view text) {
    std::string all;
    for (; count > 0; --count) {
        all += text;
    }
    return all;
}

std::vector<std::string> split(std::string_view list) {
    std::istringstream in{std::string{list}};
    std::vector<std::string> items;
    for (std::string item; std::getline(in, item, ',');) {
        items.push_back(item);
    }
    return items;
}

const std::string kLong(1022, 'a');

TEST(DecodeMimeFile, KeepsTheLineRules) {
    const struct {
        Part part;
        Result wanted;
    } rows[] = {
        {{"Quoted-Printable", "a=3Db=3d=zz=4\n==41=\t \n=E9="}, {"a=b==zz=4\n=A\xE9"}},
        {{"QUOTED-PRINTABLE", "abc= \t\r\nd= =\ne \t\n.\n"}, {"abcd= e\n", 1}},
        {{"QUOTED-PRINTABLE", "a\nb\n.\n", 1}, {"a\r\nb\r\n", 1}},
        {{"QUOTED-PRINTABLE", "a\nb\n--b\n", 1}, {"a\r\nb"}},
        {{"QUOTED-PRINTABLE", "a=\n.\n", 1}, {"a", 1}},
        {{"quoted-printable", kLong + "=41\n"}, {kLong + "41"}},
        {{"quoted-printable", "=\0=4\0=00\n"s}, {"=\0=4\0\0"s}},
        {{"8BIT", "a\r\r\nb\rc\n.\n", 1}, {"a\nb\rc\n", 1}},
        {{"7BIT", "..\n..x\n...\n.x\n. \n.\r\nmore"}, {".\n.x\n..\n.x\n. \n", 1}},
        {{"7BIT", "a\n."}, {"a\n", 1}},
        {{"7BIT", "a\n.\r"}, {"a\n.\r"}},
        {{"7BIT", kLong + "a.\n.\n"}, {kLong + "a\n.\n", 1}},
        {{"7BIT", kLong + "a..\n"}, {kLong + "a\n."}},
        {{"7BIT", kLong + "\r\nb"}, {kLong + "\r\n\nb"}},
        {{"7BIT", kLong + "\nb"}, {kLong + "\nb"}},
        {{"7BIT", std::string(1500, 'x')}, {std::string(1023, 'x') + "\n" + std::string(477, 'x')}},
        {{"7BIT", kLong + "a--b--\n"}, {kLong + "a", 0, 1}},
        {{"7BIT", "a\n--b \n--b\nc"}, {"a\n--b "}},
        {{"7BIT", "..b\nc", 0, "..b"}, {""}},
        {{"7BIT", "a\n\n--b\n", 0, nullptr, ""}, {"a\n\n--b"}},
        {{"7BIT", "\0a\n--b\0\n.\0\n"s}, {"\0a\n--b\0\n.\0"s}},
        {{"base64", "QUJD\r\nREVG\n.\n"}, {"ABCDEF", 1}},
        {{"base64", "QUI=\nQUJD\n--b--\n"}, {"AB", 0, 1}},
        {{"base64", "QUJ\nDREVG\nR\n\n0g=\nQUJD\n.\n"}, {"ABCDEFGH", 1}},
        {{"base64", "QUI\n--b\nQ"}, {"AB"}},
        {{"base64", "QQ=QUJDQU-QUJDQ UJDQUI=JD\0QU"s}, {"AABCAABCP\x90\xD0P$A"}},
        {{"base64", repeat(255, "QUJD") + "QUI\nQUJDQ\nA\nQUJD\n"}, {repeat(255, "ABC") + "AB\0ABC"s}},
        {{"x-UUencode", "x\nbegin 644 f\n#86)C\n`\nend\nbegin\n#86)C\n.\n"}, {"abc", 1}},
        {{"X-UUENCODE", "end\nbegin\n#86)C\n--b--\n"}, {"", 0, 1}},
        {{"X-UUENCODE", "begin\n#86\n.\n"}, {""}},
        {{"X-UUENCODE", "begin\n\n.\n"}, {""}},
        {{"X-UUENCODE", "begin\n#86)\n#86)C\n"}, {"ab@abc"}},
        {{"X-UUENCODE", "begin\n...86)C86)C86)C86)C86)C\n.\n"}, {"abcabcabcabcab", 1}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(decode(row.part), row.wanted) << row.part;
        for (std::size_t cut = row.part.in.size() / 100 + 1; cut < 40; ++cut) {
            EXPECT_EQ(decode_cut(row.part, cut), row.wanted) << row.part << " in pieces of " << cut;
        }
    }
}

constexpr const char *kEncodings[] = {"quoted-printable", "base64", "x-uuencode", "7bit"};

TEST(DecodeMimeFile, EqualsThePlainDecoder) {
    std::mt19937 random{1};
    const auto some = [&](std::size_t count) { return random() % count; };
    const auto pieces = split(
        "=,=3D,=e9,=4, ,\t,.,..,x,\r,QQ,+/,QUJD,M,\n,\r\n,==\n,\n..,  =\n,\0,\xFF,"
        "--b\n,\n.\n,\n--b--\n,\nend\n,\nbegin 6 f\n,#86)C\n"sv);
    for (int i = 0; i < 1500; ++i) {
        Part part{kEncodings[some(4)], some(3) == 0 ? "" : "begin\n", static_cast<int>(some(2))};
        // A line that goes past the end of the input's buffer.
        if (some(8) == 0) {
            part.in += repeat(64, std::string(1000, 'M') + "\n") + std::string(some(1500), '8') + "\n";
        }
        const std::size_t kinds = pieces.size() - (some(2) == 0 ? 0 : 6);  // the last ones end soon
        for (std::size_t left = some(60); left > 0; --left) {
            part.in += some(20) == 0  ? std::string(1000 + some(40), "Q=\0."[some(4)])
                       : some(3) == 0 ? repeat(some(30), pieces[some(kinds)])
                                      : pieces[some(kinds)];
        }
        const Result wanted = Reference{part}.run();
        ASSERT_EQ(decode(part), wanted) << part;
        const std::size_t cut = std::max(part.in.size() / 100 + 1 + some(2000), part.in.size() / 30000 * 30000);
        ASSERT_EQ(decode_cut(part, cut), wanted) << part;
        const TraceCapture trace{10};
        ASSERT_EQ(decode(part), wanted) << "traced " << part;
    }
    for (const char *encoding : kEncodings) {
        for (const std::string &unit : {"="s, "\0"s, "A"s, "\r"s, "\n"s, ".\r"s, "=\n"s, "Q\n"s, " "s, "=4"s}) {
            const Part part{encoding, "begin\n" + repeat(200000 / unit.size(), unit)};
            EXPECT_TRUE(decode(part) == Reference{part}.run()) << encoding << " " << testing::PrintToString(unit);
        }
    }
}

// Every text of up to six characters of padding, and each count before lines of up to a hundred characters.
TEST(DecodeMimeFile, DecodesAnyPaddingAndCount) {
    for (const char *encoding : {"base64", "quoted-printable"}) {
        for (std::size_t n = 0; n < 1 + 5 + 25 + 125 + 625 + 3125 + 15625; ++n) {
            Part part{encoding, ""};
            for (std::size_t rest = n; rest > 0; rest = (rest - 1) / 5) {
                part.in += "A= \n\xFF"[(rest - 1) % 5];
            }
            ASSERT_EQ(decode(part), Reference{part}.run()) << part;
        }
    }
    for (std::string line = "\n#86)C\n`\nend\n"; line.size() < 114;
         line.insert(0, 1, "!8 6)\xFF`C"[line.size() % 8])) {
        for (int count = 0; count < 256; ++count) {
            const Part part{"x-uuencode", "begin 644 f\n" + (static_cast<char>(count) + line)};
            ASSERT_EQ(decode(part), Reference{part}.run()) << part;
        }
    }
}

std::string encoded(std::string_view body, const char *encoding, int crlf) {
    const Descriptor file = memory_file();
    mim_EncodeMimeFile(memory_file(body), file, encoding, "--b", crlf);
    return content_of(file);
}

// A blank that ends the body, or a tab before a line end, may be lost in quoted-printable.
TEST(DecodeMimeFile, GivesBackWhatWasEncoded) {
    std::mt19937 random{2};
    for (const int base : {0, 54, 1016, 1023, 1024, 2046, 4096, 65536, 200000}) {
        for (int size = std::max(base - 3, 0); size < base + 4; ++size) {
            std::string body;
            for (int i = 0; i < size; ++i) {
                const auto c = static_cast<char>(i % 90 == 89 ? '\n' : random() % (i % 7 == 0 ? 256 : 40));
                const bool loses = c == '\n' && body.find_last_of(" \t\r") == body.size() - 1;
                body += loses || i == size - 1 ? '.' : c;
            }
            for (const auto &[encoding, crlf] :
                 {std::pair{"QUOTED-PRINTABLE", size % 2}, {"BASE64", size % 2}, {"8BIT", 0}}) {
                const Part part{encoding, encoded(body, encoding, crlf) + "\n--b\n"};
                ASSERT_TRUE(decode(part) == Result{body}) << encoding << " " << size;
            }
        }
    }
}

TEST(DecodeMimeFile, AGuardedBodyHoldsNoBoundary) {
    std::mt19937 random{3};
    const char *const lines[] = {"--b", "--b--", "--bc", "--b c", "--", "", ".", "..", "x", "--b\r"};
    for (int i = 0; i < 500; ++i) {
        std::string body = "first\n";
        for (std::size_t left = random() % 300; left > 0; --left) {
            body += lines[random() % std::size(lines)] + "\n"s;
        }
        Result got = decode({"8BIT", encoded(body, "8BIT", 0) + ".\n"});
        for (std::string *text : {&got.out, &body}) {
            std::erase_if(*text, [](char c) { return c == ' ' || c == '\r'; });
        }
        ASSERT_EQ(got, (Result{body, 1, 0}));
    }
}

// What `decode` makes of `text`, on buffers of just the size that it may touch. It returns the length.
template <typename Decode>
std::string form(Decode decode, std::string text, std::size_t out_size, std::size_t slack) {
    text.resize(text.size() + slack, '0');
    text.shrink_to_fit();
    std::vector<char> out(out_size + slack);
    return {out.data(), static_cast<std::size_t>(decode(text.data(), out.data()))};
}

TEST(Kernels, GiveTheSameInEveryForm) {
    using namespace text;
    std::mt19937 random{4};
    const std::string_view digits = "AZaz09+/=4FfGg\0@-"sv;
    for (std::size_t i = 0; i < 20000; ++i) {
        std::string in(i % 200, 'Q');
        for (std::size_t left = random() % 8 * (in.size() / 10); left > 0; --left) {
            in[random() % in.size()] = digits[random() % digits.size()];
        }
        const auto unquoted = [&in](quoted_printable::Decode decode) {
            const auto call = [&](char *from, char *to) { return decode({from, in.size()}, to) - to; };
            return form(call, in, in.size(), quoted_printable::kDecodeSlack);
        };
        const std::string wanted = unquoted(quoted_printable::decode_plain);
        ASSERT_EQ(unquoted(has_avx2() ? quoted_printable::decode_avx2 : quoted_printable::decode_plain), wanted)
            << in;
        ASSERT_EQ(unquoted(quoted_printable::decoder()), wanted) << in;
        const auto digits_of = [&in](base64::Decode decode) {
            const auto call = [&](char *from, char *to) {
                return decode(from, in.size(), reinterpret_cast<unsigned char *>(to)) / 4 * 3;
            };
            return form(call, in, in.size() / 4 * 3, base64::kSlack);
        };
        ASSERT_EQ(digits_of(base64::decoder()), digits_of(base64::decode_plain)) << in;
        ASSERT_EQ(digits_of(has_avx2() ? base64::decode_avx2 : base64::decode_plain),
                  digits_of(base64::decode_plain));
        const std::size_t count = std::min(in.size() / 4 * 3, uuencode::kMaxCount);
        const auto uudecoded = [&](uuencode::Decode decode) {
            const auto call = [&](char *from, char *to) {
                decode(from, count, reinterpret_cast<unsigned char *>(to));
                return count;
            };
            return form(call, in, count, uuencode::kSlack);
        };
        ASSERT_EQ(uudecoded(uuencode::decoder()), uudecoded(uuencode::decode_plain)) << in;
    }
}

TEST(DecodeMimeFile, AnnouncesItsSteps) {
    const auto events_of = [](const Part &part, int level) {
        const TraceCapture trace{level};
        decode(part);
        std::string events;
        for (const std::string &event : trace.events) {
            events += event + ";";
        }
        return events;
    };
    const auto inside = [](const std::string &name, const std::string &events) {
        return "> mim_" + name + ";" + events + "< mim_" + name + ";";
    };
    const std::string read = inside("get_next_line 21", "");
    const std::string word = inside("DecodeMimeCharWord 19", repeat(4, inside("DecodeMimeBase64Char 19", "")));
    EXPECT_EQ(events_of({"BASE64", "QUI=\n"}, 9), inside("DecodeMimeFile 17", ""));
    EXPECT_EQ(events_of({"BASE64", "QUI=\n"}, 10), inside("DecodeMimeFile 17", read + read + word));
    EXPECT_EQ(events_of({"8BIT", "a\n.\n"}, 10), inside("DecodeMimeFile 17", read + read));
    EXPECT_EQ(events_of({"X-UUENCODE", "begin\n#86)C\n"}, 9),
              inside("DecodeMimeFile 17", inside("DecodeUUencodeFile 17", inside("DecodeUUEncodedLine 17", ""))));
}

TEST(DecodeMimeFile, TakesStreamsThatFail) {
    const std::string in = "begin\n" + repeat(80000, "#86)C\n") + ".\n";
    const Descriptor full{open("/dev/full", O_WRONLY | O_CLOEXEC)};
    for (const char *encoding : kEncodings) {
        const int stops = decode({encoding, in}, memory_file(in), full).message_end;
        EXPECT_EQ(stops, encoding == "x-uuencode"sv ? 1 : 0) << encoding;
        const Descriptor out = memory_file();
        EXPECT_TRUE(is_failure(failure_of([&] { decode({encoding, {}}, full, out); }), 100, 904));
        for (const auto fault : {spy::Fault::kRecoverable, spy::Fault::kPersistent}) {
            const auto call = [&] { return decode({encoding, in.substr(0, 30)}).out; };
            EXPECT_GE(
                fail_every_call(encoding, fault, [&] { return mim::traced<mim::TraceClass::kMain>("call", call); }),
                9);
        }
    }
    // What was decoded before a failure is written.
    const Descriptor out = memory_file();
    spy::fail_call(6, spy::Fault::kRecoverable);  // os_fdopen twice, os_fline, os_freserve, os_fline twice
    EXPECT_TRUE(failure_of([&out] { decode({"7BIT", {}}, memory_file("a\nb\nc\n"), out); }));
    EXPECT_EQ(spy::end_fault(), "os_fline");
    EXPECT_EQ(content_of(out), "a\nb");
    int message_end = 0;
    int closing_seen = 0;
    const Descriptor file = memory_file("x\nbegin\n#86)C\n.\n");
    const Stream stream{os_fdopen(file, "r")};
    mim_DecodeUUencodeFile(stream.get(), nullptr, nullptr, nullptr, &message_end, &closing_seen);
    std::vector<char> rest(10);
    EXPECT_EQ(os_fgets(rest.data(), 10, stream.get()), 2) << "the line behind the first one of data";
}

}  // namespace
