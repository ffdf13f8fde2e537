#include "station/bundle.h"
#include "station/time_left.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {
namespace {

using std::chrono::seconds;

constexpr std::int32_t unzipping = 201;
constexpr std::int32_t restoring = 13;
constexpr std::int32_t verifying = 14;
const std::string ecid = "000A11B22C33D44E";
const restore_kind phone{0x8110, 0x0C, "21B80", true};

restored_try earlier(std::vector<operation_time> operations, const restore_kind& kind = phone) {
    return {kind, std::move(operations)};
}

event at(seconds time, event_body body) {
    event what;
    what.t = time;
    what.device = event_device{ecid, "", "A1", 1, 1};
    what.body = std::move(body);
    return what;
}

device_found found(std::uint32_t chip_id = 0x8110) {
    device_properties properties;
    properties.chip_id = chip_id;
    properties.board_id = 0x0C;
    return {properties};
}

operation begin(std::int32_t number, std::int64_t progress = 0) {
    return {{number, "", progress}};
}

try_ended restored() {
    try_ended result;
    result.state = final_state::restored;
    return result;
}

/// After these tries, in a restore of the same kind, which has begun this operation at ten seconds.
time_left in(std::int32_t number, const std::vector<restored_try>& tries,
             std::int64_t progress = 0) {
    time_left result(tries, "21B80", true);
    result.take(at(seconds(1), found()));
    result.take(at(seconds(2), try_started{}));
    result.take(at(seconds(10), begin(number, progress)));
    return result;
}

TEST(time_left, is_the_usual_time_of_the_operation_and_of_those_that_follow) {
    const std::vector<restored_try> tries = {
        earlier({{unzipping, seconds(20)}, {restoring, seconds(300)}, {verifying, seconds(100)}})};
    EXPECT_EQ(in(unzipping, tries).of(ecid, seconds(10)), seconds(420));
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10)), seconds(400));
    EXPECT_EQ(in(verifying, tries).of(ecid, seconds(10)), seconds(100));
}

TEST(time_left, goes_by_the_median_of_the_earlier_tries) {
    std::vector<restored_try> tries = {earlier({{restoring, seconds(1000)}}),
                                       earlier({{restoring, seconds(10)}}),
                                       earlier({{restoring, seconds(30)}})};
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10)), seconds(30));
    tries.push_back(earlier({{restoring, seconds(20)}}));
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10)), seconds(25));
}

TEST(time_left, becomes_less_with_the_progress_of_the_operation) {
    const std::vector<restored_try> tries = {
        earlier({{restoring, seconds(300)}, {verifying, seconds(100)}})};
    time_left times = in(restoring, tries);
    times.take(at(seconds(11), progress{{restoring, "", 25}}));
    EXPECT_EQ(times.of(ecid, seconds(5000)), seconds(225 + 100));
    times.take(at(seconds(11), progress{{restoring, "", 100}}));
    EXPECT_EQ(times.of(ecid, seconds(11)), seconds(100));
    times.take(at(seconds(11), progress{{restoring, "", 250}}));
    EXPECT_EQ(times.of(ecid, seconds(11)), seconds(100));
    EXPECT_EQ(in(restoring, tries, 50).of(ecid, seconds(10)), seconds(150 + 100));
}

TEST(time_left, becomes_less_with_time_where_an_operation_has_no_progress) {
    const std::vector<restored_try> tries = {
        earlier({{restoring, seconds(300)}, {verifying, seconds(100)}})};
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10 + 299)), seconds(1 + 100));
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10 + 301)), seconds(100));
    EXPECT_EQ(in(restoring, tries, -1).of(ecid, seconds(10 + 100)), seconds(200 + 100));
}

TEST(time_left, tells_the_times_of_an_operation_that_comes_again_apart) {
    const std::vector<restored_try> tries = {
        earlier({{restoring, seconds(300)}, {verifying, seconds(100)}, {restoring, seconds(7)}})};
    time_left times = in(restoring, tries);
    times.take(at(seconds(20), begin(verifying)));
    EXPECT_EQ(times.of(ecid, seconds(20)), seconds(107));
    times.take(at(seconds(30), begin(restoring)));
    EXPECT_EQ(times.of(ecid, seconds(30)), seconds(7));
    times.take(at(seconds(31), begin(verifying)));
    EXPECT_EQ(times.of(ecid, seconds(31)), std::nullopt);
}

TEST(time_left, takes_what_follows_from_the_newest_try) {
    const std::vector<restored_try> tries = {
        earlier({{restoring, seconds(10)}, {unzipping, seconds(1000)}}),
        earlier({{restoring, seconds(10)}, {verifying, seconds(5)}}),
        earlier({{unzipping, seconds(3)}})};
    EXPECT_EQ(in(restoring, tries).of(ecid, seconds(10)), seconds(15));
}

TEST(time_left, is_not_known_without_a_try_of_the_same_kind) {
    const std::vector<operation_time> operations = {{restoring, seconds(10)}};
    for (const restore_kind& kind :
         {restore_kind{0x8111, 0x0C, "21B80", true}, restore_kind{0x8110, 0x0D, "21B80", true},
          restore_kind{0x8110, 0x0C, "21B81", true}, restore_kind{0x8110, 0x0C, "21B80", false}}) {
        EXPECT_EQ(in(restoring, {earlier(operations, kind)}).of(ecid, seconds(10)), std::nullopt);
    }
    EXPECT_EQ(in(restoring, {earlier(operations)}).of(ecid, seconds(10)), seconds(10));
}

TEST(time_left, is_not_known_in_an_operation_that_no_earlier_try_had) {
    EXPECT_EQ(in(verifying, {earlier({{restoring, seconds(10)}})}).of(ecid, seconds(10)),
              std::nullopt);
}

TEST(time_left, is_not_known_while_no_try_runs) {
    time_left times({earlier({{restoring, seconds(10)}})}, "21B80", true);
    EXPECT_EQ(times.of(ecid, seconds(0)), std::nullopt);
    times.take(at(seconds(1), found()));
    times.take(at(seconds(2), try_started{}));
    EXPECT_EQ(times.of(ecid, seconds(2)), std::nullopt);
    times.take(at(seconds(3), begin(restoring)));
    EXPECT_EQ(times.of(ecid, seconds(3)), seconds(10));
    times.take(at(seconds(4), try_ended{}));
    EXPECT_EQ(times.of(ecid, seconds(4)), std::nullopt);
}

TEST(time_left, goes_by_the_bundle_of_the_device_in_a_run_with_several) {
    bundle other;
    other.build = "20A362";
    time_left times({earlier({{restoring, seconds(10)}}),
                     earlier({{restoring, seconds(99)}}, {0x8110, 0x0C, "20A362", true})},
                    "", true);
    times.take(at(seconds(1), found()));
    times.take(at(seconds(2), try_started{std::make_shared<const bundle>(other)}));
    times.take(at(seconds(3), begin(restoring)));
    EXPECT_EQ(times.of(ecid, seconds(3)), seconds(99));
}

TEST(time_left, learns_the_time_of_each_operation_of_a_restored_try) {
    time_left times({}, "21B80", true);
    times.take(at(seconds(1), found()));
    // A try that fails leaves nothing to the next.
    times.take(at(seconds(2), try_started{}));
    times.take(at(seconds(3), begin(unzipping)));
    EXPECT_EQ(times.take(at(seconds(9), try_ended{})), std::nullopt);
    times.take(at(seconds(10), try_started{}));
    times.take(at(seconds(12), begin(restoring)));
    times.take(at(seconds(50), progress{{restoring, "", 50}}));
    times.take(at(seconds(112), begin(verifying)));
    times.take(at(seconds(115), begin(restoring)));
    EXPECT_EQ(
        times.take(at(seconds(120), restored())),
        earlier({{restoring, seconds(100)}, {verifying, seconds(3)}, {restoring, seconds(5)}}));
}

TEST(time_left, learns_nothing_without_a_chip_a_build_or_an_operation) {
    const auto learned = [](std::uint32_t chip_id, const std::string& build, bool has_operation) {
        time_left times({}, build, true);
        times.take(at(seconds(1), found(chip_id)));
        times.take(at(seconds(2), try_started{}));
        if (has_operation) {
            times.take(at(seconds(3), begin(restoring)));
        }
        return times.take(at(seconds(4), restored()));
    };
    EXPECT_NE(learned(0x8110, "21B80", true), std::nullopt);
    EXPECT_EQ(learned(0, "21B80", true), std::nullopt);
    EXPECT_EQ(learned(0x8110, "", true), std::nullopt);
    EXPECT_EQ(learned(0x8110, "21B80", false), std::nullopt);
}

} // namespace
} // namespace vandrel::station
