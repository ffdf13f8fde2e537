#include "simulator/core_foundation/object.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <thread>

/// A type of object of the test's own.
struct __TestThing final : simulator::object {
    explicit __TestThing(int number) : object(static_type()), value(number) {}
    static const simulator::runtime_type& static_type() {
        static const auto& type = *new simulator::runtime_type("TestThing");
        return type;
    }
    const int value;
};

namespace {

using namespace simulator;
using namespace simulator::test;

TEST(object, a_new_one_lives_until_its_one_reference_is_released) {
    const __TestThing* thing = create<__TestThing>(7);
    EXPECT_EQ(checked(thing).value, 7);
    EXPECT_EQ(__TestThing::static_type().live_objects(), 1);
    CFRelease(thing);
    EXPECT_EQ(__TestThing::static_type().live_objects(), 0);
}

TEST(object, every_retained_reference_must_be_released) {
    const auto* thing = create<__TestThing>(7);
    EXPECT_EQ(CFRetain(thing), thing);
    CFRelease(thing);
    EXPECT_EQ(__TestThing::static_type().live_objects(), 1);
    CFRelease(thing);
    EXPECT_EQ(__TestThing::static_type().live_objects(), 0);
}

TEST(object, references_are_counted_across_threads) {
    const auto* thing = create<__TestThing>(7);
    const auto retain_and_release = [thing] {
        for (int i = 0; i < 10'000; ++i) {
            CFRetain(thing);
            CFRelease(thing);
        }
    };
    std::thread first(retain_and_release);
    std::thread second(retain_and_release);
    first.join();
    second.join();
    EXPECT_EQ(__TestThing::static_type().live_objects(), 1);
    CFRelease(thing);
    EXPECT_EQ(__TestThing::static_type().live_objects(), 0);
}

TEST(object, types_have_ids_of_their_own) {
    const auto text = make_string("a");
    const auto value = make_number(1);
    EXPECT_EQ(CFGetTypeID(text.get()), CFStringGetTypeID());
    EXPECT_EQ(CFGetTypeID(value.get()), CFNumberGetTypeID());
    EXPECT_NE(CFStringGetTypeID(), CFNumberGetTypeID());
}

TEST(object, objects_of_different_types_are_not_equal) {
    EXPECT_FALSE(CFEqual(make_string("1").get(), make_number(1).get()));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, make_number(1).get()));
}

TEST(object, an_object_that_has_no_other_rule_equals_only_itself) {
    const owned<__TestThing> first(create<__TestThing>(7));
    const owned<__TestThing> second(create<__TestThing>(7));
    EXPECT_TRUE(CFEqual(first.get(), first.get()));
    EXPECT_FALSE(CFEqual(first.get(), second.get()));
}

TEST(object, an_object_that_has_no_other_description_gives_its_type) {
    const owned<__TestThing> thing(create<__TestThing>(7));
    EXPECT_EQ(description_of(thing.get()), "<TestThing>");
    EXPECT_EQ(description_of(kCFNull), "<CFNull>");
}

TEST(object, constants_outlive_every_release) {
    for (const CFTypeRef constant :
         {CFTypeRef(kCFBooleanTrue), CFTypeRef(kCFNull), CFTypeRef(CFSTR("constant"))}) {
        CFRelease(constant);
        CFRelease(constant);
        EXPECT_NE(CFGetTypeID(constant), 0U);
        // References to constants are counted all the same.
        CFRetain(constant);
        CFRetain(constant);
    }
    EXPECT_EQ(live_object_count(), 0);
}

TEST(object, cast_gives_null_for_another_type_and_for_null) {
    const owned<__TestThing> thing(create<__TestThing>(7));
    EXPECT_EQ(cast<__TestThing>(thing.get()), thing.get());
    EXPECT_EQ(cast<__TestThing>(kCFNull), nullptr);
    EXPECT_EQ(cast<__TestThing>(nullptr), nullptr);
}

TEST(object_misuse, releasing_null_ends_the_process) {
    // NOLINTNEXTLINE(clang-analyzer-osx.coreFoundation.CFRetainRelease): the misuse is meant.
    EXPECT_DEATH(CFRelease(nullptr), "simulator: CFRelease: null object");
}

TEST(object_misuse, retaining_null_ends_the_process) {
    // NOLINTNEXTLINE(clang-analyzer-osx.coreFoundation.CFRetainRelease): the misuse is meant.
    EXPECT_DEATH(CFRetain(nullptr), "simulator: CFRetain: null object");
}

TEST(object_misuse, releasing_once_too_often_ends_the_process) {
    // The address sanitizer reports it first, with another text.
    EXPECT_DEATH(
        {
            const CFTypeRef thing = create<__TestThing>(7);
            CFRelease(thing);
            CFRelease(thing);
        },
        "use.*after");
}

TEST(object_misuse, an_object_of_another_type_ends_the_process) {
    EXPECT_DEATH(CFStringGetLength(reinterpret_cast<CFStringRef>(kCFNull)),
                 "simulator: CFStringGetLength: CFNull given for CFString");
}

} // namespace
