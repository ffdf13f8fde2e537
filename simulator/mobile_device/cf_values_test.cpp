#include "simulator/core_foundation/test_objects.h"
#include "simulator/mobile_device/cf_values.h"

#include <gtest/gtest.h>

namespace simulator {

TEST(cf_values, a_text_comes_back_as_it_was) {
    EXPECT_EQ(cf_text(cf_string("caf\xC3\xA9").get()), "caf\xC3\xA9");
    EXPECT_EQ(cf_text(cf_string("").get()), "");
}

TEST(cf_values, a_text_that_is_not_utf8_is_no_string) {
    EXPECT_EQ(cf_string("\xFF"), nullptr);
}

TEST(cf_values, a_value_is_cast_to_its_own_type_only) {
    const auto text = cf_string("x");
    EXPECT_EQ(cf_cast<CFStringRef>(text.get(), CFStringGetTypeID()), text.get());
    EXPECT_EQ(cf_cast<CFNumberRef>(text.get(), CFNumberGetTypeID()), nullptr);
    EXPECT_EQ(cf_cast<CFStringRef>(nullptr, CFStringGetTypeID()), nullptr);
}

TEST(cf_values, a_dictionary_leaves_out_what_is_not_there) {
    const auto dictionary = cf_dictionary();
    cf_set(dictionary.get(), "Null", nullptr);
    cf_set_text(dictionary.get(), "Invalid", "\xFF");
    cf_set_text(dictionary.get(), "Text", "x");
    EXPECT_EQ(cf_description(dictionary.get()), "{Text = x}");
}

} // namespace simulator
