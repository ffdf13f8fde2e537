#include "station/preparation.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;

/// `recover --exit`, with files in a folder of its own.
class preparation : public ::testing::Test {
protected:
    void SetUp() override {
        arguments_.what = station_command::recover;
        arguments_.options.what = command::recover_exit;
        arguments_.tool.program = SCRIPTED_TOOL;
        arguments_.scratch = text_of(folder_);
        arguments_.run_folder = text_of(folder_ / "run");
    }

    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream(folder_ / name, std::ios::binary) << content;
        return text_of(folder_ / name);
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    station_arguments arguments_;
};

TEST_F(preparation, takes_only_sixteen_digits_in_a_file_of_devices_for_an_ecid) {
    arguments_.only_file =
        write("only", "\xEF\xBB\xBF# one a line\r\nDEADBEEF42\r\n\r\n 00000000000000aa \r\n"
                      "0x00000000000000BB\n");
    EXPECT_THAT(prepare(arguments_).options.only,
                ElementsAre("00000000000000AA", "00000000000000BB", "DEADBEEF42"));
}

TEST_F(preparation, makes_a_scratch_folder_that_is_not_there) {
    arguments_.scratch = text_of(folder_ / "new" / "scratch");
    EXPECT_GT(prepare(arguments_).free_bytes, 0u);
    EXPECT_TRUE(std::filesystem::is_directory(folder_ / "new" / "scratch"));
}

TEST_F(preparation, refuses_a_scratch_folder_that_is_a_file) {
    arguments_.scratch = write("file", "");
    try {
        prepare(arguments_);
        ADD_FAILURE();
    } catch (const refusal& why) {
        EXPECT_EQ(why.status, 4);
    }
}

TEST_F(preparation, lets_no_failures_stop_what_recovers) {
    EXPECT_EQ(prepare(arguments_).options.stop_after, 0u);
}

TEST_F(preparation, refuses_a_time_limit_that_the_tool_would_cut_short) {
    arguments_.what = station_command::restore;
    arguments_.options.what = command::restore;
    arguments_.options.any_bundle = true;
    arguments_.options_file =
        write("options.plist", "<plist><dict><key>AuthInstallRestoreBehavior</key>"
                               "<string>Update</string></dict></plist>");
    arguments_.restore_timeout = std::chrono::hours(2);
    EXPECT_EQ(prepare(arguments_).options.time_limit, std::chrono::hours(2));
    arguments_.restore_timeout += std::chrono::seconds(1);
    try {
        prepare(arguments_);
        ADD_FAILURE();
    } catch (const refusal& why) {
        EXPECT_EQ(why.status, 2);
    }
}

} // namespace
} // namespace vandrel::station
