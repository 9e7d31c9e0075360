// mim explain beside the conversions: the last line of every block is what they make of its item, and the steps
// lead there.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "temp_home.h"

namespace {

using Lines = std::vector<std::string>;

class Explained {
  public:
    // Expects it of all the items of a kind, in the home `home`.
    void expect(const std::string &home, const std::string &conversion, const std::string &options,
                const Lines &items) const {
        std::ofstream file{files_.path("items"), std::ios::binary};
        std::copy(items.begin(), items.end(), std::ostream_iterator<std::string>{file, "\n"});
        file.close();
        std::istringstream rows{run(home, conversion + options)};
        const std::string blocks = run(home, "explain" + options + (conversion == "to-x400" ? " --address" : ""));
        std::string_view rest = blocks;
        std::size_t count = 0;
        for (std::string row; std::getline(rows, row); ++count) {
            const std::size_t status = row.rfind('\t') + 1;
            const std::size_t result = row.find('\t') + 1;
            const bool is_ok = row.substr(status) == "ok";
            const std::string want =
                "\n" + (is_ok ? "= " + row.substr(result, status - 1 - result) : row.substr(status)) + "\n";
            const std::string_view block = rest.substr(0, rest.find("\n\n") + 1);
            ASSERT_TRUE(block.ends_with(want)) << home << options << "\n" << block << "want:" << want;
            ASSERT_EQ(block.find(". fault: "), block.npos) << home << options << "\n" << block;
            rest.remove_prefix(std::min(block.size() + 1, rest.size()));
        }
        EXPECT_EQ(count, items.size());
    }

  private:
    // What the command writes, and an empty line.
    [[nodiscard]] std::string run(const std::string &home, const std::string &arguments) const {
        const std::string out = files_.path("out").string();
        const std::string command = "'" MIM_TOOL "' --quiet --home '" + home + "' " + arguments + " <'" +
                                    files_.path("items").string() + "' >'" + out + "'";
        EXPECT_LE(WEXITSTATUS(std::system(command.c_str())), 1) << command;
        std::ifstream in{out, std::ios::binary};
        return std::string{std::istreambuf_iterator<char>{in}, {}} + (arguments.starts_with("explain") ? "\n" : "");
    }

    TempHome files_;
};

class Generator {
  public:
    std::string address() {
        const std::string local =
            number(3) == 0 ? '"' + text("ab (),;<>@.", 12) + '"' : text("abcJ.!%+-_\xE9#$*:", 12);
        return one_of({"", "x ", "@r1,@r2:", "q!", "Ada <", "(c) "}) + local + "@" + one_of({"", "mail.", "not"}) +
               one_of({"example.org", "gb.meridian.example", "quayside", "b.c", "x.gb.meridian.example", ""}) +
               one_of({"", " (c)", ">", "%h", "\\"});
    }

    std::string name() {
        std::string text;
        for (const char *keyword : {"S", "G", "I", "GQ", "UA-ID", "T61.S", "CN", "IA", "DD.RFC-822", "DD.ROOM"}) {
            if (number(keyword[1] == '\0' ? 2 : 6) == 0) {
                text += item(keyword, one_of({"Smith", "Ada", "K. L", "MAIL-SYSTEM", "d\xE9", "King, J <k@x>"}));
            }
        }
        constexpr const char *kDomains[][6] = {
            {"gb", "albion400", "meridian", "Meridian Freight", "London", "Accounts"},
            {"us", "plains400", "inet", "Harbour Relief Foundation", "Sales", "eu"},
            {"gb", "domains", "org", "example", "mail", "mx"}};
        const std::size_t domain = number(3);
        for (std::size_t i = 0; i < 6; ++i) {
            constexpr const char *kKeywords[] = {"C", "ADMD", "PRMD", "O", "OU1", "OU2"};
            if (number(8) != 0) {
                text +=
                    item(kKeywords[i], number(12) == 0 ? one_of({"fr", "a.b", "Cold Store"}) : kDomains[domain][i]);
            }
        }
        return text + "/";
    }

  private:
    static std::string item(const std::string &keyword, const std::string &value) {
        return "/" + keyword + "=" + value;
    }
    std::size_t number(std::size_t end) { return random_() % end; }
    std::string one_of(std::initializer_list<const char *> texts) { return texts.begin()[number(texts.size())]; }
    std::string text(std::string_view characters, std::size_t most) {
        std::string text(1 + number(most), ' ');
        std::generate(text.begin(), text.end(), [&] { return characters[number(characters.size())]; });
        return text;
    }

    std::mt19937 random_{1006};
};

// The lines of an example that are items, of the names those that show it by their first character.
Lines examples(const char *file, std::string_view first = "") {
    Lines lines;
    std::ifstream in{MIM_EXAMPLES "/" + std::string{file}, std::ios::binary};
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.front() != '#' && line.starts_with(first)) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(Explain, LeadsWhereTheConversionDoes) {
    const std::string rules =
        std::string(255, '#') +
        "$*J$* $1Q$2\n$*+$* $1++$2\none\n$+@$+.$+ $:$3$1$9 x\nx$*\xE9$* $@$1$$$_$2\n$*@$+ $2# $1\n$*$*$*b$* $@$4$3";
    const TempHome bad_home{
        {"unixin.rules", rules},
        {"unixout.rules", rules},
        {"unixmap.gw",
         "org#C$x#\nORG#C$y#\n org#C$z#\nexample.org#C$open\n#k#\nmail.example.org#C$us.O$A\\.b.OU$u.X$y#\nb.c##\n"
         "gb.meridian.example#OU$1.OU$2.OU$3.OU$4.OU$5#\nc#junk#\n@#PRMD$@#"},
        {"unixmap.out",
         "C$gb#gb#\nc$GB.admd$Albion400#x#\nC$gb.ADMD$albion400#y#\nADMD$plains400.C$us.PRMD$inet.O$Harbour Relief "
         "Foundation.OU$Sales#@#\nO$x##\nC$fr.ADMD$@#f#\n"
         "C$us.ADMD$plains400.PRMD$inet#open\nC$gb.ADMD$domains.PRMD$org.O$example.OU$mx.OU$mail#\\a b#"},
        {"mailnodes", "1 /O=gw/C=us/\n"},
        {"routes", "UNIX /C=us/\n"},
        {"customise",
         "UAL_DEF_MIME_MN_OVERRIDE=/O=\xE9/ADMD=a/C=us/\nUAL_DEF_TNEF_MN_OVERRIDE=/O=o/\nUXI_DDATYPE_ZTMEXT=\n"
         "HOSTNAME=h\nUXO_FQDN=f\nUXO_NAME_MAPPING=1\nINET_IA_RESOLVE_MASK=/S/G/\nINET_DISPLAY_IA_COMMENTS=no\n"},
        {"directory/default.ldif",
         "dn: 1\nS: Smith\nG: Ada\n167: a b\n\ndn: 2\nS: Ada\nDD.RFC-822: k@e\n\n"
         "dn: 3\nS: K. L\nG: x\n\ndn: 4\nS: K. L\nG: y\n"}};
    Generator generator;
    const auto generated = [&generator](std::string (Generator::*make)()) {
        Lines lines(1'250);
        std::generate(lines.begin(), lines.end(), [&] { return (generator.*make)(); });
        return lines;
    };
    const Explained explained;
    for (const std::string &home : {std::string{MIM_EXAMPLES "/home"}, bad_home.path("..").string()}) {
        explained.expect(home, "to-x400", "", examples("addresses.txt"));
        explained.expect(home, "to-internet", "", examples("names.txt", "/"));
        for (const char *options : {"", " --tnef", " --cn", " --tnef --cn"}) {
            explained.expect(home, "to-x400", options, generated(&Generator::address));
        }
        for (const char *options : {"", " --comments --style 1 --t61 --routable yes --mode 2",
                                    " --no-fallback --no-ia --style 3 --mapping yes",
                                    " --template '$$u $x@$h' --style 2 --mode 3 --add-delimiter --mapping no"}) {
            explained.expect(home, "to-internet", options, generated(&Generator::name));
        }
    }
}

}  // namespace
