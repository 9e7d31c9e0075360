// The server's numbers for kinds of attachments, by name, file and character set.

#include <random>

#include "er_capture.h"
#include "fresh_process.h"
#include "mim.h"
#include "orn_name.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

// Of a number all that it gives, with "K" for the private beginning. Of "#FILE" the number for its extension, and
// of "CONTENT" or "CONTENT @ FILE" the number and the character set.
std::string answer_to(const std::string &item) {
    int number = -1;
    if (item.starts_with("#")) {
        mim_FileExtToKVType(item == "#null" ? nullptr : item.c_str() + 1, &number);
        return "#" + std::to_string(number);
    }
    if (item.find_first_not_of("-0123456789") != std::string::npos) {
        const std::size_t at = item.find(" @ ");
        const std::string content = item.substr(0, at);
        const char *file = at != std::string::npos ? item.c_str() + at + 3 : nullptr;
        const auto call = [&](char *charset) {
            return mim_MimeToKVType(content.c_str(), file, charset, &number), number;
        };
        return answer(call, CCS_NAME_SIZE);
    }
    number = std::stoi(item);
    const std::string header =
        written(MIM_TYPE_HEADER_SIZE, [=](char *out) { mim_KVToMimeType(number, "IA5", out); });
    const std::string bare = written(MIM_TYPE_HEADER_SIZE, [=](char *out) { mim_KVToMimeType(number, "", out); });
    std::string type = written(MIM_MIME_TYPE_SIZE, [=](char *out) { mim_getMimeType(number, out); });
    EXPECT_EQ(bare, "Content-Type: " + type);
    type = type.starts_with("application/x-korvan-") ? "K" + type.substr(21) : type;
    return type + header.substr(bare.size()) + " " + mim_getFileExt(number) + " " + mim_getEncoding(number);
}

TEST(Types, AreFoundByNumberContentAndFile) {
    const std::string longest(63, 's');
    const TempHome home{{"mime.types",
                         "#7 b a b\n12 base64 image/gif gif toolong GIFF\n30 b * * doc tgz\n12 q image/x a\n"
                         "5 x text plain\n6 b text\nabc b text plain\n-3 8bit a/b\n9x n a/c 12345 ok\n"
                         "31 b text * doc txt\n32 b * html txt\n33 b text/html\n99999999999 7 a/max\n"
                         "14 q text/*\n16 b " +
                             longest + "s/x\n15 none " + longest + "/" + longest + "\n17 b a/" +
                             std::string(246, ' ') + "b18 b a/rest\n"}};
    const LogCapture log;
    expect_fresh(
        R"(0 -> application/octet-stream .bin b | 42 -> K0042 .bin b | 12 -> image/gif; charset=US-ASCII gif b
        -5 -> K-005 .bin b | 12345 -> K12345 .bin b | 30 -> K0030 .bin b | 7 -> K0007 .bin b | 5 -> K0005 .bin b
        6 -> K0006 .bin b | 14 -> K0014 .bin b | 16 -> K0016 .bin b | -2147483648 -> K-2147483648 .bin b
        2147483647 -> a/max; charset=US-ASCII .bin 7 | -3 -> a/b; charset=US-ASCII .bin 8 | 9 -> a/c; charset=US-ASCII .bin n
        15 -> s^63/s^63; charset=US-ASCII .bin n | 17 -> a/b; charset=US-ASCII .bin b | 18 -> a/rest; charset=US-ASCII .bin b
        #null -> #0 | # -> #0 | #doc -> #0 | #a. -> #0 | #photo.GIF -> #12 | #x.Doc -> #30 | #archive.tar.gz -> #0 | #.tgz -> #30
        #x.toolong -> #0 | #x.giff -> #12 | #x.ok -> #9
        Content-Type: IMAGE/GIF; name=x -> 12 | image/gif -> 12 | image/gif @ x.doc -> 12 | image (gif) -> 0
        x:(image) / "gif" -> 12 | x:y:image/gif -> 0 | image;/gif -> 0 | image/gif/x -> 12 | text/plain -> 0 | text/html -> 33
        application/octet-stream @ report.doc -> 30 | c/d @ dir.doc/report -> 0 | c/d @ dir.doc\report -> 0 | / -> 0
        text/plain @ x.DOC -> 30 | text/plain @ x.y.txt -> 31 | c/html @ x.txt -> 32 | c/d @ x.txt -> 0 | c/d @ x. -> 0
        text/html @ x.txt -> 31 | / @ x.doc -> 30 | c/d @ =?UTF-8?Q?r=C3=A9sum=C3=A9=2Edoc?= -> 30 | c/d @ =?x -> 0
        c/d @ =?UTF-8?B?eC5kb2M=?= =?IA5?Q?x?= -> 0 | c/d @ =?IA5?Q?x=2Ed?= =?IA5?Q?oc?= -> 30 | */* -> 30 | text/* -> 31
        c/d @ =?UTF-8?Q?x^1000?= .doc -> 30 | c/d @ =?X-NONE?Q?x^1007?=.doc -> 30 | c/d @ =?UTF-8?Q?x^60000?= =?IA5?Q?.doc?= -> 30
        application/x-korvan-0042 -> 42 | Application/X-KORVAN--005 -> -5 | application/x-korvan-7x @ x.doc -> 30
        application/x-korvan-99999999999 -> 2147483647 | application/x-korvan- -> 0 | text/x-korvan-0042 -> 0
        c/d; charset=us-ascii -> 0 IA5 | c/d; x=1; CHARSET="iso-8859-1"; y -> 0 iso-8859-1 | c/d; charset=x-korvan-Z -> 0 Z
        c/d; charset -> 0 | c/d; charset= -> 0 | c/d charset=utf-8 -> 0 | c/d; x=charset; utf-8 -> 0 utf-8
        c/d; charset:a:b=c -> 0 a:b | c/d; charsets=x -> 0 | c/d; charset=x^2000 -> 0 x^31)",
        answer_to);
}

// The first call fails at each of the services that it calls; the second finds what was read by then.
TEST(Types, AreThoseReadBeforeAFailure) {
    const TempHome home{{"mime.types", "1 b a/a a\n2 b a/b b\n3 b a/c c\n"}};
    std::string found;
    for (int nth = 1; nth <= 11; ++nth) {  // memory, opening, four lines with the end, closing, memory three times
        found += in_fresh_process([nth] {
            spy::fail_call(nth, spy::Fault::kRecoverable);
            const bool failed = failure_of([] { mim_getFileExt(1); }).has_value();
            EXPECT_EQ(!spy::end_fault().empty(), failed);
            return (failed ? " " : "-") + std::string{*mim_getFileExt(1), *mim_getFileExt(2), *mim_getFileExt(3)};
        });
    }
    EXPECT_EQ(found, " abc ... ... a.. ab. abc abc abc abc abc-abc");
}

// A row of both tables.
struct Row {
    std::string number, type, subtype, end, other_end, server, mime;
};

// Tables of few different texts, so that many rows fit; the first wins.
TEST(Tables, AreSearchedAsByAWalkThroughThem) {
    std::mt19937 random{11};
    const auto one_of = [&](std::string_view letters) { return std::string(1, letters[random() % letters.size()]); };
    const auto set = [&] { return one_of("aAbBcC") + one_of("123"); };
    const auto row_of = [&](std::string_view types, std::string_view subtypes, std::string_view ends) {
        const std::string number = std::to_string(random() % 20);
        return Row{number, one_of(types), one_of(subtypes), one_of(ends), one_of(ends), set(), set()};
    };
    for (std::size_t count = 0; count < 40; ++count) {
        std::vector<Row> rows;  // from the last line to the first
        std::string types;
        std::string sets;
        while (rows.size() < count) {
            const Row &row = rows.emplace_back(row_of("ab*", "xyz*", "defgh"));
            const std::string content = row.type + "/" + row.subtype;
            types.insert(0, row.number + " b " + content + " " + row.end + " " + row.other_end + "\n");
            sets.insert(0, row.server + " " + row.mime + "\n");
        }
        const TempHome home{{"mime.types", types}, {"mime.cs", sets}};
        in_fresh_process([&] {
            const LogCapture log;
            for (int i = 0; i < 500; ++i) {
                const Row own = row_of("ab*n", "xy*n", "degn");
                Row want{"0", "", "", ".bin", "#0", own.server, own.server};
                for (const Row &row : rows) {
                    const bool any_type = row.type == "*";
                    const bool any_subtype = row.subtype == "*";
                    const bool same_type = row.type == own.type;
                    const bool same_subtype = row.subtype == own.subtype;
                    const bool has_end = row.end == own.end || row.other_end == own.end;
                    const bool by_end = (any_type && (any_subtype || same_subtype)) || (same_type && any_subtype);
                    const bool is_mime = text::equal_ignoring_case(row.mime, own.server);
                    const bool is_either = is_mime || text::equal_ignoring_case(row.server, own.server);
                    const bool is_listed = row.number == own.number && !any_type && !any_subtype;
                    want.number = (same_type && same_subtype) || (has_end && by_end) ? row.number : want.number;
                    want.other_end = has_end ? "#" + row.number : want.other_end;
                    want.end = is_listed ? row.end : want.end;
                    want.server = is_mime ? row.server : want.server;
                    want.mime = is_either ? row.mime : want.mime;
                }
                EXPECT_EQ(answer_to(own.type + "/" + own.subtype + " @ f." + own.end), want.number) << types;
                EXPECT_EQ(answer_to("#f." + own.end), want.other_end) << types;
                EXPECT_EQ(mim_getFileExt(std::stoi(own.number)), want.end) << own.number << types;
                EXPECT_EQ(mim_GetCharSetName(own.server.c_str(), nullptr), want.mime) << own.server << sets;
                EXPECT_EQ(mim_GetCharSetName(nullptr, own.server.c_str()), want.server) << own.server << sets;
            }
            return "";
        });
    }
}

}  // namespace
