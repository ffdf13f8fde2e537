#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

namespace {

using namespace simulator::test;

handle<CFURLRef> url(const std::string& text, CFURLRef base = nullptr) {
    return handle<CFURLRef>(
        CFURLCreateWithString(kCFAllocatorDefault, make_string(text).get(), base));
}

TEST(cf_url, is_made_of_the_characters_of_a_url) {
    EXPECT_TRUE(url("file:///a/b%20c?d=e#f"));
    EXPECT_TRUE(url(""));
    EXPECT_FALSE(url("file:///a b"));
    EXPECT_FALSE(url("file:///%2"));
    EXPECT_FALSE(url("file:///%zz"));
    EXPECT_FALSE(url("a#b#c"));
}

TEST(cf_url, text_and_base_distinguish_urls) {
    const auto base = url("file:///a/");
    EXPECT_TRUE(CFEqual(url("b").get(), url("b").get()));
    EXPECT_FALSE(CFEqual(url("b").get(), url("c").get()));
    EXPECT_FALSE(CFEqual(url("b").get(), url("b", base.get()).get()));
    EXPECT_TRUE(CFEqual(url("b", base.get()).get(), url("b", url("file:///a/").get()).get()));
}

TEST(cf_url, its_description_is_its_text) {
    EXPECT_EQ(description_of(url("file:///a").get()), "file:///a");
    EXPECT_EQ(description_of(url("b", url("file:///a/").get()).get()), "b -- file:///a/");
}

} // namespace
