#include "station/screen_painter.h"

#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

constexpr screen_size usual{80, 24};

TEST(screen_painter, draws_the_whole_first_frame) {
    screen_painter painter;
    EXPECT_EQ(painter.update({"one", "two"}, usual),
              "\x1b[2J\x1b[1;1Hone\x1b[K\x1b[2;1Htwo\x1b[K\x1b[H");
}

TEST(screen_painter, draws_only_lines_that_have_changed) {
    screen_painter painter;
    painter.update({"one", "two", "three"}, usual);
    EXPECT_EQ(painter.update({"one", "2", "three"}, usual), "\x1b[2;1H2\x1b[K\x1b[H");
    EXPECT_EQ(painter.update({"one", "2", "three", "four"}, usual), "\x1b[4;1Hfour\x1b[K\x1b[H");
}

TEST(screen_painter, writes_nothing_when_nothing_has_changed) {
    screen_painter painter;
    painter.update({"one", "two"}, usual);
    EXPECT_EQ(painter.update({"one", "two"}, usual), "");
}

TEST(screen_painter, clears_what_is_below_the_last_line) {
    screen_painter painter;
    painter.update({"one", "two", "three"}, usual);
    EXPECT_EQ(painter.update({"one"}, usual), "\x1b[2;1H\x1b[J\x1b[H");
}

TEST(screen_painter, draws_all_again_on_a_screen_of_another_size) {
    screen_painter painter;
    painter.update({"one"}, usual);
    EXPECT_EQ(painter.update({"one"}, {80, 25}), "\x1b[2J\x1b[1;1Hone\x1b[K\x1b[H");
    EXPECT_EQ(painter.update({"one"}, {80, 25}), "");
}

} // namespace
} // namespace vandrel::station
