// Where an Internet address of an O/R name may stand, and which names are routable to the Internet.

#include "dr.h"
#include "er_capture.h"
#include "fresh_process.h"
#include "orn_name.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

TEST(GetIA, TakesTheRecordedAddressOrTheSystemsName) {
    // Before a name: whether the text is kept; before an answer: whether it is the system's name.
    const auto get = [](const std::string &text) {
        int is_system = -1;
        const OrnName name = parsed(text.substr(1));
        const std::string got = answer([&](char *out) {
            mim_GetIA(name.orn.data(), out, text[0] - '0', nullptr);
            return mim_GetIA(name.orn.data(), out, text[0] - '0', &is_system);
        });
        return std::to_string(is_system) + got;
    };
    expect_fresh(R"(0/IA=J D (Jo) <j@x>/CN=MAIL-SYSTEM/ -> 01 j@x | 1/IA=J D (Jo) <j@x>/ -> 01 J D (Jo) <j@x>
        0/IA=(no)/CN=MAIL-SYSTEM/ -> 11 MAIL-SYSTEM | 1/IA=(no)/ -> 00 (no) | 0/IA=(no)/ -> 00 | 0/S=a/ -> 00 -
        0/CN=MAIL-SYSTEX/ -> 00 - | 0/CN=MAIL-SYSTEM2/ -> 00 - | 1/IA=J~F6 <j@x>/ -> 01 J~F6 <j@x>
        0/IA=J <~F6@x>/ -> 00 ~F6@x | 1/IA=a^2000/ -> 01 a^1024)",
                 get);
    TempHome home{{"messages", "100 7617 The mailer at x\n"}};
    expect_fresh(R"(0/CN=The mailer at x/ -> 11 The mailer at x | 0/CN=MAIL-SYSTEM abc/ -> 11 MAIL-SYSTEM abc
        0/CN=mail-system abc/ -> 00 -)",
                 get);
    home.write("messages", "100 7617 \xC3\xB6\n");
    expect_fresh("0/CN=~F6/ -> 10 ~F6 | 0/CN=M/ -> 00 -", get);
}

std::string dda_of(const std::string &orn) {
    return answer([&](char *out) { return mim_GetDDA(orn.c_str(), out); });
}

TEST(GetDDA, FindsTheFirstAcceptedOne) {
    expect_fresh(R"(/DD.FOO=a/DD.RFC-822=b/ -> 1 b | /DD.rfc-822=a/DD.ZTMEXT4=b/ -> 1 a | /DD.ZTMEXT5=a/ -> 0
        /DD.=v/ -> 1 v | /DD.RFC-822=/DD.ZTMEXT1=b/ -> 1 b | /DD.A2345678901234567890=a/DD.RFC-822=b/ -> 1 b
        /DD.A23456789012345678901=a/DD.RFC-822=b/ -> 0 | /DD.RFC-822=a/DD.A23456789012345678901=b/ -> 1 a
        /DD.FOO=a/CN=c/T61.DD.RFC-822=b/IA=i/ -> 1 b | /S=RFC-822/CN=RFC-822/IA=v/ -> 0 | /DD.RFC-822=~E9@x/ -> 0 ~E9@x
        /DD.=a^2000/ -> 1 a^1024)",
                 [](const std::string &name) { return dda_of(parsed(name).orn.data()); });
    expect_fresh(
        R"(~1D^15RFC-822~1Dv~17c -> 1 v | ~1D^15RFC-822~17~1D~17~1D^16w -> 1 w | ~17^2~1D^15RFC-822~17~1Dv -> 0
        ~1D^15FOO~1Dv~17^2x~17~1D^15RFC-822~1Dv -> 0 | ~17^2~1D^15RFC-822~1Dv~1D^300 -> 1 v | ~1D^300~17v -> 0)",
        dda_of);
}

TEST(GetDDA, AcceptsTheTypesOfTheCustomisation) {
    TempHome home;
    const auto accepted = [] {
        std::string types;
        for (const std::string type : {"", "RFC-822", " X-MAIL", "x", "c d", "1", "11"}) {
            types += dda_of(std::string(15, '\x1D') + type + "\x1Dv") == "1 v" ? type + ";" : "";
        }
        return types;
    };
    expect_cases(
        R"(FALSE -> ;RFC-822; X-MAIL;x;c d;1;11; | -> ;RFC-822; X-MAIL;x;c d;1;11; | RFC-822, X-MAIL -> RFC-822;
        x,,c d ,C D -> ;x;c d; | x, -> x; | 2,3,4,5,6,7,8,9,10,11,1 -> 11; | x2345678901234567890123 -> | ,, x-> ;x;)",
        [&](const std::string &value) {
            home.write("customise", "UXO_CHECK_TYPES_OF_DDA=" + value + "\n");
            return in_fresh_process(accepted);
        });
}

TEST(RoutableToUnix, AsksTheRoutesAndTheDda) {
    TempHome home{{"routes", "unix /C=us/\nOTHER /C=de/\n"}};
    const auto routable = [](const std::string &text) {
        const OrnName name = parsed(text);
        const int exactly = mim_RoutableToUnix(name.orn.data());
        return std::to_string(exactly) + std::to_string(mim_RoughRoutableToUnix(name.orn.data()));
    };
    expect_fresh(R"(/C=us/ -> 10 | /C=us/DD.FOO=v/ -> 11 | /C=de/DD.RFC-822=v/ -> 00 | /C=fr/DD.RFC-822=v/ -> 11
        /C=fr/DD.FOO=v/ -> 00 | /C=fr/DD.RFC-822=/ -> 00 | /C=fr/DD.=/DD.RFC-822=v/ -> 00)",
                 routable);
    home.write("customise", "UAL_DO_LONG_INET_CHECK=\nUAL_GIVE_GROUP5_INET_NAME_STRICT=yes\n");
    expect_fresh("/C=us/ -> 11 | /C=fr/DD.RFC-822=v/ -> 00 | /C=fr/ -> 00", routable);
}

const std::string kEntries =
    "dn: 1\nS: Smith\nG: John\n167: j@x\n\n"
    "dn: 2\nS: SMITH\nG: Jim\n167: jim@x\n167: second@x\n\ndn: 3\nS: Twin\n167: one@x\n\n"
    "dn: 4\nS: Twin\nG: b\n\ndn: 5\nS: TWIN\n167: c@x\n\ndn: 6\nS: L\n167: " +
    std::string(1024, 'a') + "\n\ndn: 7\nS: M\n167: " + std::string(1025, 'a') + "\n";

// What the directory says, and the beginning of the log.
std::string look_up(const std::string &orn) {
    LogCapture log;
    const std::int16_t directory = dr_OpenDir(0, DR_READ, "", "");
    const auto ask = [&orn](int mapping_on, std::int16_t handle) {
        return answer([&](char *out) { return mim_GetDirArpaORN(orn.c_str(), out, mapping_on, handle, "167"); });
    };
    EXPECT_EQ(ask(0, directory) + ask(1, 0), "0 -0 -");
    std::string text = ask(1, directory);
    for (const auto &[severity, line] : log.take()) {
        text += " " + std::to_string(severity) + " " + line.substr(0, 65);
    }
    dr_CloseDir(directory);
    return text;
}

TEST(GetDirArpaORN, FindsOneEntry) {
    TempHome home{{"directory/default.ldif", kEntries}};
    expect_fresh(R"(Smith -> 1 j@x 13 102/1141: The directory's attribute 167 gives the address j@x
        Smith~1DJIM -> 1 jim@x 13 102/1141: The directory's attribute 167 gives the address jim@x
        Twin -> 0 - 5 102/1142: More than one entry of the directory is /S=Twin/ | Smith~1DAl -> 0 -
        L -> 1 a^1024 13 102/1141: The directory's attribute 167 gives the address a^7 | M -> 0 - | -> 0 -)",
                 look_up);
    home.write("customise", "INET_IA_RESOLVE_MASK=/S/");
    expect_fresh(R"(Smith~1DAl -> 1 j@x 13 102/1141: The directory's attribute 167 gives the address j@x
        smith~1DAl -> 0 - | Smith -> 1 j@x 13 102/1141: The directory's attribute 167 gives the address j@x)",
                 look_up);
}

// A name that has to be compared loosely leaves the comparison as it was, also when its search fails.
TEST(GetDirArpaORN, ComparesExactlyAgain) {
    const TempHome home{{"directory/default.ldif", kEntries}};
    in_fresh_process([] {
        std::string failed = "none";
        for (int nth = 1; !failed.empty(); ++nth) {
            spy::fail_call(nth, nth % 2 == 0 ? spy::Fault::kRecoverable : spy::Fault::kPersistent);
            failure_of([] { look_up("smith\x1DJOHN"); });
            failed = spy::end_fault();
            EXPECT_TRUE(failed == "dr_SetFilterModifier" || look_up("TWIN").starts_with("1 c@x")) << failed;
            dr_SetFilterModifier(DR_COMPARE_EXACTLY);
        }
        return "";
    });
}

}  // namespace
