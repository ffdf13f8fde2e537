#include "station/report.h"

#include <gtest/gtest.h>

#include <set>

namespace vandrel::station {
namespace {

restore_report report(std::string status, std::int32_t operation, std::int64_t progress,
                      error_value error = {}) {
    return {std::move(status), operation, progress, std::move(error), {}};
}

TEST(report_error, is_any_value_but_none_and_the_integer_zero) {
    EXPECT_FALSE(error_of(report("", 0, 0)));
    EXPECT_FALSE(error_of(report("", 0, 0, std::int64_t{0})));
    EXPECT_EQ(error_of(report("", 0, 0, std::int64_t{4005})), (error_details{"", 4005, ""}));
    EXPECT_EQ(error_of(report("", 0, 0, std::int64_t{-1})), (error_details{"", -1, ""}));
    EXPECT_EQ(error_of(report("", 0, 0, 0.5)), (error_details{"", {}, "0.5"}));
    EXPECT_EQ(error_of(report("", 0, 0, 0.0)), (error_details{"", {}, "0"}));
    EXPECT_EQ(error_of(report("", 0, 0, std::string("no ticket"))),
              (error_details{"", {}, "no ticket"}));
    EXPECT_EQ(error_of(report("", 0, 0, std::string())), (error_details{"", {}, ""}));
    EXPECT_EQ(error_of(report("", 0, 0, error_dictionary{0, "AMR", "Bad"})),
              (error_details{"AMR", 0, "Bad"}));
    EXPECT_EQ(error_of(report("", 0, 0, other_error{"false"})), (error_details{"", {}, "false"}));
}

TEST(report_error, of_an_amr_code_has_the_text_of_the_code) {
    EXPECT_EQ(error_of(report("", 0, 0, std::int64_t{9})),
              (error_details{"", 9, "Communication error, possibly USB disconnection"}));
    EXPECT_EQ(error_of(report("", 0, 0, std::int64_t{3194})),
              (error_details{"", 3194, "Authorization declined"}));
    EXPECT_EQ(error_of(report("", 0, 0, std::int64_t{0x1'0000'0009})),
              (error_details{"", 0x1'0000'0009, ""}));
}

TEST(report_error, of_another_domain_has_no_text_but_its_own) {
    EXPECT_EQ(error_of(report("", 0, 0, error_dictionary{9, "NSPOSIXErrorDomain", ""})),
              (error_details{"NSPOSIXErrorDomain", 9, ""}));
}

TEST(operation_name, is_that_of_the_table) {
    EXPECT_EQ(operation_name(13), "Restoring image");
    EXPECT_EQ(operation_name(0), "");
    EXPECT_EQ(operation_name(999), "");
}

TEST(report, completes_with_operation_0_at_100_percent_only) {
    EXPECT_TRUE(completes(report("Successful", 0, 100)));
    EXPECT_FALSE(completes(report("Successful", 0, 99)));
    EXPECT_FALSE(completes(report("Successful", 0, 101)));
    EXPECT_FALSE(completes(report("Successful", 9, 100)));
}

TEST(report, succeeds_when_it_completes_with_neither_failed_nor_an_error) {
    EXPECT_TRUE(succeeds(report("Successful", 0, 100)));
    EXPECT_TRUE(succeeds(report("", 0, 100, std::int64_t{0})));
    EXPECT_TRUE(succeeds(report("failed", 0, 100)));
    EXPECT_FALSE(succeeds(report("Failed", 0, 100)));
    EXPECT_FALSE(succeeds(report("Successful", 0, 100, std::int64_t{1})));
    EXPECT_FALSE(succeeds(report("Successful", 13, 100)));
}

TEST(report, fails_when_it_says_so_or_completes_with_an_error) {
    EXPECT_TRUE(fails(report("Failed", 13, 42)));
    EXPECT_TRUE(fails(report("Failed", 0, 100)));
    EXPECT_TRUE(fails(report("Successful", 0, 100, std::string())));
    EXPECT_FALSE(fails(report("Restoring", 13, 42, std::int64_t{4005})));
    EXPECT_FALSE(fails(report("Successful", 0, 100)));
}

TEST(firmware_operation, is_one_of_sixteen) {
    const std::set<std::int32_t> expected{10, 18, 19, 32, 35, 39, 47, 51,
                                          55, 56, 58, 59, 60, 66, 67, 80};
    for (std::int32_t number = -1; number <= 300; ++number) {
        EXPECT_EQ(is_firmware_operation(number), expected.contains(number)) << number;
    }
}

} // namespace
} // namespace vandrel::station
