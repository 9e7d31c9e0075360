// The names of character sets, the charset parameter, and the first set that loses nothing.

#include <sstream>

#include "er_capture.h"
#include "fresh_process.h"
#include "mim.h"
#include "orn_name.h"
#include "temp_home.h"

namespace {

// What becomes of ">SERVER-NAME" or "<MIME-NAME", with "!" behind it when it was logged.
std::string name_of(const std::string &text) {
    LogCapture log;
    const char *own = text.c_str() + 1;
    const std::string name = text.front() == '>' ? mim_GetCharSetName(own, "UTF8") : mim_GetCharSetName(nullptr, own);
    const LogEntries unknown{{7, "100/24149: The character set " + std::string{own} + " is not known"}};
    const LogEntries entries = log.take();
    return name + (entries == unknown ? "!" : std::string(entries.size(), '?'));
}

TEST(CharsetNames, ComeFromTheTableFirst) {
    const std::string blanks(245, ' ');
    const TempHome home{{"mime.cs",
                         "#IA5 ASCII\nUTF8 UTF-8\nLAT1=\"X-Latin\";junk\nutf8 second\nSECOND UTF-8\n"
                         "a23456789012345 b234567890123456789012345678901\na234567890123456 c\nalone\n"
                         "d e2345678901234567890123456789012\n\t;f g\r\nPIECE1 " +
                             blanks + "p12PIECE2 p2\n#" + blanks + "         LAST l"}};
    EXPECT_EQ(in_fresh_process([] { return mim_InsertNewCSName("a", "lat1", 1); }), "a; charset=X-Latin");
    expect_fresh(R"(>utf8 -> UTF-8 | >UTF-8 -> UTF-8 | <utf-8 -> UTF8 | >SECOND -> second | <second -> utf8 | >d -> d!
        >lat1 -> X-Latin | <x-latin -> LAT1 | >a23456789012345 -> b234567890123456789012345678901 | <c -> c!
        >a234567890123456 -> a234567890123456! | >alone -> alone! | <junk -> junk! | <g~0D -> f | >#IA5 -> #IA5!
        >PIECE1 -> p12 | >piece2 -> p2 | >LAST -> l | >IA5 -> US-ASCII)",
                 name_of);
}

TEST(CharsetNames, AreMadeWithoutATable) {
    const TempHome home;
    expect_fresh(
        R"(>ia5 -> US-ASCII | >UTF8 -> UTF-8 | >ISO8859_15 -> ISO-8859-15 | >iso8859_99 -> ISO-8859-99 | > -> !
        >MIME-KOI8-R -> KOI8-R | >mime-X-None -> X-None | >x^40 -> x^31! | >MIME-x^40 -> x^31 | >iso8859_x^40 -> ISO-8859-x^22
        >IBM437 -> IBM437 | >NONE -> NONE! | <us-ascii -> IA5 | <utf-8 -> utf-8 | <X-Korvan-ZZ42 -> ZZ42 | <IBM437 -> IBM437
        <x-korvan-a^40 -> a^31 | <NONE -> NONE! | <UTF-8//x -> UTF-8//x!)",
        name_of);
    EXPECT_EQ(mim_GetCharSetName(nullptr, nullptr), nullptr);
}

TEST(CharsetParameter, IsReplacedOrAdded) {
    expect_cases(
        R"(text/plain; charset=us-ascii; format=flowed -> text/plain; charset=N; format=flowed | -> ; charset=N
        text/plain -> text/plain; charset=N | a;Charset ~09= "x\";=" y ; b=1 -> a;charset=N; b=1 | a; charset= -> a; charset=N
        a; b="charset=x" -> a; b="charset=x"; charset=N | a; charset -> a; charset; charset=N | a;charset=" -> a;charset=N
        a; charset charset=x -> a; charset charset=N | a; b=charset=x -> a; b=charset=N | a;charset="x\ -> a;charset=N
        a; CHARSETS=x; charset=y; -> a; CHARSETS=x; charset=N | a; b==charset=y -> a; b==charset=y; charset=N
        a; charset=x=y; b -> a; charset=N; y; b | "a;charset=b";charset=c -> "a;charset=b";charset=N | a;b -> a;b; charset=N
        charset=x -> charset=x; charset=N | a^1013 -> a^1013; charset= | a^1022;charset=x -> a^1022; | a^2000 -> a^1023)",
        [](const std::string &value) { return mim_InsertNewCSName(value.c_str(), "N", 0); });
}

// "SET CANDIDATES TEXT" into the set that was chosen and the text; "-" stands for no candidates.
TEST(FirstLossless, IsTheFirstThatKeepsAll) {
    const TempHome home{{"mime.cs", "ISO8859_7 greek"}};
    expect_fresh(R"(UTF-8 ISO-8859-1,UTF-8 ~C3~A9 -> ISO-8859-1 ~E9 | utf8 ,,NONE,ISO-8859-1 ~C3~A9 -> ISO-8859-1 ~E9
        UTF8 ISO-8859-1,UTF-8,greek ~CE~B1 -> UTF-8 ~CE~B1 | UTF8 IA5,greek ~CE~B1 -> ISO8859_7 ~E1 | NONE - a -> NONE a
        UTF8 IA5,ISO-8859-1 ~CE~B1 -> UTF-8 ~CE~B1 | UTF8 ,, a -> UTF-8 a | IA5 us-ascii,UTF-8 a -> US-ASCII a
        x^40 NONE a -> x^31 a | UTF8 ISO-8859-1, a~C3 -> UTF-8 a~C3)",
                 [](const std::string &line) {
                     const LogCapture log;
                     std::istringstream words{line};
                     std::string set;
                     std::string names;
                     std::string text;
                     std::string result;
                     words >> set >> names >> text;
                     const char *candidates = names == "-" ? nullptr : names.c_str();
                     const std::string chosen = written(CCS_NAME_SIZE, [&](char *out) {
                         result = mim_CnvStringTo1stLossless(text.data(), set.c_str(), out, candidates);
                     });
                     return chosen + " " + result;
                 });
}

}  // namespace
