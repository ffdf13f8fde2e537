#include "platform/native_error.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>

namespace vandrel {

TEST(native_error_text, is_windows_english_text_for_every_number_that_this_host_gives) {
    const std::map<std::int32_t, std::string> expected = {
        {1, "Incorrect function.\r\n"},
        {2, "The system cannot find the file specified.\r\n"},
        {3, "The system cannot find the path specified.\r\n"},
        {4, "The system cannot open the file.\r\n"},
        {5, "Access is denied.\r\n"},
        {8, "Not enough memory resources are available to process this command.\r\n"},
        {19, "The media is write protected.\r\n"},
        {21, "The device is not ready.\r\n"},
        {31, "A device attached to the system is not functioning.\r\n"},
        {80, "The file exists.\r\n"},
        {87, "The parameter is incorrect.\r\n"},
        {112, "There is not enough space on the disk.\r\n"},
        {206, "The filename or extension is too long.\r\n"},
        {317, "The system cannot find message text for message number 0x%1 in the message file "
              "for %2.\r\n"},
        {1921, "The name of the file cannot be resolved by the system.\r\n"},
    };
    for (std::int32_t code = -10; code <= 16000; ++code) {
        const auto found = expected.find(code);
        const std::string text = found == expected.end() ? "" : found->second;
        EXPECT_EQ(native_error_text_in_local_encoding(code), text) << code;
        EXPECT_EQ(native_error_text(code), std::u16string(text.begin(), text.end())) << code;
    }
}

TEST(native_error_text, leaves_the_last_error_alone_when_there_is_one) {
    set_native_last_error(5);
    native_error_text(2);
    EXPECT_EQ(native_last_error(), 5U);
}

TEST(native_last_error, is_0_in_a_thread_in_which_nothing_has_failed) {
    set_native_last_error(5);
    std::uint32_t of_the_other_thread = 5;
    std::thread([&] { of_the_other_thread = native_last_error(); }).join();
    EXPECT_EQ(of_the_other_thread, 0U);
}

TEST(native_last_error, belongs_to_its_thread) {
    set_native_last_error(5);
    std::thread([] { set_native_last_error(2); }).join();
    EXPECT_EQ(native_last_error(), 5U);
}

} // namespace vandrel
