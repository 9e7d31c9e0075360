// The server's numbers for kinds of attachments, by name, file and character set.

#include <random>

#include "er_capture.h"
#include "fresh_process.h"
#include "mim.h"
#include "orn_name.h"
#include "temp_home.h"

namespace {

int number_for_file(const char *file) {
    int number = -1;
    mim_FileExtToKVType(file, &number);
    return number;
}

// Of a number all that it gives, with "K" for the private beginning; of "#FILE" the number for its extension.
std::string names_of(const std::string &item) {
    if (item.front() == '#') return std::to_string(number_for_file(item == "#null" ? nullptr : item.c_str() + 1));
    const int number = std::stoi(item);
    const std::string header =
        written(MIM_TYPE_HEADER_SIZE, [=](char *out) { mim_KVToMimeType(number, "IA5", out); });
    std::string type = written(MIM_MIME_TYPE_SIZE, [=](char *out) { mim_getMimeType(number, out); });
    const std::string bare = "Content-Type: " + type;
    EXPECT_EQ(written(MIM_TYPE_HEADER_SIZE, [=](char *out) { mim_KVToMimeType(number, "", out); }), bare);
    if (type.starts_with("application/x-korvan-")) type.replace(0, 21, "K");
    return type + header.substr(bare.size()) + " " + mim_getFileExt(number) + " " + mim_getEncoding(number);
}

TEST(Types, NumbersHaveNames) {
    const std::string longest(63, 's');
    const TempHome home{{"mime.types",
                         "#7 b a b\n30 b * * doc tgz\n12 base64 image/gif gif toolong GIFF\n12 q image/x a\n"
                         "5 x text plain\n6 b text\nabc b text plain\n-3 8bit a/b\n9x n a/c 12345 ok\n"
                         "99999999999 7 a/max\n14 q text/*\n15 none " +
                             longest + "/" + longest + "\n16 b " + longest + "s/x\n17 b a/" + std::string(246, ' ') +
                             "b 18 b a/rest\n"}};
    expect_fresh(
        R"(0 -> application/octet-stream .bin b | 42 -> K0042 .bin b | 12 -> image/gif; charset=US-ASCII gif b
        -5 -> K-005 .bin b | 12345 -> K12345 .bin b | 30 -> K0030 .bin b | 7 -> K0007 .bin b | 5 -> K0005 .bin b
        6 -> K0006 .bin b | 14 -> K0014 .bin b | 16 -> K0016 .bin b | -2147483648 -> K-2147483648 .bin b
        2147483647 -> a/max; charset=US-ASCII .bin 7 | -3 -> a/b; charset=US-ASCII .bin 8 | 9 -> a/c; charset=US-ASCII .bin n
        15 -> s^63/s^63; charset=US-ASCII .bin n | 17 -> a/b; charset=US-ASCII .bin b | 18 -> a/rest; charset=US-ASCII .bin b
        #null -> 0 | # -> 0 | #doc -> 0 | #a. -> 0 | #photo.GIF -> 12 | #x.Doc -> 30 | #archive.tar.gz -> 0 | #.tgz -> 30
        #x.toolong -> 0 | #x.giff -> 12 | #x.ok -> 9)",
        names_of);
}

// The number for "CONTENT" or "CONTENT @ FILE", and the character set.
std::string number_of(const std::string &line) {
    const std::size_t at = line.find("@ ");
    const std::string content = line.substr(0, at);
    const char *file = at != std::string::npos ? line.c_str() + at + 2 : nullptr;
    const auto call = [&](char *charset) {
        int number = -1;
        mim_MimeToKVType(content.c_str(), file, charset, &number);
        return number;
    };
    const std::string number = answer(call, CCS_NAME_SIZE);
    EXPECT_EQ(call(nullptr), std::stoi(number));
    return number;
}

TEST(Types, AreFoundByContentAndFile) {
    const TempHome home{
        {"mime.types", "12 b image/gif gif\n30 b * * doc\n31 b text * doc txt\n32 b * html txt\n33 b text/html\n"}};
    const LogCapture log;
    expect_fresh(
        R"(Content-Type: IMAGE/GIF; name=x -> 12 | image/gif -> 12 | image/gif @ x.doc -> 12 | image (gif) -> 0
        x:(image) / "gif" -> 12 | x:y:image/gif -> 0 | image;/gif -> 0 | image/gif/x -> 12 | text/plain -> 0 | text/html -> 33
        application/octet-stream @ report.doc -> 30 | a/b @ dir.doc/report -> 0 | a/b @ dir.doc\report -> 0 | -> 0
        text/plain @ x.DOC -> 30 | text/plain @ x.y.txt -> 31 | a/html @ x.txt -> 32 | a/b @ x.txt -> 0 | a/b @ x. -> 0
        text/html @ x.txt -> 31 | @ x.doc -> 30 | a/b @ =?UTF-8?Q?r=C3=A9sum=C3=A9=2Edoc?= -> 30 | a/b @ =?x -> 0
        a/b @ =?UTF-8?B?eC5kb2M=?= =?IA5?Q?x?= -> 0 | a/b @ =?IA5?Q?x=2Ed?= =?IA5?Q?oc?= -> 30 | */* -> 30 | text/* -> 31
        a/b @ =?UTF-8?Q?x^1000?= .doc -> 30 | a/b @ =?UTF-8?Q?x^1008?=.doc -> 30 | a/b @ =?UTF-8?Q?x^60000?= =?IA5?Q?.doc?= -> 30
        application/x-korvan-0042 -> 42 | Application/X-KORVAN--005 -> -5 | application/x-korvan-7x @ x.doc -> 30
        application/x-korvan-99999999999 -> 2147483647 | application/x-korvan- -> 0 | text/x-korvan-0042 -> 0
        a/b; charset=us-ascii -> 0 IA5 | a/b; x=1; CHARSET="iso-8859-1"; y -> 0 iso-8859-1 | a/b; charset=x-korvan-Z -> 0 Z
        a/b; charset -> 0 | a/b; charset= -> 0 | a/b charset=utf-8 -> 0 | a/b; x=charset; utf-8 -> 0 utf-8
        a/b; charset:a:b=c -> 0 a:b | a/b; charsets=x -> 0 | a/b; charset=x^2000 -> 0 x^31)",
        number_of);
}

TEST(Types, AreFoundAsByAWalkThroughTheTable) {
    struct Row {
        int number;
        std::string type, subtype, extensions;  // each extension one letter
    };
    std::mt19937 random{11};
    const auto one_of = [&](std::string_view letters) { return std::string(1, letters[random() % letters.size()]); };
    for (int count = 0; count < 40; ++count) {
        std::vector<Row> rows;
        std::string text;
        for (int i = 0; i < count; ++i) {
            const std::string end = one_of("defgh"), other = one_of("defgh");
            rows.push_back({static_cast<int>(random() % 20), one_of("ab*"), one_of("xyz*"), end + other});
            text += std::to_string(rows.back().number) + " b " + rows.back().type + "/" + rows.back().subtype;
            text += " " + end + " " + other + "\n";
        }
        const TempHome home{{"mime.types", text}};
        in_fresh_process([&] {
            for (int i = 0; i < 500; ++i) {
                const std::string type = one_of("ab*n"), subtype = one_of("xy*n"), end = one_of("degn");
                const int number = static_cast<int>(random() % 21);
                int by_content = 0, by_file = 0;
                std::string extension = ".bin";
                for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
                    const bool any_type = row->type == "*", any_subtype = row->subtype == "*";
                    const bool same_type = row->type == type, same_subtype = row->subtype == subtype;
                    const bool has_end = row->extensions.find(end) != std::string::npos;
                    const bool by_end = (any_type && (any_subtype || same_subtype)) || (same_type && any_subtype);
                    if ((same_type && same_subtype) || (has_end && by_end)) by_content = row->number;
                    if (has_end) by_file = row->number;
                    if (row->number == number && !any_type && !any_subtype) extension = row->extensions.substr(0, 1);
                }
                const std::string file = "f." + end;
                EXPECT_EQ(number_of(type + "/" + subtype + "@ " + file), std::to_string(by_content)) << text;
                EXPECT_EQ(number_for_file(file.c_str()), by_file) << text;
                EXPECT_EQ(mim_getFileExt(number), extension) << number << text;
            }
            return "";
        });
    }
}

}  // namespace
