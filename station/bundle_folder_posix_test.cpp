#include "station/bundle_folder.h"
#include "tests/refused_call_posix.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

#include <sys/syscall.h>

namespace vandrel::station {
namespace {

constexpr std::chrono::minutes patience(1);

class a_folder_of_bundles : public ::testing::Test {
protected:
    a_folder_of_bundles() {
        std::ofstream(file_) << "bundle";
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(file_, now - std::chrono::hours(1));
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    const std::filesystem::path file_ = folder_ / "a.ipsw";
};

TEST_F(a_folder_of_bundles, is_read_when_there_are_threads_again) {
    bundle_folder::settings how;
    how.folder = folder_;
    how.read = [](const std::filesystem::path&) {
        bundle read;
        read.build = "1A1";
        return read;
    };
    bundle_folder folder(how);
    std::thread([&folder] {
        vandrel::testing::refuse_call(SYS_clone3, EAGAIN);
        // More often than there are threads at most.
        for (int i = 0; i < 9; ++i) {
            EXPECT_THROW(folder.look(patience), std::system_error);
        }
    }).join();
    const std::vector<bundle_file>& files = folder.look(patience);
    ASSERT_EQ(files.size(), 1u);
    ASSERT_TRUE(files[0].content) << files[0].problem;
    EXPECT_EQ(files[0].content->build, "1A1");
}

TEST_F(a_folder_of_bundles, has_a_reason_for_a_file_that_cannot_be_opened) {
    std::string why;
    std::thread([&] {
        vandrel::testing::refuse_call(SYS_openat, EMFILE);
        try {
            read_bundle(file_);
        } catch (const unusable_file& error) {
            why = error.why;
        }
    }).join();
    EXPECT_EQ(why, "is no IPSW that can be read: it cannot be opened");
}

} // namespace
} // namespace vandrel::station
