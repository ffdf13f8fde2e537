#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace simulator;
using namespace simulator::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(accounting, live_objects_are_counted_by_type) {
    const auto first = make_number(1);
    const auto second = make_number(2);
    const auto list = make_array({first.get(), second.get()});
    EXPECT_THAT(live_objects(), ElementsAre(Pair("CFArray", 1), Pair("CFNumber", 2)));
    EXPECT_EQ(live_object_count(), 3);
}

TEST(accounting, a_released_object_is_no_longer_counted) {
    make_number(1).reset();
    EXPECT_THAT(live_objects(), IsEmpty());
    EXPECT_EQ(live_object_count(), 0);
}

TEST(accounting, every_creation_is_counted) {
    const std::int64_t before = creation_count();
    make_string("one").reset();
    make_number(2).reset();
    EXPECT_EQ(creation_count(), before + 2);
}

TEST(accounting, the_creation_that_was_named_fails_and_no_other) {
    fail_creation(2);
    EXPECT_TRUE(make_number(1));
    EXPECT_FALSE(make_number(2));
    EXPECT_TRUE(make_number(3));
}

TEST(accounting, a_failure_that_was_set_can_be_cancelled) {
    fail_creation(1);
    fail_creation(0);
    EXPECT_TRUE(make_number(1));
}

TEST(accounting, every_kind_of_creation_can_fail) {
    const auto text = make_string("text");
    const auto reason = make_dictionary({{kCFErrorLocalizedDescriptionKey, text.get()},
                                         {kCFErrorLocalizedFailureReasonKey, text.get()}});
    const handle<CFErrorRef> error(CFErrorCreate(kCFAllocatorDefault, text.get(), 1, reason.get()));
    const auto fails = [](auto create) {
        fail_creation(1);
        return create() == nullptr;
    };
    EXPECT_TRUE(fails([] { return make_string("a"); }));
    EXPECT_TRUE(fails([] {
        return handle<CFStringRef>(
            CFStringCreateWithBytes(kCFAllocatorDefault, nullptr, 0, kCFStringEncodingUTF8, false));
    }));
    EXPECT_TRUE(fails([] { return make_real(1.5); }));
    EXPECT_TRUE(fails([] { return make_date(0); }));
    EXPECT_TRUE(fails([] { return make_data("a"); }));
    EXPECT_TRUE(fails([] {
        return handle<CFDataRef>(
            CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, nullptr, 0, kCFAllocatorNull));
    }));
    EXPECT_TRUE(fails([] { return make_array(); }));
    EXPECT_TRUE(fails([] { return make_dictionary(); }));
    EXPECT_TRUE(fails([&] {
        return handle<CFMutableDictionaryRef>(
            CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, reason.get()));
    }));
    EXPECT_TRUE(fails([] { return make_set(); }));
    EXPECT_TRUE(fails([&] {
        return handle<CFErrorRef>(CFErrorCreate(kCFAllocatorDefault, text.get(), 1, nullptr));
    }));
    EXPECT_TRUE(fails([&] { return handle<CFStringRef>(CFErrorCopyDescription(error.get())); }));
    EXPECT_TRUE(fails([&] { return handle<CFStringRef>(CFErrorCopyFailureReason(error.get())); }));
    EXPECT_TRUE(fails([&] {
        return handle<CFURLRef>(CFURLCreateWithString(kCFAllocatorDefault, text.get(), nullptr));
    }));
    EXPECT_TRUE(fails([&] { return handle<CFStringRef>(CFCopyDescription(text.get())); }));
    EXPECT_TRUE(fails([&] {
        return handle<CFDataRef>(CFPropertyListCreateData(
            kCFAllocatorDefault, text.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    }));
}

TEST(accounting, references_to_constants_have_to_balance) {
    const CFStringRef constant = CFSTR("held by nobody else");
    EXPECT_THAT(unbalanced_constants(), IsEmpty());
    CFRetain(constant);
    CFRetain(constant);
    CFRetain(kCFBooleanTrue);
    EXPECT_THAT(unbalanced_constants(), ElementsAre(Pair("CFBoolean \"true\"", 1),
                                                    Pair("CFString \"held by nobody else\"", 2)));
    CFRelease(kCFBooleanTrue);
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_THAT(unbalanced_constants(), IsEmpty());
}

TEST(accounting, a_constant_that_is_released_too_often_is_reported) {
    CFRelease(kCFNull);
    EXPECT_THAT(unbalanced_constants(), ElementsAre(Pair("CFNull \"<CFNull>\"", -1)));
    CFRetain(kCFNull);
}

TEST(unaccounted_scope, references_to_constants_that_are_taken_in_it_are_not_counted) {
    handle<CFMutableArrayRef> kept;
    {
        const unaccounted_scope scope;
        kept = make_array({kCFBooleanTrue});
    }
    EXPECT_THAT(unbalanced_constants(), IsEmpty());
    kept.reset();
    EXPECT_THAT(unbalanced_constants(), IsEmpty());
}

TEST(unaccounted_scope, objects_made_in_it_are_never_counted) {
    handle<CFNumberRef> kept;
    const std::int64_t before = creation_count();
    {
        const unaccounted_scope scope;
        kept = make_number(1);
    }
    EXPECT_EQ(live_object_count(), 0);
    EXPECT_EQ(creation_count(), before);
    kept.reset();
    EXPECT_EQ(live_object_count(), 0);
}

TEST(unaccounted_scope, a_counted_object_released_in_it_was_counted) {
    auto counted = make_number(1);
    const unaccounted_scope scope;
    counted.reset();
    EXPECT_EQ(live_object_count(), 0);
}

TEST(unaccounted_scope, objects_made_in_it_do_not_fail) {
    fail_creation(1);
    {
        const unaccounted_scope scope;
        EXPECT_TRUE(make_number(1));
    }
    EXPECT_FALSE(make_number(2));
}

TEST(unaccounted_scope, scopes_nest) {
    const unaccounted_scope outer;
    { const unaccounted_scope inner; }
    const auto kept = make_number(1);
    EXPECT_EQ(live_object_count(), 0);
}

TEST(unaccounted_scope, other_threads_are_outside_it) {
    const unaccounted_scope scope;
    std::thread([] {
        const auto counted = make_number(1);
        EXPECT_EQ(live_object_count(), 1);
    }).join();
}

} // namespace
