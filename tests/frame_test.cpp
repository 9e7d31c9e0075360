// The calling frame: which functions announce themselves at which level, and what a region does in which
// order.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "failure.h"
#include "frame.h"
#include "mim.h"
#include "service_spy.h"
#include "temp_home.h"

namespace {

// The trace announcements of a test, as "> name class" and "< name class".
class TraceRecorder {
  public:
    explicit TraceRecorder(int level) {
        er_SubSystemLoggingLevel = level;
        er_SetTraceSink(
            [](void *context, const er_trace_event *event) { static_cast<TraceRecorder *>(context)->add(*event); },
            this);
    }
    TraceRecorder(const TraceRecorder &) = delete;
    TraceRecorder &operator=(const TraceRecorder &) = delete;
    ~TraceRecorder() {
        er_SetTraceSink(nullptr, nullptr);
        er_SubSystemLoggingLevel = 0;
    }

    std::vector<std::string> events;

  private:
    void add(const er_trace_event &event) {
        if (event.kind == er_trace_event::ER_TRACE_ENTRY || event.kind == er_trace_event::ER_TRACE_EXIT) {
            const char *mark = event.kind == er_trace_event::ER_TRACE_ENTRY ? "> " : "< ";
            events.push_back(mark + std::string{event.function} + " " + std::to_string(event.trace_class));
        }
    }
};

TEST(Trace, EachFunctionAnnouncesItselfInItsClass) {
    const TempHome home;
    std::array<char, NM_ORN_SIZE> orn{};
    nm_index index;
    nm_InitORN(orn.data(), &index);
    std::array<char, MIM_SUBJECT_SIZE> text{"a"};
    std::array<char, 8> list{"C$us"};
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    int stop = 0;
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
    };
    er_SetLogSink([](void *, int, const char *) {}, nullptr);
    for (const auto &row : rows) {
        for (const int level : {0, 9, 10}) {
            const TraceRecorder trace{level};
            row.call();
            const bool announced =
                row.trace_class == 15 || row.trace_class == 17 || (row.trace_class != 0 && level > 9);
            const std::string self = std::string{row.name} + " " + std::to_string(row.trace_class);
            ASSERT_EQ(!trace.events.empty(), announced) << row.name << " at level " << level;
            if (announced) {
                EXPECT_EQ(trace.events.front(), "> " + self);
                EXPECT_EQ(trace.events.back(), "< " + self);
            }
        }
    }
    er_SetLogSink(nullptr, nullptr);
}

TEST(Trace, TestsTheLevelAtEntryAndAtExit) {
    const auto events_when = [](int before, int after) {
        const TraceRecorder trace{before};
        mim::traced<mim::TraceClass::kHelper>("f", [after] { er_SubSystemLoggingLevel = after; });
        const auto word = mim::traced<mim::TraceClass::kWords>("g", [] { return 5; });
        EXPECT_EQ(word, 5);
        return trace.events;
    };
    using Events = std::vector<std::string>;
    EXPECT_EQ(events_when(10, 0), (Events{"> f 21"}));
    EXPECT_EQ(events_when(0, 10), (Events{"< f 21", "> g 19", "< g 19"}));
}

TEST(Trace, UnwindingAnnouncesNoExit) {
    const TraceRecorder trace{0};
    EXPECT_TRUE(failure_of([] { mim::traced<mim::TraceClass::kMain>("f", [] { er_TracedEscape(1, 2, "t", 3); }); }));
    EXPECT_EQ(trace.events, (std::vector<std::string>{"> f 17"}));
}

// The steps of `region` as the calls of the error service, with "clean-up" where `clean_up` runs.
std::vector<std::string> steps_of(const std::function<void(std::vector<std::string> &)> &region) {
    std::vector<std::string> calls;
    failure_of([&] {
        spy::record_error_calls(&calls);
        region(calls);
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
            calls.emplace_back("on");
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
        EXPECT_EQ(steps_of([&](Steps &calls) {
                      mim::ignoring_region(body);
                      calls.emplace_back("on");
                  }),
                  (Steps{"RecordStatus", "SetCurrEnv", "RestoreStatus", "SetCurrEnv", "on"}));
        EXPECT_EQ(steps_of([&](Steps &calls) {
                      mim::clean_up_quietly(body);
                      calls.emplace_back("on");
                  }),
                  (Steps{"RecordStatus", "SetCurrEnv", "SetCurrEnv", "RestoreStatus", "on"}));
    }
}

TEST(Region, AFailingCleanUpDoesNotReplaceTheFailure) {
    er_environment *const before = er_GetCurrEnv();
    const auto failure = failure_of([] {
        mim::protected_region(
            "t", [] { er_PersistentEscape(1, 2, "t", 3); },
            [] { mim::clean_up_quietly([] { er_TracedEscape(4, 5, "t", 6); }); });
    });
    EXPECT_TRUE(is_failure(failure, 1, 2));
    EXPECT_EQ(er_GetCurrEnv(), before);
}

}  // namespace
