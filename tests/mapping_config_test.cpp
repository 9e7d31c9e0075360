// The configuration of the mapping through the directory, and of the formatting.

#include "er_capture.h"
#include "fresh_process.h"
#include "orn_name.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

// What is read of ~/sys/config, and the number of the failure that ends it.
std::string limits() {
    int add = -1;
    int t61 = -1;
    std::string text = "-????";
    std::int16_t style = -1;
    std::int16_t mode = -1;
    const auto failure =
        failure_of([&] { mim_SetDelimsAndLimits(&add, &t61, text.data(), text.data() + 1, &style, &mode); });
    for (const int number : {add, t61, int{style}, int{mode}, failure ? failure->number : 0}) {
        text += " " + std::to_string(number);
    }
    return text;
}

TEST(SetDelimsAndLimits, ReadsTheConfiguration) {
    TempHome home;
    EXPECT_EQ(limits(), "-???? 0 0 -1 -1 1419");
    const int free_descriptor = dup(0);
    close(free_descriptor);
    expect_cases(R"(.^472WXYZ;~00..~04~00~02~00.. -> ;WXYZ 0 0 4 2 0 | .^472WXYZ/~00..~00~00~FF~FF -> /WXYZ 0 0 1 1 0
        .^472WXYZ:~00..~FF~7F~00~80 -> /WXYZ 0 0 32767 1 0 | .^472WXYZ;~01..~01~00~01~00 -> /WXYZ 0 0 1 1 0
        .^472WXYZ;~00..~04~00~02 -> ;WXYZ 0 0 4 -1 1420 | .^472WXYZ;~00..~04 -> ;WXYZ 0 0 -1 -1 1420
        .^472WXYZ;~00 -> ;WXYZ 0 0 -1 -1 1420 | .^472WXYZ; -> -???? 0 0 -1 -1 1420 | -> -???? 0 0 -1 -1 1420)",
                 [&home](const std::string &config) { return home.write("config", config), limits(); });
    expect_cases("UXO_ADD_DELIMITER= -> -???? 1 0 -1 -1 1420 | UXO_INCLUDE_T61_FIELDS=no -> -???? 0 1 -1 -1 1420",
                 [&home](const std::string &customise) { return home.write("customise", customise), limits(); });
    for (const auto &[nth, failed, number] :
         {std::tuple{4, "mdc_lseek", " 7777"}, {5, "mdc_read", " 7777"}, {6, "mdc_close", " 1420"}}) {
        spy::fail_call(nth, spy::Fault::kPersistent);
        EXPECT_EQ(limits().substr(15), number) << "closing replaces no failure";
        EXPECT_EQ(spy::end_fault(), failed);
    }
    const int descriptor = dup(0);
    EXPECT_EQ(descriptor, free_descriptor) << "the file is closed";
    close(descriptor);
}

TEST(ChkMappingConfig, SetsUpTheDirectory) {
    TempHome home{{"directory/people.ldif", "dn: 1\nuserPassword: 12345678\n"}};
    const LogCapture log;  // kept from the system's
    // Whether mapping is on, the attribute, the directory's name, and whether it is opened.
    const auto configured = [&home](int force) {
        return [&home, force](const std::string &customise) {
            home.write("customise", customise);
            constexpr std::int16_t kDefault = 7;
            std::int16_t directory = -1;
            std::string attribute;
            const auto check = [&](char *name) {
                attribute = answer(
                    [&](char *out) { return mim_ChkMappingConfig("MAP", name, &directory, kDefault, out, force); },
                    MIM_ATTRIBUTE_SIZE);
            };
            const std::string name = written(MIM_DIRECTORY_SIZE, check);
            EXPECT_EQ(mim_CloseMapDir(directory, kDefault), directory == kDefault ? kDefault : 0);
            return attribute + " " + name + (directory == kDefault ? "=7" : directory == 0 ? "=0" : "=new");
        };
    };
    expect_cases(
        R"(-> 0 167 =7 | INET_AUTO_IAM=on -> 1 167 =7 | INET_AUTO_IAM=on~0AMAP=no -> 0 167 =7 | MAP=x -> 0 167 =7
        INET_AUTO_IAM=on~0AMAP=x -> 1 167 =7 | MAP=on -> 1 167 =7 | MAP=on~0AUX_NAME_MAPPING_DIR= -> 1 167 =new
        MAP=on~0AUX_NAME_MAPPING_DIR=people~0AUX_NAME_MAPPING_DIR_PASSWD=123456789~0AUX_NAME_MAPPING_ATTRIB=m -> 1 m people=new
        MAP=on~0AUX_NAME_MAPPING_DIR=people~0AUX_NAME_MAPPING_DIR_PASSWD=1234567~0AUX_NAME_MAPPING_ATTRIB=m -> 0 167 people=0
        UX_NAME_MAPPING_DIR=people~0AUX_NAME_MAPPING_ATTRIB=m -> 0 167 =7 | MAP=on~0AUX_NAME_MAPPING_ATTRIB= -> 0 =7
        MAP=on~0AUX_NAME_MAPPING_DIR=n^65 -> 0 167 n^64=0 | MAP=on~0AUX_NAME_MAPPING_ATTRIB=a^65 -> 1 a^64 =7)",
        configured(0));
    expect_cases(R"(MAP=on~0AUX_NAME_MAPPING_DIR=none~0AUX_NAME_MAPPING_ATTRIB=m -> 0 m none=0
        UX_NAME_MAPPING_DIR=people~0AUX_NAME_MAPPING_DIR_PASSWD=12345678~0AUX_NAME_MAPPING_ATTRIB=m -> 0 m people=new)",
                 configured(1));
    EXPECT_EQ(mim_CloseMapDir(99, 0), 0) << "the failure of a handle that is none is held back";
}

}  // namespace
