#include "driver/exception_error.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"

#include <boost/program_options/cmdline.hpp>
#include <boost/program_options/errors.hpp>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace vandrel;
namespace po = boost::program_options;

void expect_error(const cf_error_handle& error, CFIndex code, const std::string& reason) {
    EXPECT_EQ(CFErrorGetCode(error.get()), code);
    const cf_handle<CFStringRef> text(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(text ? cfstring_to_string(text.get()) : "none", reason);
}

TEST(error_of, an_option_given_twice_is_a_bad_command) {
    po::multiple_occurrences exception;
    exception.set_option_name("ecid");
    exception.set_prefix(po::command_line_style::allow_long);
    expect_error(error_of(exception), 3, "Option '--ecid' may only be specified once");
}

TEST(error_of, an_unknown_option_is_a_bad_command) {
    expect_error(error_of(po::unknown_option("--all")), 3, "unrecognised option '--all'");
}

TEST(error_of, a_value_that_does_not_fit_is_an_invalid_argument) {
    expect_error(error_of(po::invalid_option_value("soon")), 2,
                 "the argument ('soon') for option is invalid");
}

TEST(error_of, any_other_exception_is_an_unknown_error) {
    expect_error(error_of(std::runtime_error("the text")), 1, "the text");
}

TEST(error_of, an_error_that_cannot_be_made_is_an_unknown_one_for_want_of_memory) {
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

} // namespace
