#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using namespace simulator::test;

void append_description(const void* value, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(content_of(value));
}

TEST(cf_set, holds_equal_members_once) {
    const auto members = make_set({make_string("a").get(), make_string("a").get(), CFSTR("b")});
    std::vector<std::string> seen;
    CFSetApplyFunction(members.get(), append_description, &seen);
    EXPECT_THAT(seen, ElementsAre("a", "b"));
    EXPECT_EQ(simulator::live_objects()["CFString"], 1);
}

TEST(cf_set, equality_does_not_depend_on_order) {
    const auto ab = make_set({CFSTR("a"), CFSTR("b")});
    EXPECT_TRUE(CFEqual(ab.get(), make_set({CFSTR("b"), CFSTR("a")}).get()));
    EXPECT_FALSE(CFEqual(ab.get(), make_set({CFSTR("a"), CFSTR("c")}).get()));
    EXPECT_FALSE(CFEqual(ab.get(), make_set({CFSTR("a")}).get()));
}

TEST(cf_set, is_of_a_type_of_its_own) {
    EXPECT_EQ(CFGetTypeID(make_set().get()), CFSetGetTypeID());
    EXPECT_NE(CFSetGetTypeID(), CFArrayGetTypeID());
}

TEST(cf_set, its_description_lists_its_members) {
    EXPECT_EQ(description_of(make_set({CFSTR("a"), CFSTR("b")}).get()), "{(a, b)}");
}

} // namespace
