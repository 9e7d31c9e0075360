// Internet addresses into O/R names, and the same with every service call failing once.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "failure.h"
#include "mim.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

constexpr const char *kRules = "# the local part\n$*@$* $@$1\n";
constexpr const char *kMap = "example.org#C$us.O$acme#\nhost#C$hh#\nb#C$bb#\nrelay#C$rr#\n@#C$none#\n";
constexpr const char *kNodes =
    "1 /OU1=mime/O=gw/ADMD=a/C=us/\n7 /O=tnef/T61.O=tn\xC2\x65"
    "f/C=us/\n";

struct Name {
    [[nodiscard]] std::string field(int number) const {
        std::array<char, NM_ORN_SIZE> text{};
        nm_GetFieldStr(orn.data(), &index, number, text.data(), static_cast<int>(text.size()));
        return text.data();
    }

    std::vector<char> orn = std::vector<char>(NM_ORN_SIZE, '#');
    nm_index index{};
};

Name convert(const std::string &address, unsigned char flags = 0) {
    Name name;
    mim_ArpaToORN2(address.c_str(), name.orn.data(), &name.index, flags);
    return name;
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
        const Name name = convert(row.address);
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
    const Name name = convert("jdoe@example.org", MIM_FLAG_COMMON_NAME);
    EXPECT_EQ(name.field(NM_SURNAME), "jdoe");
    EXPECT_EQ(name.field(NM_COMMON_NAME), "jdoe");
    EXPECT_EQ(convert("jdoe@example.org").field(NM_COMMON_NAME), "");
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
    Name name = convert("u@unknown");
    EXPECT_EQ(name.field(NM_OU1) + name.field(NM_ORGANISATION) + name.field(NM_ADMD), "mimegwa");
    name = convert("u@unknown", MIM_FLAG_TNEF);
    EXPECT_EQ(name.field(NM_OU1) + name.field(NM_ORGANISATION) + name.field(NM_T61 + NM_ORGANISATION),
              "tneftn\xC2\x65"
              "f");
    mim_ArpaToORN("u@unknown", name.orn.data(), &name.index, 5);
    EXPECT_EQ(name.field(NM_ORGANISATION) + name.field(NM_COMMON_NAME), "tnef");

    nm_PutFieldStr(name.orn.data(), &name.index, NM_PRMD, "old");
    mim_SetOrgUAddress(name.orn.data(), &name.index, 3);
    EXPECT_EQ(name.field(NM_OU1) + name.field(NM_PRMD), "mime") << "type 1 for a type without a node; absent empties";
    EXPECT_EQ(name.field(NM_T61 + NM_ORGANISATION),
              "tn\xC2\x65"
              "f")
        << "a node without T.61 forms leaves them";

    std::string logged;
    er_SetLogSink(
        [](void *context, int severity, const char *line) {
            *static_cast<std::string *>(context) += std::to_string(severity) + " " + std::string{line}.substr(0, 8);
        },
        &logged);
    home.write("mailnodes", "");
    EXPECT_EQ(convert("u@unknown").field(NM_COUNTRY), "");
    er_SetLogSink(nullptr, nullptr);
    EXPECT_EQ(logged, "5 102/1423");
}

TEST(ArpaToORN, TakesTheRoutingOfTheOverride) {
    TempHome home{{"mailnodes", kNodes}};
    const struct {
        const char *name, *customise, *organisation, *t61_organisation;
    } rows[] = {
        {"applies", "UAL_DEF_MIME_MN_OVERRIDE=/O=over/PRMD=p/ADMD=a/C=us/", "over", ""},
        {"in Latin 1 by default", "UAL_DEF_MIME_MN_OVERRIDE=/O=\xE9/PRMD=p/ADMD=a/C=us/", "", "\xC2\x65"},
        {"in its set", "UAL_DEF_MIME_MN_OVERRIDE=/O=\xC3\xA9/PRMD=p/ADMD=a/C=us/\nUAL_DEF_MIME_MN_OVERRIDE_CS=UTF8",
         "", "\xC2\x65"},
        {"unknown set", "UAL_DEF_MIME_MN_OVERRIDE=/O=o/PRMD=p/ADMD=a/C=us/\nUAL_DEF_MIME_MN_OVERRIDE_CS=X", "gw", ""},
        {"no address", "UAL_DEF_MIME_MN_OVERRIDE=/O=over/", "gw", ""},
        {"no O/R name", "UAL_DEF_MIME_MN_OVERRIDE=over", "gw", ""},
        {"of the other gateway", "UAL_DEF_TNEF_MN_OVERRIDE=/O=over/PRMD=p/ADMD=a/C=us/", "gw", ""},
    };
    for (const auto &row : rows) {
        home.write("customise", row.customise);
        const Name name = convert("u@unknown");
        EXPECT_EQ(name.field(NM_ORGANISATION), row.organisation) << row.name;
        EXPECT_EQ(name.field(NM_T61 + NM_ORGANISATION), row.t61_organisation) << row.name;
        EXPECT_EQ(er_GetCurrEnv(), nullptr) << row.name;
    }
    EXPECT_EQ(convert("u@unknown", MIM_FLAG_TNEF).field(NM_ORGANISATION), "over");
}

TEST(ArpaToORN, ChoosesTheTypeOfTheDda) {
    TempHome home;
    const struct {
        const char *value, *type;
    } rows[] = {{"yes", "ZTMEXT1"}, {"True", "ZTMEXT1"},  {"1", "ZTMEXT1"}, {"", "ZTMEXT1"},
                {"no", "RFC-822"},  {"false", "RFC-822"}, {"0", "RFC-822"}};
    for (const auto &row : rows) {
        home.write("customise", "UXI_DDATYPE_ZTMEXT=" + std::string{row.value});
        EXPECT_EQ(convert("u@x").field(NM_DDA1_TYPE), row.type) << row.value;
    }
}

TEST(ArpaToORN, KeepsLongAddressesWhole) {
    const TempHome home{{"unixin.rules", kRules}, {"unixmap.gw", kMap}};
    for (const std::size_t size : {1023U, 1024U, 1025U, 3000U}) {
        const std::string address = std::string(size - 5, 'a') + "@host";
        const Name name = convert(address);
        EXPECT_EQ(name.field(NM_DDA1_VALUE), address);
        EXPECT_EQ(name.field(NM_COUNTRY), size <= MIM_MAX_TEXT ? "hh" : size == 1025 ? "" : "none") << size;
        EXPECT_EQ(name.field(NM_SURNAME).size(), std::size_t{MIM_MAX_SURNAME});
    }
    EXPECT_TRUE(is_failure(failure_of([] { convert(std::string(5000, 'a')); }), 100, 905));
}

TEST(ArpaToORN, MailCannotInjectFields) {
    const TempHome home{{"unixin.rules", "x y\n"}, {"unixmap.gw", "@#C$none#\n"}};
    const Name name = convert(
        "a\x1D"
        "b\x17"
        "c\x1B");
    EXPECT_EQ(name.field(NM_DDA1_VALUE), "a b c\x1B");
    EXPECT_EQ(name.field(NM_GIVEN_NAME), "");
    EXPECT_EQ(name.field(NM_COUNTRY), "none");
}

TEST(TextCleaning, RemovesQuotesAndControls) {
    const auto cleaned = [](const std::string &text, void (*clean)(char *)) {
        std::vector<char> buffer(text.c_str(), text.c_str() + text.size() + 1);
        clean(buffer.data());
        return std::string{buffer.data()};
    };
    EXPECT_EQ(cleaned(R"(\"a\\b"")", mim_RemoveQuotes), "ab");
    EXPECT_EQ(cleaned("\\" + std::string(2000, 'a'), mim_RemoveQuotes), std::string(1024, 'a'));
    EXPECT_EQ(cleaned("\x01\ta\tb\x1F \n", mim_SpaceTrimming),
              "a\x20"
              "b");
    EXPECT_EQ(cleaned("\x0E\x0F\x19\x1B\x1D \x7F\xA0", mim_SpaceTrimming), "\x0E\x0F\x19\x1B\x1D \x7F\xA0");
    EXPECT_EQ(cleaned(" ", mim_SpaceTrimming), "");
}

// Runs `call` with its first service call failing, then its second, until none is left: each time it ends in
// its normal way or with that failure in the caller's environment, announces one exit for each entry that it
// left normally, and works again after it. Returns how many calls it makes.
int fail_every_call(const char *name, spy::Fault fault, const std::function<std::string()> &call) {
    const std::string normal = call();
    for (int nth = 1;; ++nth) {
        std::string calls_left_open;
        er_SetTraceSink(
            [](void *context, const er_trace_event *event) {
                auto &open = *static_cast<std::string *>(context);
                if (event->kind == er_trace_event::ER_TRACE_ENTRY) {
                    open += std::string{event->function} + ";";
                } else if (event->kind == er_trace_event::ER_TRACE_EXIT) {
                    open.erase(open.rfind(event->function));
                }
            },
            &calls_left_open);
        spy::fail_call(nth, fault);
        const auto failure = failure_of([&call] { call(); });
        const std::string failed = spy::end_fault();
        er_SetTraceSink(nullptr, nullptr);
        EXPECT_EQ(er_GetCurrEnv(), nullptr) << name << " " << failed;
        EXPECT_EQ(call(), normal) << name << " after " << failed;
        if (failed.empty()) {
            EXPECT_FALSE(failure) << name;
            return nth - 1;
        }
        EXPECT_TRUE(!failure || is_failure(failure, spy::kFaultSet, spy::kFaultNumber)) << name << " " << failed;
        EXPECT_EQ(calls_left_open.empty(), !failure) << name << " " << failed << " left " << calls_left_open;
    }
}

TEST(Faults, EveryServiceCallMayFail) {
    const TempHome home{{"unixin.rules", std::string{kRules} + "$*x$*" + "[y $1\n"},
                        {"unixmap.gw", kMap},
                        {"mailnodes", kNodes},
                        {"customise", "UAL_DEF_MIME_MN_OVERRIDE=/O=over/OU=\xE9/PRMD=p/ADMD=a/C=us/"}};
    er_SetLogSink([](void *, int, const char *) {}, nullptr);
    const auto orn_of = [](const char *address, unsigned char flags) {
        return [=] { return std::string{convert(address, flags).orn.data()}; };
    };
    const std::string hostile = "[" + std::string(600, '"') + "x";
    const struct {
        const char *name;
        int least_calls;  // that the call makes: the matrix must not shrink unseen
        std::function<std::string()> call;
    } rows[] = {
        {"mapped", 20, orn_of("jdoe@host", MIM_FLAG_COMMON_NAME)},
        {"override", 40, orn_of("jdoe@unknown", 0)},
        {"default node", 40, orn_of("jdoe@unknown", MIM_FLAG_TNEF)},
        {"message", 5,
         [] {
             std::array<char, MIM_SURNAME_SIZE> surname{};
             mim_GetSurnameFromArpaORN("", surname.data());
             return std::string{surname.data()};
         }},
        {"matcher with much memory", 2,
         [&hostile] {
             std::array<const char *, MIM_CAPTURES> starts{};
             std::array<int, MIM_CAPTURES> lengths{};
             return std::to_string(mim_MatchRulePattern(hostile.c_str(), "$*x$*", starts.data(), lengths.data(), 0));
         }},
    };
    int total = 0;
    for (const auto &row : rows) {
        for (const auto fault : {spy::Fault::kRecoverable, spy::Fault::kPersistent}) {
            const int calls = fail_every_call(row.name, fault, row.call);
            EXPECT_GE(calls, row.least_calls) << row.name;
            total += calls;
        }
    }
    er_SetLogSink(nullptr, nullptr);
    std::cout << "failed " << total << " service calls, one at a time\n";
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
        Name name;
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
