#include "foundation/hresult_error_category.h"
#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vandrel {

namespace {

std::string message(std::uint32_t result) {
    return hresult_error_category::instance().message(static_cast<int>(result));
}

} // namespace

TEST(hresult_error_category, is_named_for_com_results) {
    EXPECT_STREQ(hresult_error_category::instance().name(), "HRESULT Error");
}

TEST(hresult_error_category, says_what_the_system_says_without_the_line_break) {
    EXPECT_EQ(message(2), testing::system_message(2));
}

TEST(hresult_error_category, numbers_the_errors_of_an_interface) {
    EXPECT_EQ(message(0x80040201), "IDispatch error #1");
    EXPECT_EQ(message(0x8004FFFF), "IDispatch error #65023");
}

TEST(hresult_error_category, does_not_count_the_first_of_the_interfaces_numbers_among_them) {
    EXPECT_EQ(message(0x80040200), "Unknown error 0x80040200");
}

TEST(hresult_error_category, writes_the_number_of_any_other_result_without_a_text) {
    EXPECT_EQ(message(0x80050000), "Unknown error 0x80050000");
    EXPECT_EQ(message(0x8007FFFF), "Unknown error 0x8007FFFF");
    EXPECT_EQ(message(0xABCDEF), "Unknown error 0xABCDEF");
}

TEST(hresult_error_category, leaves_a_result_as_it_is_as_a_condition) {
    const auto& category = hresult_error_category::instance();
    EXPECT_EQ(category.default_error_condition(5), std::error_condition(5, category));
}

} // namespace vandrel
