// O/R names as local parts. Which character is escaped as the delimiter is decided for the process at the first
// conversion: each case has a process of its own.

#include "fresh_process.h"
#include "orn_name.h"

namespace {

// What a name becomes; before it stand four digits: the style, the mode, whether a personal name is asked for
// and T.61 forms.
std::string formatted(const std::string &text) {
    const auto digit = [&text](std::size_t place) { return static_cast<std::int16_t>(text[place] - '0'); };
    const OrnName name = parsed(text.substr(4));
    return written(MIM_TEXT_SIZE,
                   [&](char *out) { mim_DoFormatORN(name.orn.data(), out, digit(2), digit(0), digit(1), digit(3)); });
}

// Sets the delimiter and whether it is added, as a conversion does.
void set_delimiter(char delimiter, int add) {
    answer([&](char *out) { return mim_ConvORNToArpaORN("a", out, 0, "", 0, 0, "", add, 1, 1, delimiter, 0, 0); });
}

TEST(FormatORN, WritesTheForms) {
    expect_fresh(R"(2100/S=Smith/G=John/O=Acme/ADMD=att/C=us/ -> /S=Smith/G=John/O=Acme/ADMD=att/C=us/
        2100/I=J/GQ=Jr/OU2=b/OU1=a/PRMD=p/CN=c/PD-LOCAL=l/ -> /I=J/GQ=Jr/OU=b/OU=a/PRMD=p/CN=c/PD-LOCAL=l/
        2100/DD.A=1/DD.=/DD.=3/DD.D=/S=s/IA=j@x/ -> /S=s/DD.A=1/DD.=3/DD.D=/ | 2100 -> / | 2110/S=s/O=o/ -> /S=s/O=o/
        3100/S=Smith/G=John/OU1=Sales/O=Acme/ -> John.Smith/OU=Sales/O=Acme | 3100/G=John/ -> John.
        3100/S=Smith/G=John/I=P/GQ=Jr/DD.T=v/ -> John.P.Smith.Jr./DD.T=v | 3100/I=JP/O=Acme/ -> J.P./O=Acme
        3100/O=Acme/ -> ./O=Acme | 4100/S=s/O=o/ -> /S=s/O=o/ | 4110/S=s/O=o/ -> s/O=o | 0100/S=s/O=o/ -> s/O=o
        3100/UA-ID=7/O=o/ -> /O=o/UA-ID=7/ | 4110/UA-ID=7/O=o/ -> /O=o/UA-ID=7/ | 5100/UA-ID=7/O=o/ -> ./O=o/UA-ID=7
        1100/UA-ID=7/O=o/ -> _//o/////7 | 1100/S=Smith/G=John/O=Acme/PRMD=x/C=us/ -> Smith_John//Acme/us//x
        1100/S=Smith/G=John/OU1=Sales/O=Acme/PRMD=x/C=us/ -> Smith_John/Sales/Acme/us//x | 1100/S=s/I=J/ -> s__J
        1110/S=s/I=JP/GQ=Jr/ -> s__JP_Jr | 1100/GQ=Jr/ -> ___Jr | 1100/OU1=a/OU2=b/ -> _/a_b | 1100 -> _
        1100/S=s/OU2=b/OU4=d/O=o/ -> s/_b__d/o | 1100/S=s/DD.T=v/CN=c/IA=j@x/ -> s/^9T/v/^7c | 1100/PD-LOCAL=l/ -> _/^36l
        3100/S=a^2000/O=o^9/ -> a^1019 | 3200/S=a^2000/CN=c/ -> "a^1019" | 2100/S=s/CN=a^2000/O=o/ -> /S=s/O=o/)",
                 formatted);
}

TEST(FormatORN, KeepsTheStyleThatANumericNameSets) {
    expect_fresh("3100/UA-ID=7/ -> /UA-ID=7/ /S=s/ | 1100/UA-ID=7/ -> _///////7 s", [](const std::string &text) {
        const std::string numeric = formatted(text);
        return numeric + " " + written(MIM_TEXT_SIZE, [](char *out) { mim_FormatORN("s", out, 1, 0); });
    });
}

TEST(FormatORN, ConvertsCharacters) {
    expect_fresh(R"(3100/S=aZ09'+-?/ -> aZ09'+-? | 3200/S=aZ09'+-?/ -> aZ09'+-? | 3300/S=aZ/ -> aZ
        3100/S=J. S!#%/ -> J#f##b#S#x##h##p# | 3200/S=J. S!#%/ -> "J$. S$!$#$%" | 3300/S=J. S/ -> "J#f##b#S"
        3100/S=a(b),\/:@/ -> a#l#b#r##m##o##c##a# | 3200/S=a(b),\/:@/ -> "a{040}b{041}$,$/$:$@" | 3200/S=a.b/ -> a$.b
        3100/S=*"\\_\x7f/ -> #042##034##092##095##127# | 3200/S=*"\\_=&/ -> {042}{034}{092}$_$=$& | 3200/S=a_/ -> a$_
        3100/S=<{/ -> #060##123# | 3200/S=<>${}[];/ -> "{060}{062}$$${$}$[$]$;" | 3000/S=${/ -> "#036##123#"
        3200/S=O'Neil/CN=c/ -> "O'Neil/CN=c" | 3300/S=a/CN=c/ -> "a/CN=c" | 3100/S=a/CN=c/ -> a/CN=c
        3100/S=\x1bA\x01/ -> #027#A#001# | 3200/S=\x1bA\x1f/ -> "{027}A{031}" | 1200/S=a_/ -> a$ | 1200/S=a b/ -> "a b"
        3100/S=~E9/ -> #233# | 3200/S=~E9~7F/ -> "{233}$~7F" | 3200/S=~7F/ -> $~7F)",
                 formatted);
}

TEST(FormatORN, AddsT61Forms) {
    expect_fresh(R"(2101/S=M/T61.S=M(u/ -> /S=M*M#l#u/ | 2201/S=M/T61.S=M(u/ -> "/S=M*M{040}u/"
        2100/S=M/T61.S=M(u/ -> /S=M/ | 2101/T61.S=x/C=us/ -> /S=*x/C=us/ | 3101/T61.CN=x/S=s/ -> s/CN=*x
        2101/DD.T=v/T61.DD.U=w/ -> /DD.T*U=v*w/ | 2101/T61.DD.U=w/ -> /DD.*U=*w/ | 1101/I=JP/T61.I=Q/ -> __JP*Q
        1101/S=s/T61.S=\x1bA\x1b@\x1b_/ -> s*#001##000##031# | 1201/S=s/T61.S=\x1bA\x1b@/ -> "s*{001}{000}"
        1101/S=s/T61.S=\x1b`\x1b/ -> s*#027##096##027# | 1201/S=s/T61.S=\x1ba\x1b/ -> "s*{027}a{027}"
        1101/OU1=a/T61.OU2=b/O=o/T61.O=p/ -> _/a_*b/o*p | 3101/I=J/T61.I=PQ\x1bA/ -> J*P.*Q.*#001#.
        3101/T61.I=P/ -> *P. | 3101/I=JPX/T61.I=J/ -> J*J.P.X. | 3100/I=J/T61.I=P/ -> J.
        3101/I=JU/T61.I=J~C8U/ -> J*J.U*#200#U. | 3101/I=JU/T61.I=~C8/ -> J*#200#.U.)",
                 formatted);
}

TEST(FormatORN, ClosesWithTheDelimiter) {
    expect_fresh(R"(2200/S=a/ -> ;S=a; | 2200/S=a b/ -> ";S=a b;"; | 3200/S=a/O=o/ -> a;O=o; | 1200/S=a/ -> a;
        3200/S=a b/ -> "a b"; | 1200/S=a b/O=o/ -> "a b;;o";)",
                 [](const std::string &text) { return set_delimiter(';', 1), formatted(text); });
}

TEST(FormatORN, EscapesTheFirstDelimiter) {
    expect_fresh("+- -> #043#- #043#- | -+ -> +#045# +#045#", [](const std::string &delimiters) {
        set_delimiter(delimiters[0], 0);
        const std::string first = formatted("3100/S=+-/");
        set_delimiter(delimiters[1], 0);
        return first + " " + formatted("3100/S=+-/");
    });
}

TEST(ConvSpecialChar, AppendsUpToItsBound) {
    expect_fresh("0a -> 1019 | 0= -> 1020 | 1018= -> 1023 | 1019= -> 1019 | 1024a -> 1024 | 1014~17 -> 1019",
                 [](const std::string &text) {
                     const auto append = [&text](char *out) {
                         *std::fill_n(out, std::stoul(text), 'h') = '\0';
                         mim_ConvSpecialChar(std::string(2000, text.back()).c_str(), out, 0);
                     };
                     return std::to_string(written(MIM_TEXT_SIZE, append).size());
                 });
}

}  // namespace
