#include "station/run_folder.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

namespace vandrel::station {

namespace {

constexpr std::chrono::seconds long_enough(60);

/// No file of this process grows beyond this. For its lifetime only, so that what the process
/// writes at its end is whole.
class limit_of_files {
public:
    explicit limit_of_files(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~limit_of_files() { setrlimit(RLIMIT_FSIZE, &before_); }
    limit_of_files(const limit_of_files&) = delete;
    limit_of_files& operator=(const limit_of_files&) = delete;

private:
    rlimit before_{};
};

TEST(the_log_of_a_run, has_whole_lines_when_the_disk_is_full) {
    const vandrel::testing::temporary_folder parent;
    const std::filesystem::path path = std::filesystem::path(parent.path().string()) / "run";
    run_folder made(path);
    {
        const limit_of_files limit(30);
        made.log("a line that has a place\n");
        made.flush();
        made.log("one that has not\n");
        made.finish(long_enough);
    }
    EXPECT_EQ(made.hole(), "events.jsonl could not be written");
    std::ifstream file(path / "events.jsonl", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "a line that has a place\n");
}

TEST(a_run_folder_that_is_full, does_not_wait_until_all_is_written) {
    const vandrel::testing::temporary_folder parent;
    const std::filesystem::path path = std::filesystem::path(parent.path().string()) / "run";
    run_folder made(path);
    std::filesystem::create_directory(path / "try");
    // A pipe without a reader holds up whoever opens it.
    const std::filesystem::path pipe = path / "try" / "records.plist";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (int pieces = 0; pieces < 20; ++pieces) {
        made.append("try", "records.plist", std::string(std::size_t{1024} * 1024, 'x'));
    }
    bool is_done = false;
    made.when_written([&is_done] { is_done = true; });
    EXPECT_TRUE(is_done);
    EXPECT_EQ(made.hole(), "the run folder takes what is written too slowly");
    // Lets the background end.
    std::ifstream reader(pipe);
}

TEST(a_run_folder_that_was_given_up, has_a_hole) {
    const vandrel::testing::temporary_folder parent;
    run_folder made(std::filesystem::path(parent.path().string()) / "run");
    made.give_up();
    EXPECT_EQ(made.hole(), "the run folder takes nothing any more");
}

TEST(a_new_run_folder, needs_a_name_that_leaves_room_for_those_of_its_files) {
    const vandrel::testing::temporary_folder parent;
    std::string path = parent.path().string();
    while (path.size() + 201 < PATH_MAX - 10) {
        path += "/" + std::string(200, 'x');
    }
    path += "/" + std::string(PATH_MAX - 6 - path.size(), 'y');
    try {
        const run_folder made(path);
        FAIL() << "it was made";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "the run folder " + path + " cannot be made");
    }
}

} // namespace

} // namespace vandrel::station
