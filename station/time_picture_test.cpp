#include "station/time_picture.h"

#include <gmock/gmock.h>

#include <regex>
#include <string>
#include <vector>

namespace vandrel::station {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::size_t count_of(const std::string& part, const std::string& whole) {
    std::size_t count = 0;
    for (auto place = whole.find(part); place != std::string::npos;
         place = whole.find(part, place + 1)) {
        ++count;
    }
    return count;
}

recorded_visit a_visit(const std::string& ecid, std::vector<recorded_operation> operations) {
    recorded_visit result;
    result.ecid = ecid;
    result.slot = "A1";
    result.operations = std::move(operations);
    return result;
}

run_record a_run_of_100_seconds() {
    run_record record;
    record.operation_names = {"Unzipping IPSW", "Restoring <image>"};
    record.last = seconds(100);
    return record;
}

TEST(time_picture, has_a_piece_for_each_operation) {
    run_record record = a_run_of_100_seconds();
    record.visits = {a_visit("000000000000000A", {{0, seconds(10), seconds(12), false},
                                                  {1, seconds(12), seconds(50), true}})};
    record.visits.at(0).ends = {{seconds(60), false}, {seconds(99), true}};
    const std::string picture = time_picture(record);
    EXPECT_THAT(picture, HasSubstr("<span>A1</span> <span>000000000000000A</span>"));
    EXPECT_THAT(picture, HasSubstr("<rect class=\"a\" x=\"10.000%\" width=\"2.000%\">"
                                   "<title>Unzipping IPSW: 00:00:02 from 00:00:10</title></rect>"));
    EXPECT_THAT(picture,
                HasSubstr("<svg x=\"12.000%\" width=\"38.000%\"><title>Restoring &lt;image&gt;, "
                          "failed: 00:00:38 from 00:00:12</title><rect class=\"f\" "
                          "width=\"100%\"/><text x=\"4\" y=\"13\">Restoring &lt;image&gt;</text>"));
    EXPECT_THAT(picture,
                HasSubstr("<svg class=\"bad\" x=\"60.000%\" y=\"1\"><title>Not completed at "
                          "00:01:00</title>"));
    EXPECT_THAT(
        picture,
        HasSubstr(
            "<svg class=\"good\" x=\"99.000%\" y=\"1\"><title>Completed at 00:01:39</title>"));
}

TEST(time_picture, has_narrow_pieces_of_a_colour_in_one_path) {
    run_record record = a_run_of_100_seconds();
    record.last = seconds(1000);
    record.visits = {a_visit("000000000000000A", {{0, seconds(10), seconds(12), false},
                                                  {0, seconds(12), seconds(15), false},
                                                  {0, seconds(15), seconds(16), false},
                                                  {1, seconds(16), seconds(17), true}})};
    EXPECT_THAT(
        time_picture(record),
        HasSubstr("<path class=\"a\" d=\"M1.000 0h0.200v1h-0.200zM1.500 0h0.100v1h-0.100z\"/>"
                  "<path class=\"b\" d=\"M1.200 0h0.300v1h-0.300z\"/>"
                  "<path class=\"f\" d=\"M1.600 0h0.100v1h-0.100z\"/>"));
}

TEST(time_picture, has_one_row_for_all_visits_of_a_device) {
    run_record record = a_run_of_100_seconds();
    record.visits = {a_visit("000000000000000A", {{0, seconds(10), seconds(12), false}}),
                     a_visit("000000000000000B", {}),
                     a_visit("000000000000000A", {{0, seconds(70), seconds(72), false}})};
    const std::string picture = time_picture(record);
    EXPECT_EQ(count_of("<th scope=\"row\">", picture), 2U);
    EXPECT_EQ(count_of("<rect", picture), 2U);
}

TEST(time_picture, has_an_axis_with_times) {
    const std::string picture = time_picture(a_run_of_100_seconds());
    EXPECT_THAT(picture, HasSubstr("<text x=\"0.000%\" y=\"12\">00:00:00</text>"));
    EXPECT_THAT(picture, HasSubstr("<text x=\"75.000%\" y=\"12\">00:01:15</text>"));
    EXPECT_THAT(picture, HasSubstr("<text x=\"90.000%\" y=\"12\">00:01:30</text>"));
    EXPECT_EQ(count_of("<text", picture), 7U);
}

TEST(time_picture, has_at_most_eight_marks) {
    EXPECT_EQ(distance_of_marks(seconds(0)), seconds(1));
    EXPECT_EQ(distance_of_marks(seconds(7)), seconds(1));
    EXPECT_EQ(distance_of_marks(seconds(8)), seconds(2));
    EXPECT_EQ(distance_of_marks(seconds(100)), seconds(15));
    EXPECT_EQ(distance_of_marks(minutes(20)), minutes(5));
    EXPECT_EQ(distance_of_marks(hours(8)), hours(2));
    EXPECT_EQ(distance_of_marks(hours(24 * 14)), hours(48));
    for (int length = 0; length < 100'000; length += 7) {
        ASSERT_LT(seconds(length) / distance_of_marks(seconds(length)), 8);
    }
}

TEST(time_picture, draws_operations_together_that_are_too_short_to_be_seen) {
    run_record record = a_run_of_100_seconds();
    record.last = hours(100);
    std::vector<recorded_operation> operations;
    operations.reserve(3600);
    for (int i = 0; i < 3600; ++i) {
        operations.push_back({0, seconds(i), seconds(i + 1), false});
    }
    record.visits = {a_visit("000000000000000A", operations)};
    // An hundredth of the axis, in which 33 pieces have room.
    const std::string picture = time_picture(record);
    EXPECT_LE(count_of("v1h-", picture), 34U);
    EXPECT_GE(count_of("v1h-", picture), 30U);
}

TEST(time_picture, draws_a_short_operation_that_nothing_follows) {
    run_record record = a_run_of_100_seconds();
    const std::chrono::milliseconds narrow(10);
    record.visits = {a_visit("000000000000000A", {{0, seconds(10), seconds(10) + narrow, false},
                                                  {0, seconds(50), seconds(50) + narrow, false}})};
    EXPECT_THAT(time_picture(record), AllOf(HasSubstr("M10.000 0h0.030v1h-0.030z"),
                                            HasSubstr("M50.000 0h0.030v1h-0.030z")));
}

TEST(time_picture, of_64_devices_and_500_operations_has_each_of_them) {
    run_record record = a_run_of_100_seconds();
    record.last = seconds(5000);
    for (int device = 0; device < 64; ++device) {
        recorded_visit& its = record.visits.emplace_back();
        its.serial_number = std::to_string(device);
        for (int i = 0; i < 500; ++i) {
            its.operations.push_back({0, seconds(i * 10), seconds(i * 10 + 10), false});
        }
    }
    const std::string picture = time_picture(record);
    EXPECT_EQ(count_of("v1h-", picture), 32'000U);
    // In two colours, each of which is one element of a row.
    EXPECT_EQ(count_of("<path", picture), 128U);
    EXPECT_EQ(count_of("<th scope=\"row\">", picture), 64U);
    // As much as a browser takes in within a second.
    EXPECT_LT(picture.size(), 2'000'000U);
}

TEST(time_picture, of_a_run_without_events_has_no_numbers_that_are_none) {
    run_record record;
    record.visits = {a_visit("000000000000000A", {})};
    EXPECT_THAT(time_picture(record), Not(HasSubstr("nan")));
}

} // namespace
} // namespace vandrel::station
