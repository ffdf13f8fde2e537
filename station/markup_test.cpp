#include "station/markup.h"

#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

TEST(markup_text, leaves_nothing_that_markup_is_made_of) {
    EXPECT_EQ(markup_text("<script>alert('a' & \"b\")</script>"),
              "&lt;script&gt;alert(&#39;a&#39; &amp; &quot;b&quot;)&lt;/script&gt;");
    EXPECT_EQ(markup_text("&lt;"), "&amp;lt;");
}

TEST(markup_text, replaces_what_cannot_be_shown) {
    constexpr const char* replaced = "a\xEF\xBF\xBD";
    for (const char* text : {"a\n", "a\t", "a\x1B", "a\x7F", "a\xC2\x9B", "a\xE2\x80\xAE", "a\xFF",
                             "a\xC3", "a\xEF\xBF\xBE", "a\xEF\xBF\xBF"}) {
        EXPECT_EQ(markup_text(text), replaced);
    }
    EXPECT_EQ(markup_text(std::string_view("a\0", 2)), replaced);
}

TEST(markup_text, leaves_other_characters_alone) {
    EXPECT_EQ(markup_text("iPhone14,2 \xD0\x96 \xE4\xB8\xAD \xF0\x9F\x93\xB1"),
              "iPhone14,2 \xD0\x96 \xE4\xB8\xAD \xF0\x9F\x93\xB1");
}

} // namespace
} // namespace vandrel::station
