// The X.400 domain map.

#include "er_capture.h"
#include "fresh_process.h"
#include "orn_name.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

// What a lookup says of a name and, where it is not just the surname Kim, what is left of it.
std::string look_up(const std::string &text) {
    OrnName name = parsed("/S=Kim" + text);
    const std::string whole = text_form(name.orn.data());
    const std::string got =
        answer([&name](char *out) { return mim_X400DomainLookup("~/sys/map", name.orn.data(), out); });
    const std::string rest = text_form(name.orn.data());
    EXPECT_TRUE(got[0] == '1' || rest == whole) << rest;
    return got + (got[0] == '0' || rest == "/S=Kim/" ? "" : " " + rest);
}

TEST(X400DomainLookup, MakesLabelsOfTheFieldsBelowTheKey) {
    const TempHome home{{"map", "C$us#d#\n"}};
    expect_cases(R"(/C=us -> 1 d | /ADMD=adm/PRMD=p/C=US -> 1 p.adm.d | /OU4=a/OU2=b/OU1=x/O=a1-/C=us -> 1 a.b.x.a1-.d
        /G=Jo/CN=Jo Kim/C=us -> 1 d /S=Kim/G=Jo/CN=Jo Kim/ | /O=has blank/C=us -> 0 - | /O=a.b/C=us -> 0 -
        /OU1=1st/C=us -> 0 - | /O=-a/C=us -> 0 - | /O=a~E9/C=us -> 0 - | /O=o/ -> 0 -
        /O=o^1022/C=us -> 1 o^1022.d | /O=o^1023/C=us -> 0 -)",
                 look_up);
}

TEST(X400DomainLookup, TakesTheLineThatReachesFurthest) {
    TempHome home;
    const auto look_up_in = [&home](const char *name) {
        return [&home, name](const std::string &map) {
            home.write("map", map);
            return look_up(name);
        };
    };
    EXPECT_EQ(look_up("/C=us"), "0 -") << "without a map";
    expect_cases(
        R"(C$us#@# -> 1 | C$us## -> 1 | C$us#@@# -> 1 @@ | C$us# d# -> 1  d | C$us#d -> 0 - | -> 0 -
        C$us #d# -> 0 - | ~20C$us#d# -> 0 - | #C$us#d# -> 0 - | X$1.Y$2#d# -> 0 -
        C$u\s#d# -> 1 d | C\$us#d# -> 0 - | C$us.OU$@#d# -> 1 d | C$de.C$us#d# -> 1 d | C$us.O$x.O$#d# -> 1 d
        C$us.Y.$#d# -> 1 d | C$us.ADMD#d# -> 1 d | C$us.OU$x#d# -> 0 - | #^1025C$us#d# -> 1 d)",
        look_up_in("/C=us"));
    expect_cases(R"(C$us#1#~0D~0AC$us#2# -> 1 o.1 | C$us#1#~0AC$us.O$O#4#~0AC$us.ADMD$\@#2#~0Ac$US.o$o#again# -> 1 4
        C$us#1~0A#~0A C$us#3#~0AC$us#2# -> 1 o.2)",
                 look_up_in("/O=o/C=us"));
    expect_cases(
        R"(C$us.OU$b.OU$a#x# -> 1 d.c.x | C$us.OU$a.OU$b#x# -> 0 - | C$us.OU$d.OU$c.OU$b.OU$a#x# -> 1 x
        OU$e.C$us.OU$d.OU$c.OU$b.OU$a#x# -> 0 - | OU$b.OU$a.C$us#x# -> 1 d.c.x)",
        look_up_in("/OU4=d/OU3=c/OU2=b/OU1=a/C=us"));
    expect_cases(R"(C$us.ADMD$m#d# -> 0 - | C.ADMD$m#d# -> 0 - | C$.PRMD$p\\\.\q.ADMD$m#d# -> 1 d
        ADMD$m.O$@#d# -> 0 - | ADMD$m.PRMD$@#d# -> 0 -)",
                 look_up_in("/PRMD=p.q/ADMD=m"));
}

TEST(X400DomainLookup, MatchesToALevel) {
    OrnName name = parsed("/OU4=d/OU3=c/OU2=b/OU1=a/O=o/PRMD=p/ADMD=m/C=us/");
    expect_cases(R"(-> 0 | C$us -> 1 | C$us.ADMD$m -> 2 | PRMD$p.C$us.ADMD$m -> 3 | C$us.ADMD$m.PRMD$p.O$o -> 4
        OU$a.C$us.ADMD$m.PRMD$p.O$o -> 5 | C$us.ADMD$m.OU$b.PRMD$p.OU$a.O$o -> 6 | OU$c.C$us.OU$b.OU$a.ADMD$m.PRMD$p -> 0
        C$us.OU$d.ADMD$m.OU$c.PRMD$p.OU$b.O$o.OU$a -> 8)",
                 [&](std::string key) {
                     return std::to_string(mim_MatchX400Domain(name.orn.data(), &name.index, key.data()));
                 });
}

// A failure while the file is read ends the reading; what was read before it counts.
TEST(X400DomainLookup, AFileThatFailsHalfWayKeepsWhatWasRead) {
    const TempHome home{{"map", "C$us#first#\nC$us.ADMD$@#second#\n"}};
    std::string domains;
    std::string failed = "none";
    for (int nth = 1; !failed.empty(); ++nth) {
        OrnName name = parsed("/C=us");
        std::array<char, MIM_TEXT_SIZE> domain{"-"};
        spy::fail_call(nth, spy::Fault::kRecoverable);
        failure_of([&] { mim_X400DomainLookup("~/sys/map", name.orn.data(), domain.data()); });
        failed = spy::end_fault();
        domains += failed.starts_with("os_") ? failed + " " + domain.data() + "; " : "";
    }
    EXPECT_EQ(domains, "os_fopen -; os_fgets -; os_fgets first; os_fgets second; os_fclose second; ");
}

}  // namespace
