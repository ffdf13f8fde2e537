#include "foundation/hresult_error_category.h"
#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vandrel {

TEST(hresult_error_category, is_named_for_com_results) {
    EXPECT_STREQ(hresult_error_category::instance().name(), "HRESULT Error");
}

TEST(hresult_error_category, has_the_systems_text_without_a_line_break) {
    EXPECT_EQ(hresult_error_category::instance().message(2), testing::system_message(2));
}

TEST(hresult_error_category, writes_the_number_of_a_result_that_the_system_has_no_text_for) {
    EXPECT_EQ(hresult_error_category::instance().message(static_cast<int>(0x8BADF00D)),
              "Unknown error 0x8BADF00D");
}

TEST(hresult_error_category, leaves_a_result_as_it_is_as_a_condition) {
    const auto& category = hresult_error_category::instance();
    EXPECT_EQ(category.default_error_condition(5), std::error_condition(5, category));
}

TEST(com_message, loses_one_line_break_at_its_end) {
    EXPECT_EQ(com_message("Text.\r\n", 1), "Text.");
    EXPECT_EQ(com_message("Text.\n", 1), "Text.");
    EXPECT_EQ(com_message("Text.\r\n\r\n", 1), "Text.\r\n");
    EXPECT_EQ(com_message("Text.\n\n", 1), "Text.\n");
}

TEST(com_message, keeps_other_white_space) {
    EXPECT_EQ(com_message(" Text. \t\r\n", 1), " Text. \t");
    EXPECT_EQ(com_message("Text.\r", 1), "Text.\r");
    EXPECT_EQ(com_message("Text. ", 1), "Text. ");
}

TEST(com_message, keeps_a_line_feed_that_is_all_of_the_text) {
    EXPECT_EQ(com_message("\n", 1), "\n");
}

TEST(com_message, is_empty_for_a_text_that_is_a_line_break_of_two_characters) {
    EXPECT_EQ(com_message("\r\n", 1), "");
}

TEST(com_message, keeps_the_bytes_of_the_systems_encoding) {
    EXPECT_EQ(com_message("Zugriff verweigert \xFC\r\n", 5), "Zugriff verweigert \xFC");
}

TEST(com_message, is_the_systems_text_for_an_error_of_an_interface_that_has_one) {
    EXPECT_EQ(com_message("The object is static.\r\n", 0x80040201), "The object is static.");
}

TEST(com_message, numbers_the_errors_of_an_interface_without_a_text) {
    EXPECT_EQ(com_message("", 0x80040201), "IDispatch error #1");
    EXPECT_EQ(com_message("", 0x8004FFFF), "IDispatch error #65023");
}

TEST(com_message, writes_the_first_of_the_interfaces_numbers_as_an_unknown_error) {
    EXPECT_EQ(com_message("", 0x80040200), "Unknown error 0x80040200");
}

TEST(com_message, writes_any_other_number_in_upper_case_without_padding) {
    EXPECT_EQ(com_message("", 0x80050000), "Unknown error 0x80050000");
    EXPECT_EQ(com_message("", 0x8007FFFF), "Unknown error 0x8007FFFF");
    EXPECT_EQ(com_message("", 0xABCDEF), "Unknown error 0xABCDEF");
    EXPECT_EQ(com_message("", 0), "Unknown error 0x0");
}

} // namespace vandrel
