#include "station/native_process.h"
#include "station/test_failing_call_posix.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <optional>
#include <string>
#include <system_error>

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

/// What is said when this call fails with this error while a program is started.
std::string said_when(long call, int number, const std::string& program = "/bin/true") {
    std::string said = "the call was not made to fail";
    vandrel::testing::with_failing_call(call, number, [&] {
        const vandrel::testing::temporary_folder folder;
        boost::asio::io_context context;
        try {
            start_process(context, {program, {}, folder.path().string(), "/dev/null"});
            said = "it was started";
        } catch (const std::system_error& error) {
            said = error.what();
        }
    });
    return said;
}

TEST(native_process, that_has_no_pipe_is_not_started) {
    EXPECT_EQ(said_when(SYS_pipe2, EMFILE), "pipe2: Too many open files");
}

TEST(native_process, that_cannot_be_forked_is_not_started) {
    EXPECT_EQ(said_when(SYS_clone, EAGAIN), "fork: Resource temporarily unavailable");
}

TEST(native_process, whose_streams_cannot_be_set_is_not_started) {
    EXPECT_EQ(said_when(SYS_dup2, EMFILE), "/bin/true: Too many open files");
}

TEST(native_process, that_cannot_be_watched_does_not_stay) {
    EXPECT_EQ(said_when(SYS_pidfd_open, EMFILE, "/usr/bin/yes"), "pidfd_open: Too many open files");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

} // namespace
} // namespace vandrel::station
