#include "device/restore_options.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using namespace vandrel;

class restore_plist : public ::testing::Test {
protected:
    void write(const std::string& content) const { vandrel::testing::write_file(path, content); }

    /// The code and the failure reason of the error that reading throws.
    std::pair<CFIndex, std::string> failure() const {
        try {
            read_restore_plist(path);
        } catch (const cf_error_handle& error) {
            const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
            return {CFErrorGetCode(error.get()), cfstring_to_string(reason.get())};
        }
        return {0, "no failure"};
    }

    std::pair<CFIndex, std::string> read_error(const std::string& reason) const {
        return {8, "Cannot open file '" + path.string() + "' - " + reason};
    }

    vandrel::testing::temporary_folder folder;
    const boost::filesystem::path path = folder.path() / "options.plist";
};

/// The text of a key; empty when it is not there.
std::string text_of(CFDictionaryRef options, CFStringRef key) {
    const auto text = static_cast<CFStringRef>(CFDictionaryGetValue(options, key));
    return text != nullptr ? cfstring_to_string(text) : std::string();
}

TEST(make_restore_options, an_update_has_its_behavior_and_its_boot_image) {
    const auto options = make_restore_options("x.ipsw", false, "scratch");
    EXPECT_EQ(text_of(options.get(), CFSTR("AuthInstallRestoreBehavior")), "Update");
    EXPECT_EQ(text_of(options.get(), CFSTR("BootImageType")), "Update");
}

TEST(make_restore_options, an_erasing_restore_has_its_behavior_and_its_boot_image) {
    const auto options = make_restore_options("x.ipsw", true, "scratch");
    EXPECT_EQ(text_of(options.get(), CFSTR("AuthInstallRestoreBehavior")), "Erase");
    EXPECT_EQ(text_of(options.get(), CFSTR("BootImageType")), "UserOrInternal");
}

TEST(make_restore_options, the_personalized_bundle_has_the_next_number_in_the_scratch_folder) {
    const auto path_of_next = [] {
        const auto options = make_restore_options("x.ipsw", false, "scratch");
        return boost::filesystem::path(
            text_of(options.get(), CFSTR("PersonalizedRestoreBundlePath")));
    };
    const auto first = path_of_next();
    const auto second = path_of_next();
    EXPECT_EQ(first.parent_path(), boost::filesystem::path("scratch") / "PRB");
    EXPECT_EQ(second.parent_path(), first.parent_path());
    EXPECT_EQ(std::stoi(second.filename().string()), std::stoi(first.filename().string()) + 1);
}

TEST(make_restore_options, the_bundle_is_named_as_it_was_given) {
    const auto options = make_restore_options("some folder/x.ipsw", false, "scratch");
    EXPECT_EQ(text_of(options.get(), CFSTR("RestoreBundlePath")), "some folder/x.ipsw");
}

TEST(make_restore_options, a_path_that_cannot_be_converted_is_an_error) {
    // The default options come before the paths.
    for (const std::int64_t creation : {2, 3}) {
        simulator::fail_creation(creation);
        try {
            make_restore_options("x.ipsw", false, "scratch");
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& failure) {
            EXPECT_STREQ(failure.what(), "Could not convert restore path to text");
        }
        EXPECT_EQ(simulator::creations_until_failure(), 0);
    }
}

TEST_F(restore_plist, is_the_dictionary_at_the_top_of_the_file) {
    write("<plist><dict><key>A</key><string>one</string></dict></plist>");
    const auto options = read_restore_plist(path);
    EXPECT_EQ(CFDictionaryGetCount(options.get()), 1);
    EXPECT_EQ(cfstring_to_string(
                  static_cast<CFStringRef>(CFDictionaryGetValue(options.get(), CFSTR("A")))),
              "one");
}

TEST_F(restore_plist, may_be_an_empty_dictionary) {
    write("<plist><dict/></plist>");
    EXPECT_EQ(CFDictionaryGetCount(read_restore_plist(path).get()), 0);
}

TEST_F(restore_plist, cannot_be_read_from_an_empty_file) {
    write("");
    EXPECT_EQ(failure(), read_error("Empty file"));
}

TEST_F(restore_plist, cannot_be_read_from_a_file_with_another_type_on_top) {
    write("<plist><array/></plist>");
    EXPECT_EQ(failure(), read_error("Invalid format"));
    write("<plist><string>dict</string></plist>");
    EXPECT_EQ(failure(), read_error("Invalid format"));
}

TEST_F(restore_plist, cannot_be_read_from_a_file_that_is_no_property_list) {
    write("anything");
    EXPECT_EQ(failure(), read_error("Invalid format"));
}

TEST_F(restore_plist, needs_a_data_object_around_the_file) {
    write("<plist><dict/></plist>");
    simulator::fail_creation(1);
    EXPECT_EQ(failure(), read_error("Bad alloc"));
}

} // namespace
