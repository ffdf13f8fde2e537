#include "station/run_folder.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <optional>
#include <string>

namespace vandrel::station {

namespace {

constexpr std::chrono::seconds long_enough(60);

TEST(run_name, is_the_name_of_the_folder_however_that_is_written) {
    EXPECT_EQ(run_name("runs/night"), "night");
    EXPECT_EQ(run_name("runs/night/"), "night");
    EXPECT_EQ(run_name("runs/night/."), "night");
    EXPECT_EQ(run_name("."), text_of(std::filesystem::current_path().filename()));
}

class one_run_folder : public ::testing::Test {
protected:
    /// Until the background has done all so far.
    void wait() {
        std::promise<void> done;
        made.keep(path / "missing", "nobody", [&done] { done.set_value(); });
        done.get_future().wait();
    }

    std::string content_of(const std::string& name) {
        std::ifstream file(path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const vandrel::testing::temporary_folder parent;
    const std::filesystem::path path = std::filesystem::path(parent.path().string()) / "run";
    run_folder made{path};
};

/// Nobody can put a file in the place of a folder.
class a_file_that_somebody_holds : public one_run_folder {
protected:
    a_file_that_somebody_holds() {
        std::filesystem::create_directory(path / "summary.csv");
        made.replace("summary.csv", "new");
        wait();
    }
    void let_go() { std::filesystem::remove(path / "summary.csv"); }
};

TEST_F(a_file_that_somebody_holds, is_replaced_at_the_end_without_a_hole) {
    EXPECT_EQ(made.hole(), std::nullopt);
    let_go();
    made.finish(long_enough);
    EXPECT_EQ(content_of("summary.csv"), "new");
    EXPECT_EQ(made.hole(), std::nullopt);
}

TEST_F(a_file_that_somebody_holds, is_replaced_by_what_comes_next) {
    let_go();
    made.replace("summary.csv", "newer");
    wait();
    EXPECT_EQ(content_of("summary.csv"), "newer");
    made.finish(long_enough);
    EXPECT_EQ(content_of("summary.csv"), "newer");
    EXPECT_EQ(made.hole(), std::nullopt);
}

TEST_F(a_file_that_somebody_holds, is_a_hole_when_it_is_held_to_the_end) {
    made.finish(long_enough);
    ASSERT_TRUE(made.hole());
    EXPECT_TRUE(made.hole()->starts_with("summary.csv could not be replaced: ")) << *made.hole();
}

} // namespace

} // namespace vandrel::station
