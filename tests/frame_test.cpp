// The calling frame: which functions announce themselves at which level, and what a region does in which
// order.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "er_capture.h"
#include "frame.h"
#include "fresh_process.h"
#include "mim.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

using Events = std::vector<std::string>;

TEST(Trace, EachFunctionAnnouncesItselfInItsClass) {
    const TempHome home{{"config", std::string(MIM_CONFIG_MODE + 2, '\0')}};
    const LogCapture log;  // kept from the system's
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    nm_InitORN(orn.data(), &index);
    std::array<char, MIM_SUBJECT_SIZE> text{"a"};
    std::array<char, 8> list{"C$us"};
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    int stop = 0;
    std::int16_t number = 0;
    std::array<char, MIM_ATTRIBUTE_SIZE> name{};
    const auto convert = [&text] { mim_ConvORNToArpaORN("", text.data(), 0, "", 0, 0, "", 0, 1, 1, '/', 0, 0); };
    const struct {
        const char *name;
        int trace_class;  // 0: not traced
        std::function<void()> call;
    } rows[] = {
        {"mim_parse_address", 15, [] { mim_parse_address("a", nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"mim_trim_space", 0, [&] { mim_trim_space(text.data()); }},
        {"mim_trim_spacequotes", 0, [&] { mim_trim_spacequotes(text.data()); }},
        {"mim_trim_trailing_space", 0, [&] { mim_trim_trailing_space(text.data()); }},
        {"mim_ProcessRule", 17, [&] { mim_ProcessRule(text.data(), "b", "c", &stop); }},
        {"mim_MatchRulePattern", 17, [&] { mim_MatchRulePattern("a", "b", starts.data(), lengths.data(), 0); }},
        {"mim_ScanArpaStrForSpecialChar", 17, [] { mim_ScanArpaStrForSpecialChar("a", '@'); }},
        {"mim_ArpaDomainLookup", 17, [&] { mim_ArpaDomainLookup("~/sys/none", "a", orn.data(), &index, 0); }},
        {"mim_ArpaDomainReplace", 17, [&] { mim_ArpaDomainReplace(orn.data(), &index, list.data(), nullptr, 0); }},
        {"mim_GetSurnameFromArpaORN", 17, [&] { mim_GetSurnameFromArpaORN("a", text.data()); }},
        {"mim_SetOrgUAddress", 17, [&] { mim_SetOrgUAddress(orn.data(), &index, 1); }},
        {"mim_ArpaToORN2", 17, [&] { mim_ArpaToORN2("a", orn.data(), &index, 0); }},
        {"mim_StrCaseCmp", 21, [] { mim_StrCaseCmp("a", "b"); }},
        {"mim_RemoveQuotes", 21, [&] { mim_RemoveQuotes(text.data()); }},
        {"mim_SpaceTrimming", 21, [] { mim_SpaceTrimming(nullptr); }},
        {"mim_ChkMappingConfig", 15, [&] { mim_ChkMappingConfig("K", text.data(), &number, 0, name.data(), 0); }},
        {"mim_SetDelimsAndLimits", 15,
         [&] { mim_SetDelimsAndLimits(&stop, &stop, text.data(), text.data(), &number, &number); }},
        {"mim_CloseMapDir", 15, [] { mim_CloseMapDir(0, 0); }},
        {"mim_X400DomainLookup", 17, [&] { mim_X400DomainLookup("~/sys/none", orn.data(), text.data()); }},
        {"mim_MatchX400Domain", 17, [&] { mim_MatchX400Domain(orn.data(), &index, list.data()); }},
        {"mim_ConvSpecialChar", 17, [&] { mim_ConvSpecialChar("", text.data(), 0); }},
        {"mim_FormatFields", 21, [&] { mim_FormatFields(orn.data(), &index, 0, text.data(), 0); }},
        {"mim_FormatInitials", 17, [&] { mim_FormatInitials(orn.data(), &index, text.data(), 0); }},
        {"mim_FormatPersonalName", 17, [&] { mim_FormatPersonalName(orn.data(), &index, text.data(), 0); }},
        {"mim_FormatORN", 17, [&] { mim_FormatORN("", text.data(), 0, 0); }},
        {"mim_DoFormatORN", 0, [&] { mim_DoFormatORN("", text.data(), 0, 1, 1, 0); }},
        {"mim_DoFormatPersonalName", 0, [&] { mim_DoFormatPersonalName(orn.data(), &index, text.data(), 1, 1, 0); }},
        {"mim_GetIA", 17, [&] { mim_GetIA("", text.data(), 0, nullptr); }},
        {"mim_GetDDA", 17, [&] { mim_GetDDA("", text.data()); }},
        {"mim_IsValidDDT", 17, [&] { mim_GetDDA(std::string(16, '\x1D').c_str(), text.data()); }},
        {"mim_GetDirArpaORN", 17, [&] { mim_GetDirArpaORN("", text.data(), 0, 0, ""); }},
        {"mim_RoutableToUnix", 0, [] { mim_RoutableToUnix(""); }},
        {"mim_BaseRoutableToUnix", 17, [] { mim_RoutableToUnix(""); }},
        {"mim_RoughRoutableToUnix", 0, [] { mim_RoughRoutableToUnix(""); }},
        {"mim_ConvORNToArpaORN", 17, convert},
        {"mim_RealConvORNToArpaORN", 17, convert},
        {"mim_ConvORNIaToArpaORN", 17,
         [&] { mim_ConvORNIaToArpaORN("", text.data(), 0, "", 0, 0, "", 0, 1, 1, '/', 0, 0, 0); }},
        {"mim_GetArpaORNFromSurname", 17, [&] { mim_GetArpaORNFromSurname("", text.data()); }},
        {"mim_ConvORNToCertSMTP", 15, [&] { mim_ConvORNToCertSMTP("", text.data(), 0, 0, 0); }},
        {"mim_ConvMsgId", 17, [&] { mim_ConvMsgId(name.data(), text.data()); }},
        {"mim_ConvDateToArpa", 17, [&] { mim_ConvDateToArpa(0, 0, text.data()); }},
        {"mim_IsValidArpaAddress", 17, [] { mim_IsValidArpaAddress(""); }},
        {"mim_TrimCommentSpaces", 0, [&] { mim_TrimCommentSpaces(name.data()); }},
        {"mim_GetTextEncoding", 21, [] { mim_GetTextEncoding('n', "a"); }},
        {"mim_GetCharSetName", 17, [] { mim_GetCharSetName("a", nullptr); }},
        {"mim_InsertNewCSName", 0, [] { mim_InsertNewCSName("a", "b", 0); }},
        {"mim_ListTypesFile", 17, [] { mim_getFileExt(1); }},
        {"mim_FileExtToKVType", 17, [&] { mim_FileExtToKVType(nullptr, &stop); }},
        {"mim_KVToMimeType", 17, [&] { mim_KVToMimeType(1, nullptr, text.data()); }},
        {"mim_MimeToKVType", 17, [&] { mim_MimeToKVType("", nullptr, nullptr, &stop); }},
        {"mim_getMimeType", 17, [&] { mim_getMimeType(1, text.data()); }},
        {"mim_getFileExt", 17, [] { mim_getFileExt(1); }},
        {"mim_getEncoding", 17, [] { mim_getEncoding(1); }},
        {"mim_ExtractIaFromORN", 17, [] { mim_ExtractIaFromORN(""); }},
        {"mim_ExtractCnFromORN", 17, [] { mim_ExtractCnFromORN(""); }},
    };
    in_fresh_process([&rows] {
        for (const auto &row : rows) {
            for (const int level : {0, 9, 10}) {
                const TraceCapture trace{level};
                row.call();
                const std::string own = row.name + std::string{" "};
                const std::string self = own + std::to_string(row.trace_class);
                const bool announced =
                    row.trace_class == 15 || row.trace_class == 17 || (row.trace_class != 0 && level > 9);
                Events events;
                std::copy_if(trace.events.begin(), trace.events.end(), std::back_inserter(events),
                             [&own](const std::string &event) { return event.substr(2).starts_with(own); });
                EXPECT_EQ(events, (announced ? Events{"> " + self, "< " + self} : Events{})) << row.name << level;
            }
        }
        return "";
    });
}

TEST(Trace, TestsTheLevelAtEntryAndAtExit) {
    const auto events_when = [](int before, int after) {
        const TraceCapture trace{before};
        mim::traced<mim::TraceClass::kHelper>("f", [after] { er_SubSystemLoggingLevel = after; });
        EXPECT_EQ(mim::traced<mim::TraceClass::kWords>("g", [] { return 5; }), 5);
        return trace.events;
    };
    EXPECT_EQ(events_when(10, 9), (Events{"> f 21"}));
    EXPECT_EQ(events_when(9, 10), (Events{"< f 21", "> g 19", "< g 19"}));
}

// The steps of `region` as the calls of the error service, with "clean-up" where `clean_up` runs,
// and "on" at the end, unless a failure goes on.
std::vector<std::string> steps_of(const std::function<void(std::vector<std::string> &)> &region) {
    std::vector<std::string> calls;
    failure_of([&] {
        spy::record_error_calls(&calls);
        region(calls);
        calls.emplace_back("on");
        spy::record_error_calls(nullptr);  // the rest is the catcher's
    });
    spy::record_error_calls(nullptr);
    return calls;
}

TEST(Region, TakesItsStepsInOrder) {
    using Steps = std::vector<std::string>;
    const auto raise = [] { er_TracedEscape(1, 2, "t", 3); };
    const auto raise_persistent = [] { er_PersistentEscape(1, 2, "t", 3); };
    const auto protect = [](auto body, mim::Disposal disposal = mim::Disposal::kClear) {
        return steps_of([=](Steps &calls) {
            mim::protected_region(
                "t", body, [&calls] { calls.emplace_back("clean-up"); }, disposal);
        });
    };
    EXPECT_EQ(protect([] {}), (Steps{"SetCurrEnv", "SetCurrEnv", "on"}));
    EXPECT_EQ(protect(raise), (Steps{"SetCurrEnv", "SetCurrEnv", "Clear", "clean-up", "GetLive", "on"}));
    EXPECT_EQ(protect(raise, mim::Disposal::kAcceptSearch),
              (Steps{"SetCurrEnv", "SetCurrEnv", "Accept", "clean-up", "GetLive", "on"}));
    const Steps passed_on{"SetCurrEnv", "SetCurrEnv",      "Clear",      "clean-up",
                          "GetLive",    "TraceBeforeJump", "GetCurrEnv", "Jump"};
    Steps persistent = protect(raise_persistent);
    persistent.resize(passed_on.size());  // the catcher's own calls follow
    EXPECT_EQ(persistent, passed_on);

    for (const auto &body : {std::function<void()>{raise}, std::function<void()>{raise_persistent}}) {
        EXPECT_EQ(steps_of([&](Steps & /*calls*/) { mim::ignoring_region(body); }),
                  (Steps{"RecordStatus", "SetCurrEnv", "RestoreStatus", "SetCurrEnv", "on"}));
        EXPECT_EQ(steps_of([&](Steps & /*calls*/) { mim::clean_up_quietly(body); }),
                  (Steps{"RecordStatus", "SetCurrEnv", "SetCurrEnv", "RestoreStatus", "on"}));
    }
}

TEST(Region, AFailingCleanUpDoesNotReplaceTheFailure) {
    er_environment outer{};
    const auto failure = failure_of([&outer] {
        er_SetCurrEnv(&outer);
        mim::protected_region(
            "t", [] { er_PersistentEscape(1, 2, "t", 3); },
            [] { mim::clean_up_quietly([] { er_TracedEscape(4, 5, "t", 6); }); });
    });
    EXPECT_TRUE(is_failure(failure, 1, 2));
    EXPECT_NE(outer.jump_value, 0);
    EXPECT_EQ(er_GetLive(), 0) << "it is over outside of all handlers";
    EXPECT_EQ(er_GetCurrEnv(), nullptr);
}

}  // namespace
