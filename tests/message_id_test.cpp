// Message identifiers, dates, comments, and what is extracted from an O/R name.

#include "fresh_process.h"
#include "orn_name.h"

namespace {

TEST(ConvMsgId, MakesAMessageId) {
    expect_fresh(R"(abc(a)host.example -> 1 abc@host.example | a(p)(b)(q)(u)(a)x -> 1 a%!"_@x | (064)x -> 1 @x
        (a)(000) -> 1 "(a)(000)*"@MHS | (a)(256) -> 1 "(a)(256)*"@MHS | (a)(l) -> 1 "(a)(l)*"@MHS | a@b~1DKim -> 1 a@b
        (a)(032) -> 1 "(a)(032)*"@MHS | (a)(06 -> 1 "(a)(06*"@MHS | 1234.5678 -> 1 1234.5678@MHS | A B -> 1 "A B*"@MHS
        x(z)y -> 1 "x(z)y*"@MHS | a-b -> 1 "a-b*"@MHS | -> 1 @MHS | ~1D -> 1 @MHS | ab~1D -> 1 ab@MHS
        (a)(233)(010) -> 1 @~E9~0A | ab~1DKim~1DJo -> 1 "ab*Kim_Jo"@MHS | ~1D. -> 1 "*#f#"@MHS | (a)(A) -> 1 "(a)(A)*"@MHS
        @a^4094 b -> 1 @a^4094 | a^4095@ -> 1 "a^4095@*"@MHS
        a~1Db^1900~1Dc~1D^5y -> 1 "a*b^1019_c/__y"@MHS)",
                 [](std::string identifier) {
                     return answer([&](char *out) { return mim_ConvMsgId(identifier.data(), out); },
                                   identifier.size() + MIM_MAX_MESSAGE_ID + 9);
                 });
}

TEST(ConvDateToArpa, WritesTheLocalTime) {
    expect_cases(R"(0 0 -> 1 Thu, 1 Jan 1970 00:00:00 +0000 | 0 -300 -> 1 Wed, 31 Dec 1969 19:00:00 -0500
        0 330 -> 1 Thu, 1 Jan 1970 05:30:00 +0530 | 951827696 -1 -> 1 Tue, 29 Feb 2000 12:33:56 -0001
        4294967295 32767 -> 1 Tue, 2 Mar 2106 00:35:15 +54607 | 0 -32768 -> 1 Tue, 9 Dec 1969 05:52:00 -54608
        4294967295 14400 -> 1 Wed, 17 Feb 2106 06:28:15 +2400 | 4294967295 9999 -> 1 Sun, 14 Feb 2106 05:07:15 +1663)",
                 [](const std::string &text) {
                     const auto time = static_cast<std::uint32_t>(std::stoul(text));
                     const auto offset = static_cast<std::int16_t>(std::stoi(text.substr(text.find(' '))));
                     return answer([=](char *out) { return mim_ConvDateToArpa(time, offset, out); }, MIM_DATE_SIZE);
                 });
}

TEST(Comments, AreToldFromAddressesAndTidied) {
    expect_cases(R"(-> 0 | (c) -> 0 | a(c) -> 1 | (c) x -> 1 | )x -> 0 | (a(b)c) -> 0 | ((a) -> 0 | (a))x -> 0
        \( -> 1 | (\) -> 0 | (\))x -> 1 | (\\)x -> 1 | x) -> 1 | (a\\)) -> 0)",
                 [](const std::string &text) { return std::to_string(mim_IsValidArpaAddress(text.c_str())); });
    expect_cases(R"(a  (x)  b -> a(x)b | ~20a ~09 b~20 -> a b | a~0Ab~09 -> a b | ( a )  ( b ) -> ( a )( b ) | ->
        (a)~09 ~09 -> (a) | ~20~1B ~1B -> ~1B ~1B | ~09 ( -> ()",
                 [](std::string text) { return mim_TrimCommentSpaces(text.data()), std::string{text.c_str()}; });
}

TEST(Extract, HoldsTheTextUntilTheNextCall) {
    expect_cases(R"(/IA=J D <j@x>/CN=c/ -> j@x c | /IA=(none)/CN=c/T61.CN=t/ -> - t | /T61.CN=t/ -> - t | / -> - -
        /IA=a^4000/ -> a^1023 - | /CN=c^4000/ -> - c^4000)",
                 [](const std::string &text) {
                     const OrnName name = parsed(text);
                     const char *address = mim_ExtractIaFromORN(name.orn.data());
                     const char *common_name = mim_ExtractCnFromORN(name.orn.data());
                     return std::string{address != nullptr ? address : "-"} + " " +
                            (common_name != nullptr ? common_name : "-");
                 });
}

}  // namespace
