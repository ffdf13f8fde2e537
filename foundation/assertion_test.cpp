#include "foundation/assertion.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(fail_assertion, the_text_names_source_line_signature_and_condition) {
    try {
        vandrel::fail_assertion("device/door.cpp", 42, "void __cdecl door::open(void)", "handle");
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(),
                     "device/door.cpp:42:  void __cdecl door::open(void) Assertion handle failed.");
    }
}

} // namespace
