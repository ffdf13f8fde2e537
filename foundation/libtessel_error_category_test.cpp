#include "foundation/libtessel_error_category.h"

#include <gtest/gtest.h>

namespace vandrel {

TEST(libtessel_error_category, is_named_for_the_library) {
    EXPECT_STREQ(libtessel_error_category::instance().name(), "libtessel");
}

TEST(libtessel_error_category, has_a_message_for_each_of_its_codes) {
    const auto& category = libtessel_error_category::instance();
    EXPECT_EQ(category.message(0), "success");
    EXPECT_EQ(category.message(1), "USB communication failed");
    EXPECT_EQ(category.message(2), "Device entered invalid state");
    EXPECT_EQ(category.message(3), "Not a USB device");
}

TEST(libtessel_error_category, other_codes_are_unknown) {
    EXPECT_EQ(libtessel_error_category::instance().message(4), "unknown error");
    EXPECT_EQ(libtessel_error_category::instance().message(-1), "unknown error");
}

} // namespace vandrel
