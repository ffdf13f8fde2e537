#include "station/terminal.h"

#include <gtest/gtest.h>

#include <tuple>

#include <windows.h>

namespace vandrel::station {
namespace {

HANDLE input() {
    static HANDLE const console =
        CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    return console;
}

DWORD mode_of(HANDLE console) {
    DWORD mode = 0;
    EXPECT_TRUE(GetConsoleMode(console, &mode));
    return mode;
}

DWORD output_mode() {
    return mode_of(GetStdHandle(STD_OUTPUT_HANDLE));
}

auto settings() {
    return std::tuple(mode_of(input()), output_mode(), GetConsoleOutputCP());
}

TEST(console, is_changed_for_the_view_and_left_as_it_was_found) {
    constexpr DWORD usual = ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT |
                            ENABLE_INSERT_MODE | ENABLE_EXTENDED_FLAGS;
    ASSERT_TRUE(SetConsoleMode(input(), usual | ENABLE_QUICK_EDIT_MODE));
    ASSERT_TRUE(SetConsoleOutputCP(437));
    const auto found = settings();
    ASSERT_EQ(std::get<0>(found), usual | ENABLE_QUICK_EDIT_MODE);

    ASSERT_TRUE(terminal::can_be_drawn_on());
    EXPECT_EQ(settings(), found);

    terminal::enter();
    EXPECT_EQ(mode_of(input()), usual);
    EXPECT_NE(output_mode() & ENABLE_VIRTUAL_TERMINAL_PROCESSING, 0U);
    EXPECT_EQ(GetConsoleOutputCP(), 65001U);

    terminal::leave();
    EXPECT_EQ(settings(), found);
}

TEST(console, is_needed_for_the_view) {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    ASSERT_TRUE(CreatePipe(&read, &write, nullptr, 0));
    HANDLE before = GetStdHandle(STD_OUTPUT_HANDLE);
    SetStdHandle(STD_OUTPUT_HANDLE, write);
    EXPECT_FALSE(terminal::can_be_drawn_on());
    SetStdHandle(STD_OUTPUT_HANDLE, before);
    CloseHandle(read);
    CloseHandle(write);
}

} // namespace
} // namespace vandrel::station
