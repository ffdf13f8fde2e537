#include "station/native_process.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <optional>

#include <fcntl.h>
#include <pthread.h>
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

} // namespace
} // namespace vandrel::station
