#include "foundation/win32_error_category.h"
#include "platform/native_error.h"
#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

namespace vandrel {

namespace {

const std::error_category& category() {
    return win32_error_category::instance();
}

} // namespace

TEST(win32_error_category, is_named_for_windows) {
    EXPECT_STREQ(category().name(), "Win32 Error");
}

TEST(win32_error_category, has_the_systems_text_without_a_line_break) {
    EXPECT_EQ(category().message(2), testing::system_message(2));
}

TEST(win32_error_category, writes_the_code_and_the_last_error_for_a_code_without_a_text) {
    EXPECT_EQ(category().message(15999), "Can't generate error string for code 15999 (error 317: " +
                                             testing::system_message(317) + ")");
}

TEST(win32_error_category, writes_a_negative_code_with_its_sign) {
    EXPECT_EQ(category().message(-15999),
              "Can't generate error string for code -15999 (error 317: " +
                  testing::system_message(317) + ")");
}

TEST(message_without_text, has_the_code_the_error_and_the_errors_text) {
    EXPECT_EQ(message_without_text(15999, 5), "Can't generate error string for code 15999 (error "
                                              "5: " +
                                                  testing::system_message(5) + ")");
}

TEST(message_without_text, writes_the_code_signed_and_the_error_unsigned) {
    EXPECT_EQ(message_without_text(-1, 0xFFFFFFFF),
              "Can't generate error string for code -1 (error 4294967295: )");
}

TEST(win32_error_category, maps_these_codes_to_conditions_and_no_others) {
    const std::vector<std::pair<std::errc, std::vector<int>>> codes_of = {
        {std::errc::function_not_supported, {1, 120}},
        {std::errc::no_such_file_or_directory, {2, 3, 51, 53}},
        {std::errc::too_many_files_open, {4, 36, 10024}},
        {std::errc::permission_denied, {5, 12, 32, 65}},
        {std::errc::bad_file_descriptor, {6, 114, 10009, 10070}},
        {std::errc::not_enough_memory, {8, 14}},
        {std::errc::executable_format_error, {11, 193, 216}},
        {std::errc::no_such_device, {15, 20, 26, 55}},
        {std::errc::cross_device_link, {17}},
        {std::errc::read_only_file_system, {19}},
        {std::errc::resource_unavailable_try_again, {21, 10004, 11002}},
        {std::errc::invalid_argument, {24, 87, 123, 143, 153, 160, 186, 209, 10022}},
        {std::errc::invalid_seek, {25, 131, 132}},
        {std::errc::no_space_on_device, {39, 112}},
        {std::errc::not_supported, {50, 10092}},
        {std::errc::device_or_resource_busy, {54, 108, 148}},
        {std::errc::file_exists, {80, 183}},
        {std::errc::no_lock_available, {100}},
        {std::errc::broken_pipe, {109}},
        {std::errc::filename_too_long, {111, 154, 10063}},
        {std::errc::inappropriate_io_control_operation, {117}},
        {std::errc::operation_not_supported, {119, 10045}},
        {std::errc::no_buffer_space, {122, 10055}},
        {std::errc::no_child_process, {128}},
        {std::errc::operation_not_permitted, {130}},
        {std::errc::directory_not_empty, {145, 10066}},
        {std::errc::bad_address, {159, 487, 10014}},
        {std::errc::timed_out, {258, 10060}},
        {std::errc::operation_would_block, {10035}},
        {std::errc::operation_in_progress, {10036}},
        {std::errc::connection_already_in_progress, {10037}},
        {std::errc::not_a_socket, {10038}},
        {std::errc::destination_address_required, {10039}},
        {std::errc::message_size, {10040}},
        {std::errc::wrong_protocol_type, {10041}},
        {std::errc::no_protocol_option, {10042}},
        {std::errc::protocol_not_supported, {10043}},
        {std::errc::address_in_use, {10048}},
        {std::errc::address_not_available, {10049}},
        {std::errc::network_down, {10050}},
        {std::errc::network_unreachable, {10051}},
        {std::errc::network_reset, {10052}},
        {std::errc::connection_aborted, {10053}},
        {std::errc::connection_reset, {10054}},
        {std::errc::already_connected, {10056}},
        {std::errc::not_connected, {10057}},
        {std::errc::connection_refused, {10061, 10112}},
        {std::errc::too_many_symbolic_link_levels, {10062}},
        {std::errc::host_unreachable, {10065}},
        {std::errc::operation_canceled, {10103, 10111}},
    };
    std::map<int, std::errc> expected;
    for (const auto& [condition, codes] : codes_of) {
        for (const int code : codes) {
            expected[code] = condition;
        }
    }
    EXPECT_EQ(expected.size(), 95U);
    for (int code = -20; code <= 20000; ++code) {
        const auto found = expected.find(code);
        const std::error_condition condition = found == expected.end()
                                                   ? std::error_condition(code, category())
                                                   : std::make_error_condition(found->second);
        EXPECT_EQ(category().default_error_condition(code), condition) << code;
    }
}

TEST(win32_error_category, maps_an_interrupted_call_to_one_to_be_made_again) {
    EXPECT_TRUE(std::error_code(10004, category()) == std::errc::resource_unavailable_try_again);
    EXPECT_FALSE(std::error_code(10004, category()) == std::errc::interrupted);
}

TEST(win32_error_category, leaves_a_code_without_a_condition_as_it_is) {
    const std::error_condition condition = category().default_error_condition(9999);
    EXPECT_EQ(condition.value(), 9999);
    EXPECT_STREQ(condition.category().name(), "Win32 Error");
}

TEST(last_win32_error, is_the_calling_threads_last_error) {
    set_native_last_error(5);
    const boost::system::error_code error = last_win32_error();
    EXPECT_EQ(std::error_code(error), std::error_code(5, category()));
    EXPECT_EQ(error.message(), testing::system_message(5));
    EXPECT_TRUE(std::error_code(error) == std::errc::permission_denied);
}

TEST(last_win32_error, keeps_a_code_above_the_signed_numbers_as_a_negative_one) {
    set_native_last_error(0xFFFFFFFF);
    EXPECT_EQ(std::error_code(last_win32_error()).value(), -1);
}

} // namespace vandrel
