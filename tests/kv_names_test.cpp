// Checks of O/R names, routes and mail nodes.

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "akt.h"
#include "cl.h"
#include "failure.h"
#include "log_capture.h"
#include "mes.h"
#include "nm.h"
#include "temp_home.h"

namespace {

std::string orn_of(const std::string &text_form) {
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    EXPECT_TRUE(nm_ParseText(text_form.c_str(), orn.data(), &index, nullptr)) << text_form;
    return orn.data();
}

std::string text_of(const char *orn) {
    std::array<char, NM_TEXT_SIZE> text{};
    nm_FormatText(orn, text.data(), NM_TEXT_SIZE);
    return text.data();
}

std::vector<std::pair<int, std::string>> skipped(const char *file,
                                                 std::initializer_list<std::pair<int, const char *>> lines) {
    std::vector<std::pair<int, std::string>> entries;
    for (const auto &[number, reason] : lines) {
        entries.emplace_back(ER_SEVERITY_WARNING, std::string("100/920: ~/sys/") + file + ":" +
                                                      std::to_string(number) + ": line skipped: " + reason);
    }
    return entries;
}

TEST(AktCheckORName, AcceptsKnownSevenBitFieldsOnly) {
    const struct {
        std::string orn;
        bool accepted;
    } rows[] = {
        {orn_of("/S=a/C=us/PD-LOCAL=x/DD.T=v/"), true},
        {orn_of("/T61.S=M\xC8uller/IA=m\xC3\xBC@x/S=Muller/"), true},
        {"\x1Dx\x1D", true},
        {"", false},
        {"\x1D\x17", false},
        {orn_of("/S=M\xC8uller/"), false},
        {orn_of("/DD.T=\x80/"), false},
        {orn_of("/S=a/FIELD.23=x/"), false},
        {orn_of("/S=a/FIELD.97=x/"), false},
        {"a\x17\x17"
         "b\x17",
         false},
        {std::string(NM_ORN_SIZE, 'x'), false},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(akt_CheckORName(row.orn.c_str()) != 0, row.accepted) << text_of(row.orn.c_str());
    }
}

TEST(AktCheckFieldsPresent, KnowsTheFormsOfAnAddress) {
    const struct {
        const char *name;
        bool accepted;
    } rows[] = {
        {"C=us/ADMD=a/PRMD=p", true},
        {"C=us/ADMD=a/O=o", true},
        {"C=us/ADMD=a/OU3=u", true},
        {"C=us/ADMD=a/S=s", true},
        {"C=us/ADMD=a/CN=c", true},
        {"C=us/ADMD=a/DD.T=v", true},
        {"C=us/ADMD=a/T61.OU4=u", true},
        {"C=us/ADMD=a/T61.CN=c", true},
        {"C=us/ADMD=a/DD.=/DD.T=/T61.DD.=/T61.DD.=v", true},
        {"C=us/ADMD=a/UA-ID=1", true},
        {"C=us/ADMD=a/PD-C=us/PD-CODE=1", true},
        {"X121=1", true},
        {"", false},
        {"C=us/ADMD=a", false},
        {"C=us/PRMD=p/O=o/S=s", false},
        {"ADMD=a/PRMD=p/O=o/S=s", false},
        {"C=us/ADMD=a/G=g", false},
        {"C=us/ADMD=a/DD.T=/DD.=v", false},
        {"C=us/ADMD=a/PD-C=us", false},
        {"C=us/ADMD=a/PD-CODE=1", false},
        {"UA-ID=1", false},
        {"C=us/ADMD=a/IA=j@x", false},
        {"C=us/ADMD=a/FIELD.76=1", false},
    };
    for (const auto &row : rows) {
        std::uint32_t maps[NM_MAP_WORDS];
        nm_index index;
        nm_ParseORN(orn_of(row.name).c_str(), &index, maps);
        EXPECT_EQ(akt_CheckFieldsPresent(maps) != 0, row.accepted) << row.name;
    }
}

TEST(AktCheckRoutable, TakesTheFirstLineThatFits) {
    const std::string longest(AKT_NODE_SIZE - 1, 'N');
    TempHome home{{"routes",
                   "# node name\n"
                   "FELIX /OU1=Felix/PRMD=m/ADMD=a/C=gb/\n"
                   "\n"
                   "LONDON\n"
                   "LONDON PRMD=m/ADMD\n" +
                       longest + "x /C=fr/\n" + longest +
                       " /C=de/\n"
                       "LONDON \t PRMD=m/ADMD=a/C=gb/S=ignored\r\n"
                       "TELETEX T61.O=\xC8uber/\n"
                       "UNIX C=gb"}};
    LogCapture log;
    const struct {
        const char *name;
        std::string node;
    } rows[] = {
        {"/S=ops/OU1=FELIX/O=any/PRMD=M/ADMD=a/C=gb/", "FELIX"},
        {"/OU1=Felixstowe/PRMD=m/ADMD=a/C=gb/", "LONDON"},
        {"/OU2=Felix/PRMD=m/ADMD=a/C=GB/", "LONDON"},
        {"/PRMD=mm/ADMD=a/C=gb/", "UNIX"},
        {"/C=de/", longest},
        {"/T61.O=\xC8uBER/C=de/", longest},
        {"/T61.O=\xC8uBER/C=us/", "TELETEX"},
        {"/C=us/", ""},
        {"/C=fr/", ""},
        {"", ""},
    };
    for (const auto &row : rows) {
        const auto route = std::make_unique<akt_route>();
        EXPECT_EQ(akt_CheckRoutable(orn_of(row.name).c_str(), route.get()) != 0, !row.node.empty())
            << row.name;
        EXPECT_EQ(route->node, row.node) << row.name;
    }
    EXPECT_EQ(log.take(), skipped("routes", {{4, "it has no O/R name"},
                                             {5, "a part has no \"=\""},
                                             {6, "the node's name is longer than 64 characters"}}));
    home.write("routes", "ALL /\n");
    akt_route route;
    EXPECT_TRUE(akt_CheckRoutable("", &route));
    std::filesystem::remove(home.path("routes"));
    ext_SetHome(home.directory().c_str());
    EXPECT_FALSE(akt_CheckRoutable("", &route));
}

TEST(ClReadDefMNode, GivesTheFirstNodeOfAType) {
    const std::string longest(CL_NODE_SIZE - 1, 'x');
    const TempHome home{{"mailnodes",
                         "1 /O=Gateway/C=gb/\n"
                         "7x /C=gb/\n"
                         "8 /\n"
                         "8 /Q=1/\n"
                         "9 /S=" +
                             longest +
                             "x/\n"
                             "9 /S=" +
                             longest +
                             "/\n"
                             "1 /C=us/\n"
                             "-3 /C=de/"}};
    LogCapture log;
    for (const auto &[type, want] : {std::pair{1, std::string("/O=Gateway/C=gb/")},
                                     {9, "/S=" + longest + "/"},
                                     {-3, "/C=de/"},
                                     {7, ""},
                                     {8, ""},
                                     {0, ""}}) {
        const std::unique_ptr<char[]> orn{new char[CL_NODE_SIZE]};
        cl_ReadDefMNode(type, orn.get());
        EXPECT_EQ(text_of(orn.get()), want) << type;
    }
    EXPECT_EQ(log.take(), skipped("mailnodes", {{2, "it does not begin with the number of a node type"},
                                                {3, "its O/R name is empty"},
                                                {4, "a keyword is not known"},
                                                {5, "its O/R name is longer than 1023 bytes"}}));
}

TEST(ClConvClMntoORN, PutsEightBitValuesInTheirT61Forms) {
    const std::string long_value(2100, '\xE9');
    const struct {
        const char *charset;
        std::string text;
        std::string want;
        int failure;
    } rows[] = {
        {"ISO8859_1", "/O=Acme/OU=Caf\xE9/DD.T=\xE9/C=fr/",
         "/O=Acme/C=fr/DD.T=/T61.OU1=Caf\xC2"
         "e/T61.DD.=\xC2"
         "e/",
         0},
        {"UTF8", "O=\xC3\xA9",
         "/T61.O=\xC2"
         "e/",
         0},
        {"T61INTL",
         "O=\xC2"
         "e/T61.S=\xC2"
         "e",
         "/T61.S=\xC2"
         "e/T61.O=\xC2"
         "e/",
         0},
        {"IA5", "O=a\\/b", "/O=a\\/b/", 0},
        {"ISO8859_1", "O=Acme/Q=1", "", 910},
        {"ISO8859_1", "O=\xE9/T61.O=e", "", 910},
        {"ISO8859_1", "O=" + long_value, "", 910},
        {"ISO8859_1", "C=\xE9", "", 911},
        {"ISO8859_1", "IA=\xE9@x", "", 911},
    };
    for (const auto &row : rows) {
        ccs_descriptor descriptor;
        ASSERT_TRUE(ccs_GetCSDescriptor(row.charset, &descriptor));
        std::array<char, NM_ORN_SIZE> orn{"junk"};
        const auto failure =
            failure_of([&] { cl_ConvClMntoORN(row.text.c_str(), orn.data(), 1, 1, &descriptor); });
        EXPECT_EQ(failure ? failure->number : 0, row.failure) << row.text;
        EXPECT_EQ(text_of(orn.data()), row.want) << row.text;
    }
}

}  // namespace
