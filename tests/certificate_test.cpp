// The address for certificates. What the first call reads is kept: each case is a process of its own.

#include "dr.h"
#include "er_capture.h"
#include "fresh_process.h"
#include "orn_name.h"
#include "temp_home.h"

namespace {

const std::string kConfig = std::string(MIM_CONFIG_RESERVED, '\0') + "rsvd/" + std::string(7, '\0');
const std::string kDefault =
    "dn: 1\nS: Smith\nO: o\n1300: J <default@x>\n\n"
    "dn: 2\nS: Jones\nDD.RFC-822: \"J J\" <jones@x>\n\ndn: 3\nS: Twin\nG: a\n\ndn: 4\nS: Twin\nG: b\n";
const std::string kPeople = "dn: 1\nS: Smith\n1300: people@x\n\ndn: 2\nS: Kim\n167: Kim <kim@x>\n";

// The answer for a name; a "+" before it: with the name of the directory.
std::string certificate(const std::string &text, std::int16_t directory = 0) {
    const int plus = text[0] == '+' ? 1 : 0;
    return answer([&](char *out) { return mim_ConvORNToCertSMTP(text.c_str() + plus, out, directory, 0, plus); });
}

TEST(ConvORNToCertSMTP, AsksTheDirectoriesThenConverts) {
    TempHome home{{"config", kConfig}, {"directory/default.ldif", kDefault}, {"directory/people.ldif", kPeople}};
    // The answer, and how many times the directories were asked for an address.
    const auto asked = [](const std::string &name) {
        const LogCapture log;  // kept from the system's
        certificate("x");
        EXPECT_EQ(mim_ConvORNToCertSMTP("Smith", nullptr, 0, 0, 0), 0);
        EXPECT_EQ(answer([](char *out) { return mim_ConvORNToCertSMTP(nullptr, out, 0, 0, 0); }), "0 -");
        const TraceCapture trace;
        const std::string text = certificate(name, 99);
        const auto count = std::count(trace.events.begin(), trace.events.end(), "> mim_GetDirArpaORN 17");
        EXPECT_EQ(certificate(name), text);
        return text + " " + std::to_string(count);
    };
    home.write("customise", "HOSTNAME=h\n");
    expect_fresh(R"(Smith -> 1 default@x 1 | Kim -> 1 Kim@h 2 | Jones -> 1 Jones@h 2 | +Jones -> 1 jones@x 1
        +Twin -> 1 Twin@h 2 | -> 0 - 0)",
                 asked);
    home.write("customise", "HOSTNAME=h\nUXO_NAME_MAPPING=yes\nUX_NAME_MAPPING_DIR=people\n");
    expect_fresh("Smith -> 1 people@x 1 | Smith~1D^8o -> 1 default@x 2 | Kim -> 1 kim@x 3 | +Jones -> 1 jones@x 2",
                 asked);
}

TEST(ConvORNToCertSMTP, KeepsWhatTheFirstCallLoads) {
    TempHome home{{"customise", "HOSTNAME=h\n"}, {"directory/people.ldif", kPeople}};
    const auto twice = [&home] {
        const LogCapture log;  // kept from the system's
        const std::string first = certificate("Smith", dr_OpenDir(0, DR_READ, "people", ""));
        home.write("config", kConfig);
        return first + " " + certificate("Smith");
    };
    EXPECT_EQ(in_fresh_process(twice), "0 - 0 -") << "a failed load is not retried";
    EXPECT_EQ(in_fresh_process(twice), "1 people@x 1 people@x") << "the first call's directory is the default one";
}

}  // namespace
