#include "driver/percent_marks.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vandrel;

TEST(percent_marks, a_mark_follows_each_percent_sign) {
    EXPECT_EQ(with_marks("100%"), "100%\x01");
    EXPECT_EQ(with_marks("%%value%"), "%\x01%\x01value%\x01");
}

TEST(percent_marks, a_text_without_percent_signs_has_no_marks) {
    EXPECT_EQ(with_marks(""), "");
    EXPECT_EQ(with_marks("value\x01"), "value\x01");
}

TEST(percent_marks, a_word_of_the_library_is_broken_up) {
    EXPECT_EQ(with_marks("%value%").find("%value%"), std::string::npos);
}

TEST(percent_marks, a_mark_that_follows_no_percent_sign_is_kept) {
    EXPECT_EQ(without_marks("\x01 a\x01"), "\x01 a\x01");
}

/// Every text of up to six characters of which each is a percent sign, the mark or a letter.
TEST(percent_marks, every_text_comes_back_as_it_was) {
    std::vector<std::string> texts{""};
    std::size_t first_of_this_length = 0;
    for (int length = 1; length <= 6; ++length) {
        const std::size_t end = texts.size();
        for (std::size_t i = first_of_this_length; i < end; ++i) {
            for (const char c : {'%', '\x01', 'a'}) {
                texts.push_back(texts[i] + c);
            }
        }
        first_of_this_length = end;
    }
    ASSERT_EQ(texts.size(), 1093U);
    for (const std::string& text : texts) {
        EXPECT_EQ(without_marks(with_marks(text)), text);
    }
}

} // namespace
