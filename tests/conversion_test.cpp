// Internet addresses into O/R names, and every conversion with each of its service calls failing once.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "dr.h"
#include "er_capture.h"
#include "fault_matrix.h"
#include "frame.h"
#include "fresh_process.h"
#include "mim.h"
#include "orn_name.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

constexpr const char *kRules = "# the local part\n$*@$* $@$1\n";
constexpr const char *kMap = "example.org#C$us.O$acme#\nhost#C$hh#\nb#C$bb#\nrelay#C$rr#\n@#C$none#\n";
constexpr const char *kNodes = "1 /OU1=mime/O=gw/ADMD=a/C=us/\n7 /O=tnef/T61.O=tn\xC2or/C=us/\n";

OrnName convert(const std::string &address, unsigned char flags = 0) {
    OrnName name;
    mim_ArpaToORN2(address.c_str(), name.orn.data(), &name.index, flags);
    return name;
}

// The fields that a mail node decides: OU1/O/T61.O/PRMD/C/.
std::string routing(const OrnName &name) {
    std::string text;
    for (const int field : {NM_OU1 + 0, NM_ORGANISATION + 0, NM_T61 + NM_ORGANISATION, NM_PRMD + 0, NM_COUNTRY + 0}) {
        text += name.field(field) + "/";
    }
    return text;
}

TEST(ArpaToORN, FindsTheDomain) {
    const TempHome home{{"unixmap.gw", kMap}, {"mailnodes", "1 /C=miss/"}};
    const struct {
        const char *address, *country;
    } rows[] = {
        {"user@host", "hh"},       {"host!user", "hh"},      {"a!b!user", "bb"},     {"user%relay@gw", "rr"},
        {"a!u%relay@gw", "rr"},    {"a!host!u@gw", "hh"},    {"user", "none"},       {"@r1,@r2:user@host", "hh"},
        {"@host", "none"},         {"\"a@b\"@host", "miss"}, {"x <u@host>", "none"}, {" \"u\"\\@host ", "hh"},
        {"u@unknown", "miss"},     {"(a@b)u@host", "hh"},    {"!u@host", "hh"},      {"%u@host", "hh"},
        {"@r:u%relay@host", "rr"}, {"u@a@host", "miss"},     {"", "none"},           {"u@HOST\t", "hh"},
    };
    for (const auto &row : rows) {
        const OrnName name = convert(row.address);
        EXPECT_EQ(name.field(NM_COUNTRY), row.country) << row.address;
        EXPECT_EQ(name.field(NM_DDA1_TYPE), "RFC-822");
        EXPECT_EQ(name.field(NM_DDA1_VALUE), row.address);
    }
}

TEST(ArpaToORN, MakesTheSurname) {
    const TempHome home{{"unixin.rules", std::string{kRules} + "this#is a comment\n"
                                                               "one-token\n"
                                                               "five x# $5\n"
                                                               "six\tx y z\n"
                                                               "$+ $:$1\n"}};
    const struct {
        const char *address, *surname;
    } rows[] = {
        {"jdoe@example.org", "jdoe"},
        {"j_doe@x", "j.doe"},
        {"\"john doe\"@x", "john doe"},
        {"j\\\"d\tx@x", "jd x"},
        {"five", "x"},
        {"six", "x"},
        {" '()+-/:=?.,aZ9", "'()+-/:=?.,aZ9"},
        {"\xE4&*;<>{}", "........"},
        {"@x", "Internet user"},
        {"", "Internet user"},
        {"12345678901234567890123456789012345678901234567890@x", "1234567890123456789012345678901234567890"},
    };
    for (const auto &row : rows) {
        std::vector<char> surname(MIM_SURNAME_SIZE, '#');
        mim_GetSurnameFromArpaORN(row.address, surname.data());
        EXPECT_STREQ(surname.data() + (surname[0] == ' ' ? 1 : 0), row.surname) << row.address;
    }
}

TEST(ArpaToORN, WithoutRulesTakesTheMessage) {
    TempHome home{{"messages", "102 1413 Somebody on the Internet, whose name is not known here\n"}};
    EXPECT_EQ(convert("jdoe@x").field(NM_SURNAME), "Somebody on the Internet, whose name is");
    home.write("unixin.rules", "");
    EXPECT_EQ(convert("jdoe@x").field(NM_SURNAME), "jdoe.x") << "an empty file is no missing file";
    const std::string line(254, '#');
    home.write("unixin.rules", "jdoe@x a" + line + "\na b#" + line + "\n$* $1c" + std::string(300, 'd') + "\n");
    EXPECT_EQ(convert("jdoe@x").field(NM_SURNAME).substr(0, 3), "bcd") << "a long line is read as several";
}

TEST(ArpaToORN, TakesTheRoutingOfTheDefaultNode) {
    TempHome home{{"mailnodes", kNodes}};
    EXPECT_EQ(routing(convert("u@unknown")), "mime/gw///us/");
    OrnName name = convert("u@unknown", MIM_FLAG_TNEF);
    EXPECT_EQ(routing(name), "/tnef/tn\xC2or//us/");
    mim_ArpaToORN("u@unknown", name.orn.data(), &name.index, 5);
    EXPECT_EQ(name.field(NM_ORGANISATION) + name.field(NM_COMMON_NAME), "tnef");

    nm_PutFieldStr(name.orn.data(), &name.index, NM_PRMD, "old");
    mim_SetOrgUAddress(name.orn.data(), &name.index, 3);
    EXPECT_EQ(routing(name), "mime/gw/tn\xC2or//us/")
        << "type 1 for a type without a node; absent empties, but a node without T.61 forms leaves them";

    const LogCapture log;  // kept from the system's
    home.write("mailnodes", "");
    EXPECT_EQ(routing(convert("u@unknown")), "/////");
}

TEST(ArpaToORN, TakesTheRoutingOfTheOverride) {
    TempHome home{{"mailnodes", kNodes}};
    const struct {
        const char *name, *customise, *want;
    } rows[] = {
        {"applies", "MIME_MN_OVERRIDE=/O=over/PRMD=p/ADMD=a/C=us/", "/over//p/us/"},
        {"in Latin 1 by default", "MIME_MN_OVERRIDE=/O=\xE9/PRMD=p/ADMD=a/C=us/", "//\xC2\x65/p/us/"},
        {"in its set", "MIME_MN_OVERRIDE=/O=\xC3\xA9/PRMD=p/ADMD=a/C=us/\nUAL_DEF_MIME_MN_OVERRIDE_CS=UTF8",
         "//\xC2\x65/p/us/"},
        {"unknown set", "MIME_MN_OVERRIDE=/O=o/PRMD=p/ADMD=a/C=us/\nUAL_DEF_MIME_MN_OVERRIDE_CS=X", "mime/gw///us/"},
        {"no address", "MIME_MN_OVERRIDE=/O=over/", "mime/gw///us/"},
        {"of the other gateway", "TNEF_MN_OVERRIDE=/O=over/PRMD=p/ADMD=a/C=us/", "mime/gw///us/"},
    };
    for (const auto &row : rows) {
        home.write("customise", "UAL_DEF_" + std::string{row.customise});
        EXPECT_EQ(routing(convert("u@unknown")), row.want) << row.name;
        EXPECT_EQ(er_GetCurrEnv(), nullptr) << row.name;
    }
    EXPECT_EQ(routing(convert("u@unknown", MIM_FLAG_TNEF)), "/over//p/us/");
}

TEST(ArpaToORN, ChoosesTheTypeOfTheDda) {
    TempHome home;
    for (const auto &[value, type] : {std::pair{"yes", "ZTMEXT1"}, {"", "ZTMEXT1"}, {"No", "RFC-822"}}) {
        home.write("customise", std::string{"UXI_DDATYPE_ZTMEXT="} + value);
        EXPECT_EQ(convert("u@x").field(NM_DDA1_TYPE), type) << value;
    }
}

TEST(ArpaToORN, KeepsLongAddressesWhole) {
    const TempHome home{{"unixin.rules", kRules}, {"unixmap.gw", kMap}};
    for (const std::size_t size : {1023U, 1024U, 1025U, 3000U}) {
        const std::string address = std::string(size - 5, 'a') + "@host";
        const OrnName name = convert(address);
        EXPECT_EQ(name.field(NM_DDA1_VALUE), address);
        EXPECT_EQ(name.field(NM_COUNTRY), size <= MIM_MAX_TEXT ? "hh" : size == 1025 ? "" : "none") << size;
        EXPECT_EQ(name.field(NM_SURNAME).size(), std::size_t{MIM_MAX_SURNAME});
    }
    EXPECT_TRUE(is_failure(failure_of([] { convert(std::string(5000, 'a')); }), 100, 905));
}

TEST(ArpaToORN, MailCannotInjectFields) {
    const TempHome home{{"unixin.rules", "x y\n"}, {"unixmap.gw", "@#C$none#\n"}};
    const OrnName name = convert("x\x1Dy\x17z\x1B");
    EXPECT_EQ(name.field(NM_DDA1_VALUE), "x y z\x1B");
    EXPECT_EQ(name.field(NM_GIVEN_NAME), "");
    EXPECT_EQ(name.field(NM_COUNTRY), "none");
}

TEST(Faults, EveryServiceCallMayFail) {
    const TempHome home{{"unixin.rules", std::string{kRules} + "$*x$*" + "[y $1\n"},
                        {"unixmap.gw", kMap},
                        {"mailnodes", kNodes},
                        {"customise",
                         "UAL_DEF_MIME_MN_OVERRIDE=/O=over/OU=\xE9/PRMD=p/ADMD=a/C=us/\nMAP=on\n"
                         "UX_NAME_MAPPING_DIR=people\nINET_IA_RESOLVE_MASK=/S/\n"},
                        {"config", std::string(MIM_CONFIG_MODE + 2, '\1')},
                        {"routes", "OTHER /C=de/\n"},
                        {"unixmap.out", "C$us.O$acme#acme.x#\n"},
                        {"unixout.rules", "$+ $@$1@r.x\n"},
                        {"directory/people.ldif",
                         "dn: 1\nS: Smith\n167: j@x\n\ndn: 2\nS: Jones\nDD.RFC-822: k@x\n\n"
                         "dn: 3\nS: Twin\nG: a\n\ndn: 4\nS: Twin\nG: b\n"}};
    const LogCapture log;  // kept from the system's
    const auto orn_of = [](const char *address, unsigned char flags) {
        return [=] { return std::string{convert(address, flags).orn.data()}; };
    };
    const auto name_of = [](const char *text) { return std::string{parsed(text).orn.data()}; };
    const std::int16_t people = dr_OpenDir(0, DR_READ, "people", "");
    ccs_descriptor japanese{};
    ccs_GetCSDescriptor("ISO2022_JP", &japanese);
    const auto address_of = [&](const char *name, int routable) {
        return [people, routable, orn = name_of(name)] {
            return answer([&](char *out) {
                return mim_ConvORNIaToArpaORN(orn.c_str(), out, routable, "", 1, people, "167", 0, 1, 3, '/', 1, 1,
                                              1);
            });
        };
    };
    const std::string hostile = "[" + std::string(600, '"') + "x";
    const struct {
        const char *name;
        int least_calls;  // that the call makes: the matrix must not shrink unseen
        std::function<std::string()> call;
        const char *given_up = nullptr;  // what it gives for good when it failed at its start
    } rows[] = {
        {"mapped", 20, orn_of("jdoe@host", MIM_FLAG_COMMON_NAME)},
        {"override", 40, orn_of("jdoe@unknown", 0)},
        {"default node", 40, orn_of("jdoe@unknown", MIM_FLAG_TNEF)},
        {"message", 5,
         [] { return written(MIM_SURNAME_SIZE, [](char *out) { mim_GetSurnameFromArpaORN("", out); }); }},
        {"matcher with much memory", 2,
         [&hostile] {
             std::array<const char *, MIM_CAPTURES> starts{};
             std::array<int, MIM_CAPTURES> lengths{};
             return std::to_string(mim_MatchRulePattern(hostile.c_str(), "$*x$*", starts.data(), lengths.data(), 0));
         }},
        {"recorded address", 5, address_of("/IA=(none)/CN=MAIL-SYSTEM/", 0)},
        {"entry's address", 15, address_of("/S=smith/", 1)},
        {"entry's attribute", 10, address_of("/S=Jones/", 1)},
        {"ambiguous name in the map", 20, address_of("/S=Twin/T61.S=t/I=J/T61.I=J/CN=c/O=acme/C=us/", 0)},
        {"rules", 20, address_of("/S=Kim/O=o/", 1)},
        {"formatted name", 50, address_of("/T61.I=J/DD.T=v/O=o/", 1)},
        {"certificate", 30,
         [] { return answer([](char *out) { return mim_ConvORNToCertSMTP("Kim", out, 0, 0, 1); }); }, "0 -"},
        {"mapping", 5,
         [] {
             std::int16_t directory = 0;
             std::array<char, MIM_DIRECTORY_SIZE> name{};
             return answer([&](char *out) {
                 const int is_on = mim_ChkMappingConfig("MAP", name.data(), &directory, 0, out, 0);
                 return 10 * is_on + mim_CloseMapDir(directory, 0);
             });
         }},
        {"formatting", 10,
         [] {
             int flag = 0;
             std::array<char, MIM_RESERVED_SIZE + 1> text{};
             std::int16_t number = 0;
             mim_SetDelimsAndLimits(&flag, &flag, text.data(), text.data() + 1, &number, &number);
             return text[0] + std::to_string(number);
         }},
        {"words", 25,
         [charset = japanese]() mutable {
             std::array<char, MIM_ENCODED_SIZE> word{};
             const std::string value = "a\x1B$BF|K\\F|K\\\x1B(B";
             const char *const end = value.c_str() + value.size();
             std::string words;
             const char *rest = value.c_str();
             for (int start = 1; rest != nullptr; start = 0) {
                 rest = mim_EncodeFold(rest, static_cast<int>(end - rest), word.data(), 48, start, &charset, 'B', 1,
                                       nullptr, 0, 0);
                 words += word.data();
             }
             return words;
         }},
        {"types", 20,
         [] {
             int type = 0;
             std::array<char, MIM_TYPE_HEADER_SIZE> header{};
             std::array<char, MIM_CHARSET_SIZE> charset{};
             mim_MimeToKVType("text/plain; charset=x-none", "=?US-ASCII?Q?a.gif?=", charset.data(), &type);
             mim_KVToMimeType(1, "MIME-x-none", header.data());
             return mim::traced<mim::TraceClass::kMain>("untraced", [&] {
                 return charset.data() + std::to_string(type) + header.data() + mim_getFileExt(1) +
                        mim_CnvStringTo1stLossless(charset.data(), "UTF8", header.data(), "x-none,IA5");
             });
         }},
        {"short name", 1,
         [] {
             return mim::traced<mim::TraceClass::kMain>(
                 "untraced", [] { return std::string{mim_MakeFname8dot3("a.txt", 7)}.substr(1); });
         }},
        {"extracts", 4,
         [orn = name_of("/IA=j@x/CN=c/")] {
             return std::string{mim_ExtractIaFromORN(orn.c_str())} + mim_ExtractCnFromORN(orn.c_str());
         }},
    };
    int total = 0;
    int allocations = 0;
    for (const auto &row : rows) {
        const char *const given_up = row.given_up != nullptr ? row.given_up : "-";
        for (const auto fault : {spy::Fault::kRecoverable, spy::Fault::kPersistent}) {
            const int calls = fail_every_call(row.name, fault, row.call, given_up);
            EXPECT_GE(calls, row.least_calls) << row.name;
            total += calls;
        }
        for (const auto fault : {spy::Fault::kAllocation, spy::Fault::kAllocations}) {
            allocations += fail_every_call(row.name, fault, row.call, given_up);
        }
    }
    dr_CloseDir(people);
    EXPECT_GT(allocations, 100);
    std::cout << "failed " << total << " service calls and " << allocations << " allocations, one at a time\n";
}

// A failure while a file is read ends the reading; what was read before it counts.
TEST(Faults, AFileThatFailsHalfWayKeepsWhatWasRead) {
    const TempHome home{{"unixin.rules", "jdoe@x a\na b\nb c\n"}, {"unixmap.gw", "x#C$first#\na.x#C$second#\n"}};
    std::string surnames;
    for (int nth = 1; nth <= 6; ++nth) {  // os_fopen, os_fgets for each line and the end, os_fclose
        std::array<char, MIM_SURNAME_SIZE> surname{};
        spy::fail_call(nth, spy::Fault::kRecoverable);
        mim_GetSurnameFromArpaORN("jdoe@x", surname.data());
        EXPECT_NE(spy::end_fault(), "");
        surnames += std::string{surname.data()} + " ";
    }
    std::string countries;
    for (int nth = 2; nth <= 6; ++nth) {  // os_fexists first, then likewise
        OrnName name;
        nm_InitORN(name.orn.data(), &name.index);
        spy::fail_call(nth, spy::Fault::kRecoverable);
        mim_ArpaDomainLookup("~/sys/unixmap.gw", "a.x", name.orn.data(), &name.index, 0);
        EXPECT_EQ(spy::end_fault().substr(0, 3), "os_");
        countries += name.field(NM_COUNTRY) + " ";
    }
    EXPECT_EQ(surnames, "Internet user jdoe.x a b c c ");
    EXPECT_EQ(countries, "  first second second ");
}

}  // namespace
