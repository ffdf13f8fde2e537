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
#include <stdexcept>
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

/// What is missing when all is written.
class a_hole : public one_run_folder {
protected:
    std::string found() {
        made.finish(long_enough);
        return made.hole().value_or("");
    }
};

TEST_F(a_hole, is_a_file_of_a_try_whose_folder_cannot_be_made) {
    std::ofstream(path / "try").put('x');
    made.append("try", "records.plist", "<plist/>");
    EXPECT_EQ(found(), "try/records.plist could not be written");
}

TEST_F(a_hole, is_a_file_that_cannot_be_copied) {
    std::ofstream(path / "restore.log").put('x');
    std::filesystem::create_directories(path / "try" / "restore.log");
    bool is_done = false;
    made.keep(path / "restore.log", "try", [&is_done] { is_done = true; });
    const std::string hole = found();
    EXPECT_TRUE(hole.starts_with("try/restore.log could not be kept: ")) << hole;
    EXPECT_TRUE(is_done);
}

TEST_F(a_hole, is_a_file_that_cannot_be_replaced_because_the_new_one_cannot_be_written) {
    std::filesystem::create_directory(path / "summary.json.new");
    made.replace("summary.json", "{}");
    EXPECT_EQ(found(), "summary.json could not be written");
}

TEST_F(one_run_folder, says_when_all_is_written) {
    made.log("a line\n");
    std::promise<std::string> found;
    made.when_written([this, &found] { found.set_value(content_of("events.jsonl")); });
    EXPECT_EQ(found.get_future().get(), "a line\n");
}

TEST_F(a_hole, is_what_was_lost_first) {
    std::filesystem::create_directory(path / "summary.json.new");
    std::filesystem::create_directory(path / "summary.csv.new");
    made.replace("summary.csv", "");
    made.replace("summary.json", "{}");
    EXPECT_EQ(found(), "summary.csv could not be written");
}

/// Why a run folder of this name in `parent` is refused.
std::string refusal_of(const vandrel::testing::temporary_folder& parent, const std::string& name) {
    try {
        const run_folder made(std::filesystem::path(parent.path().string()) / name);
        return "";
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        const std::string before = "the run folder " + printable(parent.path().string());
        EXPECT_TRUE(text.starts_with(before)) << text;
        return text.substr(before.size() + 1);
    }
}

TEST(a_new_run_folder, may_be_there_but_has_to_be_empty) {
    const vandrel::testing::temporary_folder parent;
    const std::filesystem::path path(parent.path().string());
    std::filesystem::create_directories(path / "empty");
    EXPECT_EQ(refusal_of(parent, "empty"), "");
    EXPECT_TRUE(std::filesystem::exists(path / "empty" / "events.jsonl"));
    EXPECT_EQ(refusal_of(parent, "empty"), "empty is not empty");
}

TEST(a_new_run_folder, cannot_be_in_a_file) {
    const vandrel::testing::temporary_folder parent;
    std::ofstream(std::filesystem::path(parent.path().string()) / "file").put('x');
    const std::string text = refusal_of(parent, "file");
    EXPECT_TRUE(text.starts_with("file cannot be made: ") && text.size() > 25) << text;
}

} // namespace

} // namespace vandrel::station
