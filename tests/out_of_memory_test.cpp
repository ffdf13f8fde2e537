/// Files and commands for which there is no memory.

#include "device/restore_options.h"
#include "driver/run_command.h"
#include "foundation/cf_text.h"
#include "foundation/file.h"
#include "tests/allocation_limit.h"
#include "tests/channel_capture.h"
#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <boost/system/system_error.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace vandrel::testing;

class out_of_memory : public ::testing::Test {
protected:
    out_of_memory() { write_file(path, std::string(2'000'000, 'x')); }

    static constexpr std::size_t limit = 1'000'000;

    temporary_folder folder;
    const boost::filesystem::path path = folder.path() / "large";
    /// The reader's error text.
    const std::string reason = "while allocating 2000000 bytes for '" + path.string() +
                               "': std::bad_alloc: Could not allocate buffer for file "
                               "[Orv::file:2]";
    std::vector<std::uint8_t> bytes{1, 2, 3};
};

TEST_F(out_of_memory, a_file_is_not_read) {
    Orv::file file(path);
    try {
        const allocation_limit little_memory(limit);
        file.read_whole(bytes, 0x40000000);
        FAIL() << "it was read";
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.what(), reason);
        EXPECT_EQ(error.code(), boost::system::errc::not_enough_memory);
    }
    EXPECT_TRUE(bytes.empty());
}

TEST_F(out_of_memory, an_error_code_is_set_when_there_is_one) {
    Orv::file file(path);
    boost::system::error_code error;
    {
        const allocation_limit little_memory(limit);
        file.read_whole(bytes, 0x40000000, &error);
    }
    EXPECT_EQ(error.value(), 2);
    EXPECT_TRUE(bytes.empty());
}

TEST_F(out_of_memory, restore_options_are_a_read_error) {
    try {
        const allocation_limit little_memory(limit);
        vandrel::read_restore_plist(path);
        FAIL() << "they were read";
    } catch (const vandrel::cf_error_handle& error) {
        const vandrel::cf_handle<CFStringRef> text(CFErrorCopyFailureReason(error.get()));
        EXPECT_EQ(CFErrorGetCode(error.get()), 8);
        EXPECT_EQ(vandrel::cfstring_to_string(text.get()),
                  "Cannot open file '" + path.string() + "' - " + reason);
    }
}

TEST(cfstring_to_string_out_of_memory, ends_the_process) {
    const auto text = vandrel::make_cfstring(std::string(2'000'000, 'x'));
    EXPECT_DEATH(
        {
            const allocation_limit little_memory(1'000'000);
            vandrel::cfstring_to_string(text.get());
        },
        "");
}

/// The exit status of a listing whose thread cannot allocate larger blocks.
int run_listing(std::size_t limit, channel_capture& capture) {
    vandrel::start_options options;
    options.list_devices = true;
    options.amr_logfile = std::string(2'000'000, 'x');
    const allocation_limit little_memory(limit);
    return vandrel::run_command(options, {}, capture.channel());
}

TEST(run_command_out_of_memory, is_an_unknown_error) {
    channel_capture capture;
    EXPECT_EQ(run_listing(1'000'000, capture), 1);
    EXPECT_THAT(capture.finish().records, ::testing::HasSubstr("<string>std::bad_alloc</string>"));
}

TEST(run_command_out_of_memory, ends_without_a_record_when_there_is_none_for_it) {
    channel_capture capture;
    EXPECT_EQ(run_listing(0, capture), 1);
    EXPECT_EQ(capture.finish().records, "");
}

} // namespace
