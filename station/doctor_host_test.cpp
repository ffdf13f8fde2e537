#include "station/doctor_host.h"
#include "station/doctor_run.h"
#include "station/host.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>

namespace vandrel::station {
namespace {

using std::chrono::hours;
namespace fs = std::filesystem;

/// A folder like that of a tool, with a file two folders below it.
class a_left_folder : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(file_.parent_path());
        std::ofstream(file_) << "12345";
    }

    const vandrel::testing::temporary_folder made_;
    const fs::path folder_ = fs::path(made_.path().string()) / "vandrel.0a1b2c";
    const fs::path file_ = folder_ / "PRB" / "1" / "image";
};

TEST_F(a_left_folder, is_own_closed_and_without_links) {
    const left_folder found = look_into(folder_);
    EXPECT_EQ(found.path, folder_);
    EXPECT_EQ(found.problem, "");
    EXPECT_FALSE(found.has_link);
    EXPECT_TRUE(found.is_own);
    EXPECT_FALSE(found.is_open);
    EXPECT_EQ(found.size, 5U);
}

TEST_F(a_left_folder, is_as_old_as_the_newest_that_is_in_it) {
    fs::last_write_time(file_, fs::file_time_type::clock::now() + hours(1));
    const auto newest = look_at(file_).changed;
    EXPECT_GT(newest, look_at(folder_).changed + std::chrono::minutes(50));
    EXPECT_EQ(look_into(folder_).changed, newest);
}

TEST_F(a_left_folder, in_which_a_file_is_open_is_so) {
    std::ifstream open_file(file_);
    ASSERT_TRUE(open_file.is_open());
    EXPECT_TRUE(look_into(folder_).is_open);
    open_file.close();
    EXPECT_FALSE(look_into(folder_).is_open);
}

TEST_F(a_left_folder, that_is_not_there_cannot_be_looked_at) {
    EXPECT_NE(look_into(folder_ / "none").problem, "");
}

TEST(processes, have_this_one_among_them) {
    const auto all = running_processes();
    const auto own = std::ranges::find(all, own_process_number(), &running_tool::number);
    ASSERT_NE(own, all.end());
    EXPECT_THAT(own->name, ::testing::StartsWith("station_tests"));
    ASSERT_TRUE(own->started);
    EXPECT_LE(*own->started, std::chrono::system_clock::now() + std::chrono::seconds(2));
    EXPECT_GE(*own->started, std::chrono::system_clock::now() - hours(1));
}

TEST(processes, have_their_program_in_memory) {
    const auto files = loaded_files(own_process_number());
    EXPECT_TRUE(std::ranges::any_of(files, [](const fs::path& each) {
        return text_of(each.filename()).starts_with("station_tests");
    }));
    // No process has this number.
    EXPECT_TRUE(loaded_files(0x7FFFFFFF).empty());
}

TEST(this_system, has_temporary_files_on_a_disk_of_its_own) {
    EXPECT_FALSE(is_on_network(fs::temp_directory_path()));
}

TEST(file_version, of_a_file_that_has_none_is_empty) {
    const vandrel::testing::temporary_folder made;
    const fs::path file = fs::path(made.path().string()) / "text";
    std::ofstream(file) << "text";
    EXPECT_EQ(file_version(file), "");
    EXPECT_EQ(file_version(file / "none"), "");
}

} // namespace
} // namespace vandrel::station
