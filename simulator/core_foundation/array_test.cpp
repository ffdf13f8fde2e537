#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace simulator::test;
using testing::ElementsAre;

void append_description(const void* value, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(content_of(value));
}

TEST(cf_array, holds_its_elements_in_order) {
    const auto list = make_array({make_number(1).get(), make_string("two").get()});
    EXPECT_EQ(CFArrayGetCount(list.get()), 2);
    EXPECT_EQ(content_of(CFArrayGetValueAtIndex(list.get(), 0)), "1");
    EXPECT_EQ(content_of(CFArrayGetValueAtIndex(list.get(), 1)), "two");
}

TEST(cf_array, releases_its_elements_when_it_is_destroyed) {
    const auto value = make_number(1);
    make_array({value.get(), value.get()}).reset();
    EXPECT_EQ(simulator::live_object_count(), 1);
    EXPECT_EQ(content_of(value.get()), "1");
}

TEST(cf_array, applies_a_function_to_a_range) {
    const auto list =
        make_array({make_number(1).get(), make_number(2).get(), make_number(3).get()});
    std::vector<std::string> seen;
    CFArrayApplyFunction(list.get(), CFRange{1, 2}, append_description, &seen);
    EXPECT_THAT(seen, ElementsAre("2", "3"));
}

TEST(cf_array, equal_elements_make_equal_arrays) {
    EXPECT_TRUE(CFEqual(make_array({make_number(1).get()}).get(),
                        make_array({make_number(1).get()}).get()));
    EXPECT_FALSE(CFEqual(make_array({make_number(1).get()}).get(),
                         make_array({make_number(2).get()}).get()));
    EXPECT_FALSE(CFEqual(make_array({make_number(1).get()}).get(), make_array().get()));
}

TEST(cf_array, its_description_lists_its_elements) {
    EXPECT_EQ(content_of(make_array({make_number(1).get(), make_array().get()}).get()), "(1, ())");
}

TEST(cf_array_misuse, an_index_out_of_bounds_ends_the_process) {
    const auto list = make_array({kCFNull});
    EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), 1),
                 "simulator: CFArrayGetValueAtIndex: index out of bounds");
    EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), -1),
                 "simulator: CFArrayGetValueAtIndex: index out of bounds");
}

TEST(cf_array_misuse, a_range_out_of_bounds_ends_the_process) {
    const auto list = make_array({kCFNull});
    EXPECT_DEATH(CFArrayApplyFunction(list.get(), CFRange{1, 1}, append_description, nullptr),
                 "simulator: CFArrayApplyFunction: range out of bounds");
}

TEST(cf_array_misuse, a_null_element_ends_the_process) {
    const auto list = make_array();
    EXPECT_DEATH(CFArrayAppendValue(list.get(), nullptr),
                 "simulator: CFArrayAppendValue: null object");
}

TEST(cf_array_misuse, other_callbacks_end_the_process) {
    EXPECT_DEATH(handle<CFMutableArrayRef>(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr)),
                 "simulator: CFArrayCreateMutable: callbacks other than");
    const CFArrayCallBacks none{};
    EXPECT_DEATH(handle<CFMutableArrayRef>(CFArrayCreateMutable(kCFAllocatorDefault, 0, &none)),
                 "simulator: CFArrayCreateMutable: callbacks other than");
}

TEST(cf_array, takes_a_copy_of_the_standard_callbacks) {
    const CFArrayCallBacks copy = kCFTypeArrayCallBacks;
    const handle<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &copy));
    EXPECT_EQ(CFArrayGetCount(array.get()), 0);
}

/// Arrays inside each other.
handle<CFTypeRef> nested_arrays(int depth) {
    handle<CFTypeRef> result(CFRetain(kCFBooleanTrue));
    for (int i = 0; i < depth; ++i) {
        result = make_array({result.get()});
    }
    return result;
}

TEST(cf_array, two_thousand_inside_each_other_are_compared_and_described) {
    const auto arrays = nested_arrays(2'000);
    EXPECT_TRUE(CFEqual(arrays.get(), nested_arrays(2'000).get()));
    EXPECT_FALSE(CFEqual(arrays.get(), nested_arrays(1'999).get()));
    EXPECT_EQ(description_of(arrays.get()),
              std::string(2'000, '(') + "true" + std::string(2'000, ')'));
}

TEST(cf_array, a_million_inside_each_other_are_released) {
    nested_arrays(1'000'000).reset();
    EXPECT_EQ(simulator::live_object_count(), 0);
}

} // namespace
