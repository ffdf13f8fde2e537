#include "station/host.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vandrel::station {
namespace {

/// No other process has it.
std::string ecid() {
    return "lock-test-" + std::to_string(getpid());
}

TEST(device_lock, is_the_same_whatever_the_temporary_folder_is) {
    const vandrel::testing::temporary_folder other;
    const char* before = std::getenv("TMPDIR");
    const std::string kept = before == nullptr ? "" : before;
    const device_lock::outcome first = device_lock::take(ecid());
    setenv("TMPDIR", other.path().c_str(), 1);
    const device_lock::outcome second = device_lock::take(ecid());
    before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1);
    EXPECT_TRUE(first.lock);
    EXPECT_FALSE(second.lock);
    EXPECT_EQ(second.holder, own_process_number());
}

TEST(device_lock, that_another_user_has_left_can_be_taken) {
    const std::string path = "/tmp/vandrel-station-" + ecid() + ".lock";
    std::ofstream(path) << "1\n";
    chmod(path.c_str(), 0444);
    // Who may do everything may write it nevertheless.
    const bool is_root = geteuid() == 0;
    if (is_root) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const device_lock::outcome first = device_lock::take(ecid());
    const device_lock::outcome second = device_lock::take(ecid());
    if (is_root) {
        ASSERT_EQ(seteuid(0), 0);
    }
    EXPECT_TRUE(first.lock);
    EXPECT_FALSE(second.lock);
    unlink(path.c_str());
}

TEST(device_lock, is_not_taken_through_a_link) {
    const vandrel::testing::temporary_folder folder;
    const std::string target = folder.path().string() + "/file";
    std::ofstream(target) << "kept\n";
    const std::string path = "/tmp/vandrel-station-" + ecid() + ".lock";
    ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
    const device_lock::outcome outcome = device_lock::take(ecid());
    unlink(path.c_str());
    EXPECT_FALSE(outcome.lock);
    EXPECT_FALSE(outcome.holder);
    EXPECT_EQ(std::filesystem::file_size(target), 5u);
}

TEST(device_lock, of_a_holder_that_has_not_written_its_number_yet_is_taken_by_nobody_known) {
    const std::string path = "/tmp/vandrel-station-" + ecid() + ".lock";
    const int other = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    const device_lock::outcome outcome = device_lock::take(ecid());
    unlink(path.c_str());
    close(other);
    EXPECT_FALSE(outcome.lock);
    EXPECT_FALSE(outcome.holder);
}

TEST(held_file, that_cannot_be_made_is_named) {
    const vandrel::testing::temporary_folder folder;
    const std::string path = folder.path().string() + "/missing/held";
    try {
        held_file::make(path);
        FAIL() << "it was made";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.what(), path + ": No such file or directory");
    }
}

} // namespace
} // namespace vandrel::station
