#include "station/test_bench.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {
namespace {

/// What one tool does, and what becomes of its device.
struct expectation {
    final_state state;
    end_reason reason;
    ended_by by;
    std::optional<error_details> error;
    bool tried_again;
};

struct history {
    const char* name;
    expectation expected;
    std::function<void(bench_under_test&)> happens;
};

std::ostream& operator<<(std::ostream& stream, const history& what) {
    return stream << what.name;
}

const error_details own_timeout{"vandrel", 7, "Aborting, restore did not complete in 7200 seconds"};
const error_details no_such_device{"vandrel", 4, "Failed to find device"};
const error_details foreign_seven{"com.apple.MobileDevice", 7, ""};
const error_details communication_error{"", 9, "Communication error, possibly USB disconnection"};

void says(bench_under_test& bench, const restore_report& what) {
    bench.reports(device_a, what);
}
void error_record(bench_under_test& bench, const error_details& what) {
    bench.turn({internal_error{bench.tool(device_a), what}});
}
void ends(bench_under_test& bench, std::int64_t status) {
    bench.ends(device_a, status);
}

constexpr auto restored = final_state::restored;
constexpr auto failed = final_state::failed;
constexpr auto timed_out = final_state::timed_out;
constexpr auto stalled = final_state::stalled;
constexpr auto cancelled = final_state::cancelled;
using enum end_reason;
constexpr auto by_tool = ended_by::tool;
constexpr auto by_station = ended_by::station;
constexpr auto by_user = ended_by::user;
using under_test = bench_under_test;

class final_states : public testing::TestWithParam<history> {};

TEST_P(final_states, is_the_first_that_matches) {
    bench_options options = all_devices();
    options.retries = 1;
    options.time_limit = 2h;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    const expectation& expected = GetParam().expected;
    GetParam().happens(bench);
    const std::vector<try_ended> tries = bench.logged<try_ended>();
    ASSERT_EQ(tries.size(), 1u);
    EXPECT_EQ(tries[0].state, expected.state);
    EXPECT_EQ(name_of(tries[0].reason), name_of(expected.reason));
    EXPECT_EQ(tries[0].by, expected.by);
    EXPECT_EQ(tries[0].error, expected.error);
    EXPECT_EQ(tries[0].will_retry, expected.tried_again);
}

const history histories[] = {
    {"a_good_completion",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(13, 50));
         says(bench, report(0, 100, "Successful", std::int64_t{0}));
         ends(bench, 0);
     }},
    {"a_good_completion_then_an_abnormal_end",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful"));
         ends(bench, 3);
     }},
    {"a_good_completion_then_a_failed_report",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful"));
         says(bench, report(13, 1, "Failed", std::int64_t{9}));
         ends(bench, 0);
     }},
    {"a_failed_report_then_a_good_completion",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(13, 1, "Failed", std::int64_t{9}));
         says(bench, report(0, 100, "Successful"));
         ends(bench, 0);
     }},
    {"an_error_then_a_good_completion",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(13, 1, "Restoring", std::int64_t{9}));
         says(bench, report(0, 100, "Successful"));
         ends(bench, 0);
     }},
    {"a_good_completion_then_silence",
     {restored, completed, by_station, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful"));
         bench.pass(30min);
         ends(bench, 1);
     }},
    {"a_good_completion_then_code_7",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful"));
         error_record(bench, own_timeout);
         ends(bench, 0);
     }},
    {"code_7_then_a_good_completion",
     {restored, completed, by_tool, {}, false},
     [](under_test& bench) {
         error_record(bench, own_timeout);
         says(bench, report(0, 100, "Successful"));
         ends(bench, 0);
     }},
    {"a_completion_after_the_user_has_ended_it",
     {restored, completed, by_user, {}, false},
     [](under_test& bench) {
         bench.turn({user_cancelled{}, user_cancelled{}});
         says(bench, report(0, 100, "Successful"));
         ends(bench, 1);
     }},
    {"a_failed_report",
     {failed, device_error, by_tool, {}, true},
     [](under_test& bench) {
         says(bench, report(13, 42, "Failed"));
         ends(bench, 0);
     }},
    {"a_completion_that_says_failed",
     {failed, device_error, by_tool, error_details{"", 4005, ""}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Failed", std::int64_t{4005}));
         ends(bench, 0);
     }},
    {"a_completion_with_a_number",
     {failed, device_error, by_tool, error_details{"", 4005, ""}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful", std::int64_t{4005}));
         ends(bench, 0);
     }},
    {"a_completion_with_a_negative_number",
     {failed, device_error, by_tool, error_details{"", -1, ""}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful", std::int64_t{-1}));
         ends(bench, 0);
     }},
    {"a_completion_with_a_dictionary",
     {failed, device_error, by_tool, error_details{"AMRestoreErrorDomain", 0, "Bad"}, true},
     [](under_test& bench) {
         says(bench,
              report(0, 100, "Successful", error_dictionary{0, "AMRestoreErrorDomain", "Bad"}));
         ends(bench, 0);
     }},
    {"a_completion_with_a_text",
     {failed, device_error, by_tool, error_details{"", {}, "no ticket"}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful", std::string("no ticket")));
         ends(bench, 0);
     }},
    {"a_completion_with_a_real",
     {failed, device_error, by_tool, error_details{"", {}, "0.25"}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful", 0.25));
         ends(bench, 0);
     }},
    {"a_completion_with_another_type",
     {failed, device_error, by_tool, error_details{"", {}, "true"}, true},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful", other_error{"true"}));
         ends(bench, 0);
     }},
    {"an_error_and_no_completion",
     {failed, device_error, by_tool, communication_error, true},
     [](under_test& bench) {
         says(bench, report(13, 42, "Restoring", std::int64_t{9}));
         ends(bench, 0);
     }},
    {"the_first_failure_of_several",
     {failed, device_error, by_tool, communication_error, true},
     [](under_test& bench) {
         says(bench, report(13, 41, "Restoring", std::int64_t{8}));
         says(bench, report(13, 42, "Failed", std::int64_t{9}));
         says(bench, report(0, 100, "Failed", std::int64_t{10}));
         ends(bench, 0);
     }},
    {"a_failed_report_and_then_cancelled",
     {failed, device_error, by_user, communication_error, false},
     [](under_test& bench) {
         says(bench, report(13, 42, "Failed", std::int64_t{9}));
         bench.turn({user_cancelled{}, user_cancelled{}});
         ends(bench, 1);
     }},
    {"a_failed_report_and_code_7",
     {failed, device_error, by_tool, communication_error, true},
     [](under_test& bench) {
         says(bench, report(13, 42, "Failed", std::int64_t{9}));
         error_record(bench, own_timeout);
         ends(bench, 0);
     }},
    {"ended_for_the_user",
     {cancelled, user, by_user, {}, false},
     [](under_test& bench) {
         says(bench, report(13, 42));
         bench.turn({user_cancelled{}, user_cancelled{}});
         ends(bench, 1);
     }},
    {"ended_for_the_user_with_code_7",
     {cancelled, user, by_user, own_timeout, false},
     [](under_test& bench) {
         bench.turn({user_cancelled{}, user_cancelled{}});
         error_record(bench, own_timeout);
         ends(bench, 0);
     }},
    {"code_7",
     {timed_out, time_limit, by_tool, own_timeout, false},
     [](under_test& bench) {
         says(bench, report(13, 42));
         error_record(bench, own_timeout);
         ends(bench, 0);
     }},
    {"code_7_after_another_error",
     {timed_out, time_limit, by_tool, no_such_device, false},
     [](under_test& bench) {
         error_record(bench, no_such_device);
         error_record(bench, own_timeout);
         ends(bench, 0);
     }},
    {"the_stations_limit",
     {timed_out, time_limit, by_station, {}, false},
     [](under_test& bench) {
         for (int minute = 0; minute < 120; ++minute) {
             says(bench, report(13, minute));
             bench.pass(1min);
         }
         ends(bench, 1);
     }},
    {"an_error_of_the_tool",
     {failed, tool_error, by_tool, error_details{"vandrel", 2, "Invalid ecid"}, false},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 2, "Invalid ecid"});
         ends(bench, 2);
     }},
    {"an_error_of_the_tool_with_status_0",
     {failed, tool_error, by_tool, error_details{"vandrel", 2, "Invalid ecid"}, false},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 2, "Invalid ecid"});
         ends(bench, 0);
     }},
    {"code_3",
     {failed, tool_error, by_tool, error_details{"vandrel", 3, ""}, false},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 3, ""});
         ends(bench, 3);
     }},
    {"code_4",
     {failed, tool_error, by_tool, no_such_device, true},
     [](under_test& bench) {
         error_record(bench, no_such_device);
         ends(bench, 4);
     }},
    {"code_5",
     {failed, tool_error, by_tool, error_details{"vandrel", 5, ""}, true},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 5, ""});
         ends(bench, 5);
     }},
    {"code_6",
     {failed, tool_error, by_tool, error_details{"vandrel", 6, ""}, true},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 6, ""});
         ends(bench, 6);
     }},
    {"code_8",
     {failed, tool_error, by_tool, error_details{"vandrel", 8, ""}, false},
     [](under_test& bench) {
         error_record(bench, {"vandrel", 8, ""});
         ends(bench, 8);
     }},
    {"code_7_of_another_domain",
     {failed, tool_error, by_tool, foreign_seven, false},
     [](under_test& bench) {
         error_record(bench, foreign_seven);
         ends(bench, 7);
     }},
    {"code_5_of_another_domain",
     {failed, tool_error, by_tool, error_details{"com.apple.MobileDevice", 5, ""}, false},
     [](under_test& bench) {
         error_record(bench, {"com.apple.MobileDevice", 5, ""});
         ends(bench, 5);
     }},
    {"the_first_of_two_errors_of_the_tool",
     {failed, tool_error, by_tool, no_such_device, true},
     [](under_test& bench) {
         error_record(bench, no_such_device);
         error_record(bench, {"vandrel", 2, "Invalid ecid"});
         ends(bench, 4);
     }},
    {"an_error_of_the_tool_and_silence",
     {failed, tool_error, by_station, no_such_device, true},
     [](under_test& bench) {
         error_record(bench, no_such_device);
         bench.pass(30min);
         ends(bench, 1);
     }},
    {"silence",
     {stalled, silence, by_station, {}, true},
     [](under_test& bench) {
         says(bench, report(13, 42));
         bench.pass(30min);
         ends(bench, 1);
     }},
    {"silence_from_the_start",
     {stalled, never_began, by_station, {}, true},
     [](under_test& bench) {
         bench.pass(30min);
         ends(bench, 0);
     }},
    {"status_0_and_no_completion",
     {failed, no_completion, by_tool, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 99));
         ends(bench, 0);
     }},
    {"another_status_and_no_record",
     {failed, tool_crashed, by_tool, {}, true},
     [](under_test& bench) {
         says(bench, report(13, 99));
         ends(bench, 3);
     }},
    {"a_signal",
     {failed, tool_crashed, by_tool, {}, true},
     [](under_test& bench) { ends(bench, -6); }},
    {"no_process",
     {failed, tool_not_started, by_tool, error_details{"", {}, "no such file"}, false},
     [](under_test& bench) {
         bench.turn({vandrel::station::tool_not_started{bench.tool(device_a), "no such file"}});
     }},
    {"a_tool_that_does_not_go",
     {failed, tool_given_up, by_station, {}, false},
     [](under_test& bench) {
         bench.pass(30min);
         bench.pass(30s);
     }},
    {"a_cancelled_tool_that_does_not_go",
     {failed, tool_given_up, by_user, {}, false},
     [](under_test& bench) {
         bench.turn({user_cancelled{}, user_cancelled{}});
         bench.pass(30s);
     }},
    {"a_failed_report_and_a_tool_that_does_not_go",
     {failed, device_error, by_station, communication_error, false},
     [](under_test& bench) {
         says(bench, report(13, 42, "Failed", std::int64_t{9}));
         bench.pass(1min);
     }},
    {"a_good_completion_and_a_tool_that_does_not_go",
     {restored, completed, by_station, {}, false},
     [](under_test& bench) {
         says(bench, report(0, 100, "Successful"));
         bench.pass(30min);
         bench.pass(30s);
     }},
};

INSTANTIATE_TEST_SUITE_P(of, final_states, testing::ValuesIn(histories),
                         [](const auto& one) { return std::string(one.param.name); });

} // namespace
} // namespace vandrel::station
