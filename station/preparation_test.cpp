#include "station/preparation.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

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

TEST_F(preparation, reads_the_names_of_ports) {
    EXPECT_THAT(read_slots(write("slots", "# the hub\n0x14111000 A1\n\n0x14112000 A 2\n")),
                ElementsAre(Pair(0x14111000, "A1"), Pair(0x14112000, "A 2")));
    EXPECT_THAT(read_slots(""), ElementsAre());
}

std::string refusal_of(const std::string& slots) {
    try {
        read_slots(slots);
    } catch (const refusal& why) {
        EXPECT_EQ(why.status, 2);
        return why.what();
    }
    return "it is not refused";
}

TEST_F(preparation, refuses_a_line_of_the_ports_without_number_or_name) {
    const std::string file = write("slots", "0x14111000 A1\nA2 0x14112000\n");
    EXPECT_EQ(refusal_of(file), file + ": \"A2 0x14112000\" is no location number with a name");
    const std::string nameless = write("nameless", "0x14111000\n");
    EXPECT_EQ(refusal_of(nameless),
              nameless + ": \"0x14111000\" is no location number with a name");
}

TEST_F(preparation, refuses_a_port_with_two_names) {
    const std::string file = write("slots", "0x14111000 A1\n0x14111000 A2\n");
    EXPECT_EQ(refusal_of(file), file + ": \"0x14111000 A2\" names a port that a line above names");
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

/// The status and the sentence.
std::pair<int, std::string> refusal_of(const station_arguments& arguments) {
    try {
        prepare(arguments);
        return {0, "no refusal"};
    } catch (const refusal& error) {
        return {error.status, error.what()};
    }
}

TEST_F(preparation, says_where_the_reasons_of_a_folder_without_a_usable_bundle_are) {
    arguments_.what = station_command::restore;
    arguments_.options.what = command::restore;
    arguments_.bundles = text_of(folder_);
    EXPECT_EQ(refusal_of(arguments_),
              std::pair(2, printable(text_of(folder_)) + " has no bundle that can be used"));
    std::filesystem::create_directory(folder_ / "broken.ipsw");
    EXPECT_EQ(refusal_of(arguments_),
              std::pair(2, printable(text_of(folder_)) + " has no bundle that can be used; "
                                                         "the command \"bundles\" says why"));
}

TEST_F(preparation, refuses_a_folder_of_bundles_that_cannot_be_read) {
    arguments_.what = station_command::restore;
    arguments_.options.what = command::restore;
    arguments_.bundles = text_of(folder_ / "none");
    const auto [status, why] = refusal_of(arguments_);
    EXPECT_EQ(status, 2);
    EXPECT_TRUE(
        why.starts_with("the folder " + printable(text_of(folder_ / "none")) + " cannot be read: "))
        << why;
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
