// Checks of O/R names, routes and mail nodes.

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "akt.h"
#include "cl.h"
#include "er_capture.h"
#include "orn_name.h"
#include "temp_home.h"

namespace {

using namespace std::string_literals;

std::string orn_of(const std::string &text) {
    OrnName name;
    EXPECT_TRUE(nm_ParseText(text.c_str(), name.orn.data(), &name.index, nullptr)) << text;
    return name.orn.data();
}

TEST(AktCheckORName, AcceptsKnownSevenBitFieldsOnly) {
    for (const char *name : {"/S=a/C=us/PD-LOCAL=x/DD.T=v/", "/T61.S=M\xC8o/IA=\xC3\xB6@x/S=Mo/", "/G=x/"}) {
        EXPECT_TRUE(akt_CheckORName(orn_of(name).c_str())) << name;
    }
    for (const char *name : {"", "/S=M\xC8o/", "/DD.T=\x80/", "/S=a/FIELD.23=x/", "/S=a/FIELD.97=x/"}) {
        EXPECT_FALSE(akt_CheckORName(orn_of(name).c_str())) << name;
    }
    for (const auto &malformed : {"\x1D\x17"s, "a\x17\x17z\x17"s, std::string(NM_ORN_SIZE, 'x')}) {
        EXPECT_FALSE(akt_CheckORName(malformed.c_str())) << testing::PrintToString(malformed);
    }
}

TEST(AktCheckFieldsPresent, KnowsTheFormsOfAnAddress) {
    const auto accepts = [](const char *name) {
        std::uint32_t maps[NM_MAP_WORDS];
        nm_index index;
        nm_ParseORN(orn_of(name).c_str(), &index, maps);
        return akt_CheckFieldsPresent(maps) != 0;
    };
    for (const char *name :
         {"X121=1", "C=us/ADMD=a/PRMD=p", "C=us/ADMD=a/O=o", "C=us/ADMD=a/OU3=u", "C=us/ADMD=a/S=s",
          "C=us/ADMD=a/CN=c", "C=us/ADMD=a/DD.T=v", "C=us/ADMD=a/T61.OU4=u",
          "C=us/ADMD=a/DD.=/DD.T=/T61.DD.=/T61.DD.=v", "C=us/ADMD=a/UA-ID=1", "C=us/ADMD=a/PD-C=us/PD-CODE=1"}) {
        EXPECT_TRUE(accepts(name)) << name;
    }
    for (const char *name : {"", "C=us/ADMD=a", "C=us/PRMD=p/O=o/S=s", "ADMD=a/PRMD=p/O=o/S=s", "C=us/ADMD=a/G=g",
                             "C=us/ADMD=a/DD.T=/DD.=v", "C=us/ADMD=a/PD-C=us", "C=us/ADMD=a/PD-CODE=1", "UA-ID=1",
                             "C=us/ADMD=a/IA=j@x"}) {
        EXPECT_FALSE(accepts(name)) << name;
    }
}

TEST(AktCheckRoutable, TakesTheFirstLineThatFits) {
    const std::string longest(AKT_NODE_SIZE - 1, 'N');
    TempHome home{{"routes", "# node name\nFELIX /OU1=Felix/PRMD=m/C=gb/\n\nLONDON\nLONDON PRMD=m/ADMD\n" + longest +
                                 "x /C=fr/\n" + longest +
                                 " /C=de/\nLONDON \t PRMD=m/C=gb/S=any\r\nTELETEX T61.O=\xC8o/\nUNIX C=gb"}};
    LogCapture log;
    const std::pair<const char *, std::string> rows[] = {
        {"/S=ops/OU1=FELIX/O=any/PRMD=M/ADMD=a/C=gb/", "FELIX"},
        {"/OU1=Felixstowe/PRMD=m/C=gb/", "LONDON"},
        {"/PRMD=mm/C=gb/", "UNIX"},
        {"/C=de/", longest},
        {"/T61.O=\xC8O/C=us/", "TELETEX"},
        {"/C=fr/", ""},
    };
    for (const auto &[name, node] : rows) {
        const auto route = std::make_unique<akt_route>();
        EXPECT_EQ(akt_CheckRoutable(orn_of(name).c_str(), route.get()) != 0, !node.empty()) << name;
        EXPECT_EQ(route->node, node) << name;
    }
    EXPECT_EQ(log.take(), (LogEntries{skipped_line("routes:4", "it has no O/R name"),
                                      skipped_line("routes:5", "a part has no \"=\""),
                                      skipped_line("routes:6", "the node's name is longer than 64 characters")}));
    home.write("routes", "SOME\0 /C=us/\nSOME /\0C=us/\nALL /\n"s);
    akt_route route;
    EXPECT_TRUE(akt_CheckRoutable("", &route));
    EXPECT_STREQ(route.node, "ALL");
    EXPECT_EQ(log.take(), (LogEntries{skipped_line("routes:1", "it holds a zero byte"),
                                      skipped_line("routes:2", "it holds a zero byte")}));
}

TEST(ClReadDefMNode, GivesTheFirstNodeOfAType) {
    const std::string longest(CL_NODE_SIZE - 1, 'x');
    const TempHome home{{"mailnodes", "1 /O=Gateway/C=gb/\n7x /C=gb/\n8 /\n8 /Q=1/\n9 /S=" + longest +
                                          "x/\n9 /S=" + longest + "/\n1 /C=us/\n-3 /C=de/"}};
    LogCapture log;
    for (const auto &[type, want] :
         {std::pair{1, "/O=Gateway/C=gb/"s}, {9, "/S=" + longest + "/"}, {-3, "/C=de/"}, {7, ""}, {8, ""}}) {
        const std::unique_ptr<char[]> orn{new char[CL_NODE_SIZE]};
        cl_ReadDefMNode(type, orn.get());
        EXPECT_EQ(text_form(orn.get()), want) << type;
    }
    EXPECT_EQ(log.take(), (LogEntries{skipped_line("mailnodes:2", "it does not begin with the number of a node type"),
                                      skipped_line("mailnodes:3", "its O/R name is empty"),
                                      skipped_line("mailnodes:4", "a keyword is not known"),
                                      skipped_line("mailnodes:5", "its O/R name is longer than 1023 bytes")}));
}

TEST(ClConvClMntoORN, PutsEightBitValuesInTheirT61Forms) {
    const struct {
        const char *charset;
        std::string text;
        std::string want;
        int failure;
    } rows[] = {
        {"ISO8859_1", "OU=K\xF6ln/DD.T=\xF6/C=de/", "/C=de/DD.T=/T61.OU1=K\xC8oln/T61.DD.=\xC8o/", 0},
        {"T61INTL", "O=\xC8o/T61.S=\xC8o", "/T61.S=\xC8o/T61.O=\xC8o/", 0},
        {"ISO8859_1", "O=Acme/Q=1", "", 910},
        {"ISO8859_1", "O=\xF6/T61.O=o", "", 910},
        {"ISO8859_1", "O=" + std::string(2100, '\xF6'), "", 910},
        {"ISO8859_1", "C=\xF6", "", 911},
        {"ISO8859_1", "IA=\xF6@x", "", 911},
    };
    for (const auto &row : rows) {
        ccs_descriptor descriptor;
        ASSERT_TRUE(ccs_GetCSDescriptor(row.charset, &descriptor));
        std::array<char, NM_ORN_SIZE> orn{"junk"};
        const auto failure = failure_of([&] { cl_ConvClMntoORN(row.text.c_str(), orn.data(), 1, 1, &descriptor); });
        EXPECT_EQ(failure ? failure->number : 0, row.failure) << row.text;
        EXPECT_EQ(text_form(orn.data()), row.want) << row.text;
    }
}

}  // namespace
