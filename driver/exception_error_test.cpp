#include "driver/exception_error.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "tests/channel_capture.h"

#include <boost/program_options/cmdline.hpp>
#include <boost/program_options/errors.hpp>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace vandrel;
namespace po = boost::program_options;
using vandrel::testing::channel_capture;

void expect_error(const cf_error_handle& error, CFIndex code, const std::string& reason) {
    EXPECT_EQ(CFErrorGetCode(error.get()), code);
    const cf_handle<CFStringRef> text(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(text ? cfstring_to_string(text.get()) : "none", reason);
}

void expect_failure(const failure& found, tool_error code, const std::string& reason) {
    EXPECT_EQ(found.code, code);
    EXPECT_EQ(found.reason, reason);
}

class failure_of_exception : public ::testing::TestWithParam<stage> {};

INSTANTIATE_TEST_SUITE_P(every_stage, failure_of_exception,
                         ::testing::Values(stage::parsing, stage::running));

TEST_P(failure_of_exception, an_option_given_twice_is_a_bad_command) {
    po::multiple_occurrences exception;
    exception.set_option_name("ecid");
    exception.set_prefix(po::command_line_style::allow_long);
    expect_failure(failure_of(exception, GetParam()), tool_error::bad_command,
                   "Option '--ecid' may only be specified once");
}

TEST_P(failure_of_exception, an_unknown_option_is_a_bad_command) {
    expect_failure(failure_of(po::unknown_option("--all"), GetParam()), tool_error::bad_command,
                   "unrecognised option '--all'");
}

TEST_P(failure_of_exception, a_value_that_does_not_fit_is_an_invalid_argument) {
    expect_failure(failure_of(po::invalid_option_value("soon"), GetParam()),
                   tool_error::invalid_argument, "the argument ('soon') for option is invalid");
}

TEST_P(failure_of_exception, any_other_exception_is_an_unknown_error) {
    expect_failure(failure_of(std::runtime_error("the text"), GetParam()),
                   tool_error::unknown_error, "the text");
}

TEST(failure_of_length_error, it_is_a_bad_command_while_the_command_line_is_parsed) {
    expect_failure(failure_of(std::length_error("too long"), stage::parsing),
                   tool_error::bad_command, "too long");
}

TEST(failure_of_length_error, it_is_an_unknown_error_while_the_command_runs) {
    expect_failure(failure_of(std::length_error("too long"), stage::running),
                   tool_error::unknown_error, "too long");
}

TEST(error_of, an_exception_becomes_an_error_of_the_running_command) {
    expect_error(error_of(po::unknown_option("--all")), 3, "unrecognised option '--all'");
    expect_error(error_of(std::length_error("too long")), 1, "too long");
}

TEST(error_of, an_error_that_cannot_be_made_is_an_unknown_error_that_says_so) {
    // The texts' dictionary and the reason come before the error itself.
    simulator::fail_creation(3);
    expect_error(error_of(po::unknown_option("--all")), 1, "std::bad_alloc");
}

TEST(error_of, an_error_whose_texts_cannot_be_made_keeps_its_code) {
    simulator::fail_creation(1);
    expect_error(error_of(po::unknown_option("--all")), 3, "none");
    simulator::fail_creation(2);
    expect_error(error_of(po::unknown_option("--all")), 3, "none");
}

TEST(report_error, the_record_is_queued_and_the_status_is_that_of_the_error) {
    channel_capture capture;
    EXPECT_EQ(
        report_error(make_tool_error(tool_error::read_error, "it broke").get(), *capture.channel()),
        8);
    EXPECT_NE(capture.finish().records.find("<string>it broke</string>"), std::string::npos);
}

TEST(report_error, without_an_error_there_is_status_1_and_nothing_else) {
    channel_capture capture;
    EXPECT_EQ(report_error(nullptr, *capture.channel()), 1);
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    EXPECT_TRUE(written.diagnostics.empty());
}

} // namespace
