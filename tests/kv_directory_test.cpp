// Directories: what is read of their files, searched, and made of O/R names and back.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "dr.h"
#include "er_capture.h"
#include "orn_name.h"
#include "q.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

using namespace std::string_literals;

int parse(const char *text, da_list &list) { return da_ParseEntry2(text, &list, 0, 0, 0, 0); }

std::string text_of(const da_list &list) {
    std::string text;
    for (int i = 0; const da_attribute *attribute = da_GetAttrib(&list, i); ++i) {
        text.append("/").append(attribute->name, static_cast<std::size_t>(attribute->name_length));
        text.append("=").append(attribute->value, static_cast<std::size_t>(attribute->value_length));
    }
    return text;
}

// What a search says: its result, the count, and the entry.
std::string search(std::int16_t directory, const std::string &filter, const char *wanted = "") {
    da_list list;
    parse(filter.c_str(), list);
    const da_entry *entry = nullptr;
    int count = -1;
    const int result = dr_Search(directory, "", "", &list, 0, 1, wanted, &entry, "", 1, -1, &count);
    EXPECT_EQ(da_ParseAttribList(entry, &list), list.count);
    return std::to_string(result) + " " + std::to_string(count) + " " + text_of(list);
}

// The number of the failure when a directory is opened, or else its handle. Passes by the spy, to which the files
// that a service reads are its own affair.
int open_directory(const std::string &name = "", const char *password = "") {
    static const auto open = reinterpret_cast<decltype(&dr_OpenDir)>(dlsym(RTLD_NEXT, "dr_OpenDir"));
    int handle = 0;
    const auto failure = failure_of([&] { handle = open(0, DR_READ, name.c_str(), password); });
    return failure ? failure->number : handle;
}

// Rows: a file, and what it tells or the line that is wrong.
TEST(Directory, ReadsLdif) {
    std::string crowd = "dn: x\n";
    for (int i = 0; i <= DA_MAX_ATTRIBUTES; ++i) {
        crowd += "a" + std::to_string(i) + ": x\na0: x\n";
    }
    const std::string longest(65536 - 2, 'v');
    const std::pair<std::string, std::string> rows[] = {
        {"version: 1\ndn: x\nk: 1\na: b", "/a=b"},
        {"# c\n  folded\nVersion:1\r\n\r\n\r\nDN:: eA==\r\nk: 1\r\na:b\r\n c\r\n", "/a=bc"},
        {"dn:\nk: 1\na:  b \n#c\n c\nb::\nA:: YiAg\n", "/a=b \x1D"s + "b  /b="},
        {"dn: x\nk: 1\na:: AQID\n /38B\n", "/a=\x01\x02\x03\xFF\x7F\x01"},
        {"dn: x\nk: 1\na: 1\nb: 2\na;lang-en;x: 3\nb: \xC3\xA9:<\n", "/a=1\x1D"s + "3/b=2\x1D\xC3\xA9:<"},
        {"dn: x\nuserpassword;x: p\nk: 1\nT61.DD.a_b-1.: v\nchangetype: v\n", "/T61.DD.a_b-1.=v/changetype=v"},
        {"dn: x\nk: 1\na:" + longest.substr(1) + "\n \n v\n", "/a=" + longest},
        {"version: 2\n", "1: only version 1 is known"},
        {"dn: x\na: b\n c\ndn: y\n", "4: a second dn: in a record; is a blank line missing?"},
        {"dn: x\nChangeType: add\n", "2: change records are not supported"},
        {"dn: x\na:< file:///etc/passwd\n", "2: values from URLs are not supported"},
        {"dn: x\n\n \n", "3: a continuation follows no line"},
        {"dn: x\nab\n", "2: the line has no colon"},
        {"dn: x\na;: b\n", "2: that is no name of an attribute"},
        {"dn: x\n" + std::string(DA_NAME_SIZE, 'n') + ": b\n", "2: that is no name of an attribute"},
        {"dn: x\na:: YQ=\n", "2: the value is no base64"},
        {"dn: x\na:: YQA\n =\n", "2: the value holds a byte 0, 23 or 29"},
        {crowd, "202: the entry has more than 100 attributes"},
        {"dn: x\nuserPassword: a\nUSERPASSWORD: a\n", "3: the directory has a second password"},
        {"dn: x\na:\n v" + longest + "\n", "2: the line is longer than 65536 characters"},
        {"dn: x\n\n" + std::string(1 << 20, 'd'), "3: the line is longer than 65536 characters"},
    };
    TempHome home;
    LogCapture log;
    for (const auto &[ldif, want] : rows) {
        home.write("directory/default.ldif", ldif);
        const bool is_good = want.front() == '/';
        EXPECT_EQ(open_directory("", "p"), is_good ? 1 : 934) << want;
        if (is_good) {
            EXPECT_EQ(search(1, "K=1") + search(1, "userPassword=p"), "0 1 /k=1" + want + "0 0 ");
            dr_CloseDir(1);
        } else {
            EXPECT_EQ(log.take()[0].second, "100/937: ~/sys/directory/default.ldif:" + want);
        }
    }
}

// Rows of values: as text, as base64, and as loose comparison sees it.
TEST(Directory, FindsWhatALinearSearchFinds) {
    constexpr std::array<const char *, 3> kValues[] = {{"x", "eA==", "X"},     {"X", "WA==", "X"},
                                                       {"x y", "eCB5", "X Y"}, {"x \tY", "eCAJWQ==", "X Y"},
                                                       {" x\t", "IHgJ", "X"},  {"", "", ""}};
    struct Attributes {
        std::string ldif, text;
        std::set<std::string> exact, loose;
    };
    std::mt19937 random{20261123};
    const auto some_attributes = [&](std::size_t limit) {
        Attributes some;
        for (auto count = random() % limit; count > 0; --count) {
            const auto &[text, base64, loose] = kValues[random() % std::size(kValues)];
            const std::string name(1, "abc"[random() % 3]);
            some.ldif += name + ":: " + base64 + "\n";
            some.text += (some.text.empty() ? "" : "/") + name + "=" + text;
            some.exact.insert(name + text);
            some.loose.insert(name + loose);
        }
        return some;
    };
    TempHome home;
    for (int round = 0; round < 300; ++round) {
        std::vector<Attributes> entries(random() % 12);
        std::string ldif;
        for (Attributes &entry : entries) {
            entry = some_attributes(6);
            ldif += "\ndn: x\nnumber: " + std::to_string(&entry - entries.data()) + "\n" + entry.ldif;
        }
        home.write("directory/default.ldif", ldif);
        ASSERT_EQ(open_directory(), 1);
        for (int i = 0; i < 20; ++i) {
            const Attributes filter = some_attributes(4);
            const auto find = [&](std::set<std::string> Attributes::*form) {
                const auto fits = [&](const Attributes &entry) {
                    return !filter.exact.empty() && std::ranges::includes(entry.*form, filter.*form);
                };
                const auto count = std::ranges::count_if(entries, fits);
                const auto first = std::ranges::find_if(entries, fits) - entries.begin();
                return std::to_string(count) + (count > 0 ? " /number=" + std::to_string(first) : " ");
            };
            const std::string exact = find(&Attributes::exact);
            const std::string loose = find(&Attributes::loose);
            EXPECT_EQ(search(1, filter.text, "Number"), (exact == "0 " && loose != exact ? "1 " : "0 ") + exact)
                << ldif;
            dr_SetFilterModifier(DR_COMPARE_LOOSELY);
            EXPECT_EQ(search(1, filter.text, "Number"), "0 " + loose) << filter.text << ldif;
            dr_SetFilterModifier(DR_COMPARE_EXACTLY);
        }
        dr_CloseDir(1);
    }
}

TEST(Directory, OpensByNameAndPassword) {
    std::string ldif =
        "dn: 1\nuserPassword: 12345678z\n\ndn: 2\nuserPassword: 2\nS: D\n167: a\n167: b\nDD.X: d\nOU: u\n";
    for (int i = 0; i < 10000; ++i) {
        ldif += (i == 0 ? "\ndn:\nm: " : "m: ") + std::to_string(i) + "\nn: x\n";
    }
    std::string large = "dn: x\n";
    for (int i = 0; i < 200; ++i) {
        large += "a: " + std::string(65000, 'x') + "\n";
    }
    const std::string long_name(DR_NAME_SIZE - 1, 'n');
    const TempHome home{{"directory/p.ldif", ldif},
                        {("directory/" + long_name + ".ldif").c_str(), ""},
                        {"directory/large.ldif", large},
                        {"directory/broken.ldif/x", ""},
                        {"x.ldif", ""}};
    LogCapture log;
    const std::tuple<std::string, const char *, int> names[] = {
        {"", "any", 1},        {"default", "", 932}, {long_name + "n", "", 932},
        {long_name, "", 1},    {"../x", "", 932},    {"broken", "", 932},
        {"p", "1234567", 933}, {"p", "", 933},       {"p", "123456789", 1}};
    for (const auto &[name, password, want] : names) {
        EXPECT_EQ(open_directory(name, password), want) << name << password;
        EXPECT_EQ(is_failure(failure_of([] { dr_CloseDir(1); }), 100, 936), want != 1);
    }
    EXPECT_EQ(log.take().back().second, "100/921: ~/sys/directory/broken.ldif: the file cannot be opened");
    for (int i = 1; i < DR_MAX_OPEN; ++i) {
        EXPECT_EQ(open_directory(), i);
    }
    for (int nth = 1; nth < 50; ++nth) {
        spy::fail_call(nth, spy::Fault::kRecoverable);
        EXPECT_EQ(open_directory("p"), spy::kFaultNumber) << spy::end_fault();
    }
#ifndef __SANITIZE_ADDRESS__
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_AS, &none);
    const int failure = open_directory("large");
    setrlimit(RLIMIT_AS, &limit);
    EXPECT_EQ(failure, 901);
#endif
    EXPECT_EQ(open_directory("p", "12345678"), DR_MAX_OPEN);
    EXPECT_EQ(open_directory(), 935);
    dr_CloseDir(7);
    EXPECT_TRUE(is_failure(failure_of([] { search(7, "a=b"); }), 100, 936));
    EXPECT_EQ(open_directory(), 7);
    const std::tuple<const char *, const char *, std::string> searches[] = {
        {"S=D/167=b", "167", "0 1 /167=a\x1D"s + "b"},
        {"S=D", DA_X400_ATTRIBUTES, "0 1 /S=D/DD.X=d"},
        {"s=D", "1300", "0 1 "},
        {"m=9999", "z", "0 1 "},
        {"m=10000", "", "0 0 "},
        {"n=X/m=7", "", "1 0 "}};
    for (const auto &[filter, wanted, want] : searches) {
        EXPECT_EQ(search(DR_MAX_OPEN, filter, wanted), want) << filter;
    }
    for (std::int16_t directory = 1; directory <= DR_MAX_OPEN; ++directory) {
        dr_CloseDir(directory);
    }
}

// Rows: an O/R name, or none; its list, or another one; the O/R name that the list makes.
TEST(AttributeList, IsMadeOfAnORNameAndBack) {
    const std::array<std::string, 3> rows[] = {
        {"S=D/OU4=d/OU1=a/C=gb/PD-LOCAL=l/DD.X y=1/DD.=2/DD.F=/CN=c/IA=j/T61.G=\xC8o/T61.DD.T=\xC8o",
         "/S=D/OU1=a/OU4=d/C=gb/DD.X y=1/DD.=2/DD.F=/CN=c/PD-LOCAL=l/T61.G=\xC8o/T61.DD.T=\xC8o/IA=j",
         "/S=D/OU4=d/OU1=a/C=gb/CN=c/PD-LOCAL=l/DD.X y=1/DD.=2/DD.F=/IA=j/T61.G=\xC8o/T61.DD.T=\xC8o/"},
        {"DD.=/DD.T=v/", "/DD.T=v", "/DD.T=v/"},
        {"S=Doe/FIELD.23=x/", "", ""},
        {"", "/s=Doe\x1Dx/167=a/OU=u/T61.C=c/FIELD.23=x/S=No/ou2=b/dd.=/t61.dd.T=v/G=", "/S=Doe/OU2=b/T61.DD.T=v/"},
        {"", "/DD.=1/DD.A=/DD.B=2/DD.C=3/DD.D=4", ""},
        {"", "/DD.=1/DD.A=/DD.B=2/DD.C=3/T61.DD.D=4", "/DD.=1/DD.A=/DD.B=2/DD.C=3/T61.DD.D=4/"},
        {"", "/167=a@x", ""},
        {"", "/C=gb/S=" + std::string(NM_ORN_SIZE, 'x'), ""},
    };
    da_list list;
    OrnName name;
    OrnName made_back;
    for (const auto &[orn, attributes, back] : rows) {
        ASSERT_TRUE(nm_ParseText(orn.c_str(), name.orn.data(), &name.index, nullptr)) << orn;
        const int made =
            orn.empty() ? parse(attributes.c_str(), list) : da_ConvORNToAttribList(name.orn.data(), &list);
        EXPECT_EQ(made != 0, !attributes.empty());
        EXPECT_EQ(text_of(list), attributes);
        EXPECT_EQ(da_ConvAttribListToORN(&list, made_back.orn.data()) != 0, !back.empty()) << attributes;
        EXPECT_EQ(text_form(made_back.orn.data()), back);
    }
    EXPECT_EQ(da_ConvORNToAttribList("", &list) + da_ConvORNToAttribList("Doe\x17\x17\x17", &list), 0) << "malformed";
}

TEST(AttributeList, TakesNamesAndMasks) {
    da_list list;
    da_list mask;
    for (const char *text : {"", "/", "//", "S//G", "a b=c", "=c", "/S=x//"}) {
        EXPECT_EQ(parse(text, list) + list.count, 0) << text;
    }
    const std::pair<const char *, const char *> masks[] = {{"/s/dd.x", "/S=a/DD.X=="}, {"G/S/DD.X/Z", ""}, {"Z", ""}};
    for (const auto &[names, want] : masks) {
        EXPECT_EQ(parse("S=a/G=b/DD.X==/", list) + parse(names, mask), 2);
        EXPECT_EQ(da_MaskEntry(&list, &mask), *want != '\0' ? 1 : 0);
        EXPECT_EQ(text_of(list), *want != '\0' ? want : "/S=a/G=b/DD.X==");
    }
    da_InitAttribList(&list);
    const std::string longest(DA_NAME_SIZE - 1, 'n');
    const std::tuple<std::string, int, int> additions[] = {
        {"", 9, 930},    {"a b", 9, 930}, {"a;b", 9, 930}, {"\xC3\xA9", 9, 930}, {longest + "n", 9, 930},
        {longest, 1, 0}, {"b", 2, 0},     {"c", 2, 931}};
    for (const auto &row : additions) {
        const auto &[name, capacity, want] = row;
        const auto failure =
            failure_of([&, &n = name, &c = capacity] { da_AddAttribToList(&list, c, n.c_str(), "v"); });
        EXPECT_EQ(failure ? failure->number : 0, want) << name;
    }
}

TEST(Q, MatchesNamesOfNodes) {
    EXPECT_EQ(Q_NamesMatch("Unix", " \tuNIX ") + Q_NamesMatch("", " "), 0);
    for (const char *name : {"", "UNI", "U NIX", "UNIXX"}) {
        EXPECT_NE(Q_NamesMatch(name, "UNIX"), 0) << name;
    }
}

}  // namespace
