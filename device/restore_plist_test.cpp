#include "device/restore_plist.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

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

TEST_F(restore_plist, is_not_taken_from_an_empty_file) {
    write("");
    EXPECT_EQ(failure(), read_error("Empty file"));
}

TEST_F(restore_plist, is_not_taken_from_a_file_with_something_else_on_top) {
    write("<plist><array/></plist>");
    EXPECT_EQ(failure(), read_error("Invalid format"));
    write("<plist><string>dict</string></plist>");
    EXPECT_EQ(failure(), read_error("Invalid format"));
}

TEST_F(restore_plist, is_not_taken_from_a_file_that_is_no_property_list) {
    write("anything");
    EXPECT_EQ(failure(), read_error("Invalid format"));
}

TEST_F(restore_plist, needs_a_data_object_around_the_file) {
    write("<plist><dict/></plist>");
    simulator::fail_creation(1);
    EXPECT_EQ(failure(), read_error("Bad alloc"));
}

} // namespace
