#include "platform/core_foundation.h"
#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"
#include "platform/mobile_device.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

namespace {

using namespace vandrel;

/// Which library a symbol was looked for in, for every lookup.
std::set<std::string>& symbols_looked_for(library_handle library) {
    static std::array<std::set<std::string>, 2> symbols;
    return symbols.at(*static_cast<std::size_t*>(library));
}

std::string& missing_symbol() {
    static std::string name;
    return name;
}

CFIndex length_of(CFStringRef string) {
    return string == nullptr ? 42 : 0;
}

int subscribe(AMDeviceNotificationCallback, std::uint32_t zero, std::uint32_t one, void* context,
              _AMDeviceNotification** subscription) {
    *subscription = static_cast<_AMDeviceNotification*>(context);
    return static_cast<int>(zero * 10 + one);
}

void* do_nothing() {
    return nullptr;
}

CFStringRef description_key = reinterpret_cast<CFStringRef>(&missing_symbol);
CFArrayCallBacks array_callbacks{7, {nullptr, nullptr, nullptr, &array_callbacks}};

} // namespace

// The libraries that these tests load.

library_handle vandrel::open_apple_library(apple_library which) {
    static std::array<std::size_t, 2> libraries{0, 1};
    return &libraries.at(which == apple_library::core_foundation ? 0 : 1);
}

void* vandrel::find_symbol(library_handle library, const char* name) {
    symbols_looked_for(library).insert(name);
    const std::string wanted = name;
    if (wanted == missing_symbol()) {
        return nullptr;
    }
    if (wanted == "CFStringGetLength") {
        return reinterpret_cast<void*>(length_of);
    }
    if (wanted == "AMDeviceNotificationSubscribe") {
        return reinterpret_cast<void*>(subscribe);
    }
    if (wanted == "kCFErrorLocalizedDescriptionKey") {
        return &description_key;
    }
    if (wanted == "kCFTypeArrayCallBacks") {
        return &array_callbacks;
    }
    static std::array<void*, 8> some_constant{};
    return wanted.starts_with("kCF") ? static_cast<void*>(&some_constant)
                                     : reinterpret_cast<void*>(do_nothing);
}

namespace {

TEST(apple_libraries, a_function_leads_to_its_namesake_with_all_arguments) {
    load_apple_libraries();
    EXPECT_EQ(CFStringGetLength(nullptr), 42);
    int context = 0;
    _AMDeviceNotification* subscription = nullptr;
    EXPECT_EQ(AMDeviceNotificationSubscribe(nullptr, 2, 3, &context, &subscription), 23);
    EXPECT_EQ(static_cast<void*>(subscription), static_cast<void*>(&context));
}

TEST(apple_libraries, a_constant_has_the_value_that_the_library_gives_it) {
    load_apple_libraries();
    EXPECT_EQ(kCFErrorLocalizedDescriptionKey, description_key);
    EXPECT_EQ(kCFTypeArrayCallBacks.version, 7);
    EXPECT_EQ(kCFTypeArrayCallBacks.functions[3], &array_callbacks);
}

TEST(apple_libraries, every_name_is_looked_for_in_its_own_library) {
    load_apple_libraries();
    for (const std::string& name :
         symbols_looked_for(open_apple_library(apple_library::core_foundation))) {
        EXPECT_NE(name.find("CF"), std::string::npos) << name;
    }
    for (const std::string& name :
         symbols_looked_for(open_apple_library(apple_library::mobile_device))) {
        EXPECT_TRUE(name.starts_with("AM")) << name;
    }
}

TEST(apple_libraries, a_missing_function_is_named) {
    missing_symbol() = "AMRestorableDeviceRestore";
    try {
        load_apple_libraries();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const apple_library_missing& missing) {
        EXPECT_STREQ(missing.what(),
                     "Apple's libraries on this machine do not have "
                     "AMRestorableDeviceRestore; install a current version of them");
    }
    missing_symbol().clear();
}

} // namespace
