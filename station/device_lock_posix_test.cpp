#include "station/host.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

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

} // namespace
} // namespace vandrel::station
