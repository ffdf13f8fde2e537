#include "station/native_process.h"
#include "tests/refused_call_posix.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vandrel::station {
namespace {

std::array<int, 2> seen{};
bool signals_the_child = false;

TEST(native_process, runs_no_signal_handler_of_its_parent) {
    ASSERT_EQ(pipe2(seen.data(), O_CLOEXEC | O_NONBLOCK), 0);
    // As a Ctrl-C that comes right after the fork.
    pthread_atfork(nullptr, nullptr, [] {
        if (signals_the_child) {
            raise(SIGINT);
        }
    });
    const auto before = std::signal(
        SIGINT, [](int) { [[maybe_unused]] const ssize_t written = write(seen[1], "x", 1); });
    const vandrel::testing::temporary_folder folder;
    boost::asio::io_context context;
    signals_the_child = true;
    const auto process = start_process(
        context, {"/bin/true", {}, folder.path().string(), folder.path().string() + "/out"});
    signals_the_child = false;
    std::optional<int> status;
    process->async_wait([&](int ended) { status = ended; });
    context.run();
    std::signal(SIGINT, before);
    char byte = 0;
    EXPECT_EQ(read(seen[0], &byte, 1), -1);
    EXPECT_EQ(status, 0);
    close(seen[0]);
    close(seen[1]);
}

/// Why a program cannot be started when this system call fails; empty when it can.
std::string failure_without(std::uint32_t call, std::uint32_t error) {
    std::string result;
    std::thread([&] {
        const vandrel::testing::temporary_folder folder;
        boost::asio::io_context context;
        vandrel::testing::refuse_call(call, error);
        try {
            start_process(
                context,
                {"/bin/true", {}, folder.path().string(), folder.path().string() + "/out"});
        } catch (const std::system_error& failure) {
            result = failure.what();
        }
    }).join();
    return result;
}

TEST(native_process, that_cannot_be_started_is_an_error_with_the_call_that_failed) {
    EXPECT_EQ(failure_without(SYS_openat, ENFILE), "/dev/null: Too many open files in system");
    EXPECT_EQ(failure_without(SYS_clone, EAGAIN), "fork: Resource temporarily unavailable");
    EXPECT_EQ(failure_without(SYS_pidfd_open, ENOSYS), "pidfd_open: Function not implemented");
    EXPECT_EQ(failure_without(SYS_dup2, EBADF), "/bin/true: Bad file descriptor");
}

TEST(native_process, that_cannot_be_watched_is_not_left_behind) {
    EXPECT_NE(failure_without(SYS_pidfd_open, ENOSYS), "");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(native_process, needs_a_place_for_what_it_prints) {
    const vandrel::testing::temporary_folder folder;
    const std::string file = folder.path().string() + "/missing/out";
    boost::asio::io_context context;
    try {
        start_process(context, {"/bin/true", {}, folder.path().string(), file});
        FAIL() << "it was started";
    } catch (const std::system_error& failure) {
        EXPECT_EQ(failure.what(), file + ": No such file or directory");
    }
}

} // namespace
} // namespace vandrel::station
