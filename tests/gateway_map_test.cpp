// The gateway domain map.

#include <gtest/gtest.h>

#include <string>

#include "mim.h"
#include "orn_name.h"
#include "temp_home.h"

namespace {

constexpr const char *kMap = "~/sys/unixmap.gw";

// What a lookup stores, or "no".
std::string lookup(const std::string &domain, bool extend = false, const char *path = kMap) {
    OrnName name;
    nm_InitORN(name.orn.data(), &name.index);
    const int found = mim_ArpaDomainLookup(path, domain.c_str(), name.orn.data(), &name.index, extend ? 1 : 0);
    const std::string text = text_form(name.orn.data());
    return found != 0 ? text : text == "/" || text.empty() ? "no" : "no, but stored " + text;
}

TEST(DomainLookup, TakesTheLongestWholeLabelSuffix) {
    const TempHome home{{"unixmap.gw",
                         "# comment#C$zz#\n"
                         "org#C$us#\n"
                         "example.org#C$us.O$acme# the second\n"
                         "example.org#C$xx#\n"
                         "ORG#C$yy#\n"
                         "#C$zz#\n"
                         "mail.EXAMPLE.net#c$de.AdMd$a\n"
                         "net#C$nn\n"
                         "com#C$\\.x\\$y.O$a\\.b#\n"
                         "@#C$@.O$none#\n"
                         "five.test#OU$1.OU$2.OU$3.OU$4.OU$5#\n"
                         "four.test#OU$1.OU$2.OU$3.OU$4#\n"
                         "odd.test#X$y.C.O$a.O$b.PRMD$.ADMD$@x#\n"
                         "empty.test##\n"
                         "two.test#C$us.ADMD$x.OU$a.OU$b#"}};
    const struct {
        const char *name, *domain, *want;
    } rows[] = {
        {"longest wins", "mail.example.org", "/O=acme/C=us/"},
        {"first of equals wins", "x.org", "/C=us/"},
        {"key is not a substring", "ample.org", "/C=us/"},
        {"no whole label", "xorg", "no"},
        {"no domain", "", "/O=none/"},
        {"the key @", "a.@", "/O=none/"},
        {"a line without a second # is none", "mail.example.net", "no"},
        {"escapes stay", "a.com", "/O=a\\\\.b/C=\\\\.x\\\\$y/"},
        {"too many units", "five.test", "no"},
        {"units, the last first", "four.test", "/OU4=1/OU3=2/OU2=3/OU1=4/"},
        {"odd items", "odd.test", "/O=b/ADMD=@x/"},
        {"no attributes", "empty.test", ""},
        {"end of file without newline", "two.test", "/OU2=a/OU1=b/ADMD=x/C=us/"},
        {"case of the domain", "TWO.Test", "/OU2=a/OU1=b/ADMD=x/C=us/"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(lookup(row.domain), row.want) << row.name;
    }
    EXPECT_EQ(lookup("example.org", false, "~/sys/missing"), "no");
    EXPECT_EQ(lookup("example.org", false, "~/sys"), "no") << "a directory in the file's place";
}

TEST(DomainLookup, ExtendsByTheLabelsOnTheLeft) {
    const TempHome home{{"unixmap.gw",
                         "example.org#C$us.O$acme#\n"
                         "unit.org#C$us.OU$x#\n"
                         "c.org#C$us#\n"
                         "e.org##\n"}};
    const struct {
        const char *domain, *want;
    } rows[] = {
        {"sales.eu.example.org", "/OU2=sales/OU1=eu/O=acme/C=us/"},
        {"a.b.c.d.example.org", "/OU4=a/OU3=b/OU2=c/OU1=d/O=acme/C=us/"},
        {"z.a.b.c.d.example.org", "no"},
        {"3com.example.org", "no"},
        {"a_b.example.org", "no"},
        {"\xE4.example.org", "no"},
        {"A-1..b.example.org", "/OU2=A-1/OU1=b/O=acme/C=us/"},
        {"example.org", "/O=acme/C=us/"},
        {"a.unit.org", "/OU2=a/OU1=x/C=us/"},
        {"a.b.c.org", "/PRMD=a/ADMD=b/C=us/"},
        {"us.e.org", "/C=us/"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(lookup(row.domain, true), row.want) << row.domain;
    }
}

TEST(DomainLookup, KeepsItsLimits) {
    const std::string label(1000, 'a');
    const std::string list = "C$us.O$" + std::string(2000, 'o');
    const TempHome home{{"unixmap.gw", label + "#C$us#\n"                                    // 1,006 characters
                                           + "long.test#" + list + "#\n"                     // read as several lines
                                           + std::string(10000, 'x') + "#C$xx#\n"            // likewise
                                           + "zero" + std::string(1, '\0') + "#C$zz#\n"      // ends at the zero byte
                                           + "nul.test#C$u" + std::string(1, '\0') + "s#\n"  // likewise
                                           + "good.test#C$gb#\n"}};
    EXPECT_EQ(lookup(label), "/C=us/");
    EXPECT_EQ(lookup("b." + label), "/C=us/");
    EXPECT_EQ(lookup("long.test"), "no");
    EXPECT_EQ(lookup("zero"), "no");
    EXPECT_EQ(lookup("nul.test"), "no");
    EXPECT_EQ(lookup("good.test"), "/C=gb/");
    EXPECT_EQ(lookup(std::string(1015, 'b') + ".good.test"), "no") << "the domain is cut at 1,024 characters";
    EXPECT_EQ(lookup(std::string(1014, 'b') + ".good.test"), "/C=gb/");
}

}  // namespace
