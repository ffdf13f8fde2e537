#include "station/scratch_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace vandrel::station {

namespace {

namespace fs = std::filesystem;

class scratch : public testing::Test {
public:
    ~scratch() override { fs::remove_all(parent_); }
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;

protected:
    scratch()
        : parent_(fs::temp_directory_path() /
                  ("scratch-test-" + std::to_string(std::random_device()()))) {}

    fs::path parent_;
};

TEST_F(scratch, is_removed_at_its_end) {
    {
        const scratch_folder folder(parent_);
        std::ofstream(folder.make("1") / "image") << "some bytes";
    }
    EXPECT_TRUE(fs::is_empty(parent_));
}

TEST_F(scratch, that_nobody_holds_is_removed_and_one_that_is_held_stays) {
    const scratch_folder held(parent_);
    // What a killed station leaves.
    const fs::path left = parent_ / "vs-killed";
    fs::create_directories(left / "1");
    std::ofstream(left / "vandrel-station.marker") << "";
    scratch_folder::remove_abandoned(parent_);
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(fs::exists(held.path()));
}

// On Windows an open file cannot be removed.
TEST_F(scratch, with_a_file_that_is_open_is_removed_by_a_later_run) {
    std::ofstream open_file;
    {
        const scratch_folder folder(parent_);
        open_file.open(folder.make("1") / "image");
        ASSERT_TRUE(open_file.is_open());
    }
    scratch_folder::remove_abandoned(parent_);
    open_file.close();
    scratch_folder::remove_abandoned(parent_);
    EXPECT_TRUE(fs::is_empty(parent_));
}

} // namespace

} // namespace vandrel::station
