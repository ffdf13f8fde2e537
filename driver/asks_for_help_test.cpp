#include "driver/asks_for_help.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

using namespace vandrel;

bool is_help(std::initializer_list<const char*> arguments) {
    std::vector<const char*> vector{"vandrel"};
    vector.insert(vector.end(), arguments);
    return asks_for_help(static_cast<int>(vector.size()), vector.data());
}

TEST(asks_for_help, sees_the_option_wherever_it_stands_and_however_it_is_shortened) {
    EXPECT_TRUE(is_help({"--help"}));
    EXPECT_TRUE(is_help({"--list-devices", "--he"}));
}

TEST(asks_for_help, takes_nothing_else_for_it) {
    EXPECT_FALSE(is_help({}));
    EXPECT_FALSE(is_help({"--list-devices"}));
    EXPECT_FALSE(is_help({"--restore", "help"}));
}

TEST(asks_for_help, does_not_see_it_in_a_command_line_that_cannot_be_parsed) {
    EXPECT_FALSE(is_help({"--help", "--frobnicate"}));
}

} // namespace
