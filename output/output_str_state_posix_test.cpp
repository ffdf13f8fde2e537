#include "output/output_str_state.h"
#include "tests/numbered_records.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vandrel;
using vandrel::testing::make_numbered_records;

constexpr auto long_enough_to_see = std::chrono::milliseconds(100);

/// Both ends of a pipe, or of a pair of connected sockets that keep messages apart.
struct channel_ends {
    static channel_ends of_pipe() {
        channel_ends result;
        EXPECT_EQ(pipe(result.ends.data()), 0);
        return result;
    }
    static channel_ends of_message_sockets() {
        channel_ends result;
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, result.ends.data()), 0);
        return result;
    }
    int to_read() const { return ends[0]; }
    int to_write() const { return ends[1]; }

    std::array<int, 2> ends{};
};

/// What one call of read gives: one message where messages are kept apart. Empty at the end.
std::string read_once(int descriptor, std::size_t most = 100'000) {
    std::string bytes(most, '\0');
    const auto size = read(descriptor, bytes.data(), bytes.size());
    bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return bytes;
}

/// What is written to a standard stream goes to `descriptor` while one lives.
class redirected {
public:
    redirected(std::FILE* stream, int descriptor) : stream_(stream) {
        std::fflush(stream);
        original_ = dup(fileno(stream));
        EXPECT_EQ(dup2(descriptor, fileno(stream)), fileno(stream));
    }
    ~redirected() {
        std::fflush(stream_);
        dup2(original_, fileno(stream_));
        close(original_);
    }
    redirected(const redirected&) = delete;
    redirected& operator=(const redirected&) = delete;

private:
    std::FILE* stream_;
    int original_ = -1;
};

/// A channel with a running writer, which shuts down at the end.
class running_channel {
public:
    explicit running_channel(std::optional<native_pipe> pipe) : state(std::move(pipe)) {}
    ~running_channel() { end(); }
    running_channel(const running_channel&) = delete;
    running_channel& operator=(const running_channel&) = delete;

    void start() {
        writer_ = std::thread([this] { state.writer_loop(); });
    }
    /// Starts the writer and returns when it has nothing to do. Standard output goes to the pipe
    /// that `to_read` reads. Whoever pushes next gets the lock once the writer waits for more.
    void start_and_wait_until_idle(int to_read) {
        start();
        state.push_output("<begin>");
        EXPECT_EQ(read_once(to_read), "<begin>\n");
    }
    void end() {
        if (writer_.joinable()) {
            state.shutdown();
            writer_.join();
        }
    }

    output_str_state state;

private:
    std::thread writer_;
};

TEST(output_channel, records_and_diagnostics_of_one_pipe_keep_their_order) {
    const auto both = channel_ends::of_pipe();
    {
        const redirected error_stream(stderr, both.to_write());
        boost::asio::io_context context;
        output_str_state channel(native_pipe(context, both.to_write()));
        channel.set_debug(true);
        channel.push_output("<1>");
        channel.push_output("<2>");
        channel.push_debug("between");
        channel.push_debug("and");
        channel.push_output("<3>");
        channel.push_debug("after");
        channel.shutdown();
        channel.writer_loop();
    }
    EXPECT_EQ(read_once(both.to_read()), "<1><2>between\nand\n<3>after\n");
    close(both.to_read());
}

TEST(output_channel, each_record_is_one_message_however_slow_the_reader_is) {
    const auto ends = channel_ends::of_message_sockets();
    // Room for a few records only: the writer waits for the reader all the time.
    const int little_room = 4096;
    setsockopt(ends.to_write(), SOL_SOCKET, SO_SNDBUF, &little_room, sizeof(little_room));
    const auto records = make_numbered_records();
    boost::asio::io_context context;
    std::optional<running_channel> channel(std::in_place, native_pipe(context, ends.to_write()));
    // All are queued when the writer starts, so that it has the opportunity to join them.
    for (const std::string& record : records) {
        channel->state.push_output(record);
    }
    channel->start();
    std::vector<std::string> messages;
    for (std::size_t i = 0; i < records.size(); ++i) {
        messages.push_back(read_once(ends.to_read()));
    }
    channel.reset();
    EXPECT_EQ(messages, records);
    EXPECT_EQ(read_once(ends.to_read()), "");
    close(ends.to_read());
}

TEST(output_channel, a_long_record_is_written_in_pieces_of_at_most_65536_bytes) {
    const auto ends = channel_ends::of_message_sockets();
    const std::string record = make_numbered_records().back() + std::string(200'000, 'x');
    boost::asio::io_context context;
    std::optional<running_channel> channel(std::in_place, native_pipe(context, ends.to_write()));
    channel->start();
    channel->state.push_output(record);
    std::vector<std::string> messages;
    for (std::size_t bytes = 0; bytes < record.size(); bytes += messages.back().size()) {
        messages.push_back(read_once(ends.to_read(), 300'000));
    }
    channel.reset();
    EXPECT_EQ(read_once(ends.to_read()), "");
    close(ends.to_read());
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_EQ(messages[0], record.substr(0, 65'536));
    EXPECT_EQ(messages[1], record.substr(65'536, 65'536));
    EXPECT_EQ(messages[2], record.substr(131'072, 65'536));
    EXPECT_EQ(messages[3], record.substr(196'608));
}

TEST(output_channel, a_record_is_on_its_way_before_there_is_another) {
    const auto ends = channel_ends::of_pipe();
    std::string written;
    {
        const redirected output_stream(stdout, ends.to_write());
        running_channel channel(std::nullopt);
        channel.start();
        channel.state.push_output("<1>");
        // Waits until there is something to read.
        written = read_once(ends.to_read());
    }
    EXPECT_EQ(written, "<1>\n");
    close(ends.to_write());
    close(ends.to_read());
}

TEST(output_channel, the_writer_leaves_nothing_in_a_buffer_and_empties_standard_output_first) {
    const auto ends = channel_ends::of_pipe();
    std::fflush(nullptr);
    const pid_t process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
        dup2(ends.to_write(), STDOUT_FILENO);
        dup2(ends.to_write(), STDERR_FILENO);
        // Only flushing empties these.
        static std::array<std::array<char, 1000>, 2> buffers;
        setvbuf(stdout, buffers[0].data(), _IOFBF, buffers[0].size());
        setvbuf(stderr, buffers[1].data(), _IOFBF, buffers[1].size());
        output_str_state channel(std::nullopt);
        channel.set_debug(true);
        channel.push_debug("diagnostic");
        channel.push_output("record");
        channel.shutdown();
        channel.writer_loop();
        _exit(0);
    }
    close(ends.to_write());
    EXPECT_EQ(waitpid(process, nullptr, 0), process);
    EXPECT_EQ(read_once(ends.to_read()), "record\ndiagnostic\n");
    close(ends.to_read());
}

TEST(output_channel, with_debug_on_a_diagnostic_alone_wakes_the_writer) {
    const auto ends = channel_ends::of_pipe();
    std::string written;
    {
        const redirected output_stream(stdout, ends.to_write());
        const redirected error_stream(stderr, ends.to_write());
        running_channel channel(std::nullopt);
        channel.state.set_debug(true);
        channel.start_and_wait_until_idle(ends.to_read());
        channel.state.push_debug("a diagnostic");
        // Waits until there is something to read.
        written = read_once(ends.to_read());
    }
    EXPECT_EQ(written, "a diagnostic\n");
    close(ends.to_write());
    close(ends.to_read());
}

TEST(output_channel, with_debug_off_a_diagnostic_wakes_the_writer_and_is_gone) {
    const auto ends = channel_ends::of_pipe();
    {
        const redirected output_stream(stdout, ends.to_write());
        const redirected error_stream(stderr, ends.to_write());
        running_channel channel(std::nullopt);
        channel.start_and_wait_until_idle(ends.to_read());
        // Stays in the stream's buffer until the writer has met the diagnostic, after which it
        // flushes both streams.
        std::fputs("flushed by the writer", stdout);
        channel.state.push_debug("a diagnostic");
        EXPECT_EQ(read_once(ends.to_read()), "flushed by the writer");
        channel.state.set_debug(true);
        channel.state.push_debug("another");
        EXPECT_EQ(read_once(ends.to_read()), "another\n");
    }
    close(ends.to_write());
    EXPECT_EQ(read_once(ends.to_read()), "");
    close(ends.to_read());
}

TEST(output_channel, producers_wait_while_the_writer_writes) {
    const auto ends = channel_ends::of_pipe();
    // Far more than the pipe holds.
    const std::string record(1'000'000, 'x');
    boost::asio::io_context context;
    running_channel channel(native_pipe(context, ends.to_write()));
    channel.state.push_output(record);
    channel.start();
    // The writer has begun, and can not go on until all is read.
    std::size_t bytes = read_once(ends.to_read(), 1).size();
    auto pushed = std::async(std::launch::async, [&] { channel.state.push_output("the next"); });
    EXPECT_EQ(pushed.wait_for(long_enough_to_see), std::future_status::timeout);
    while (bytes < record.size()) {
        bytes += read_once(ends.to_read(), record.size() - bytes).size();
    }
    pushed.get();
    EXPECT_EQ(read_once(ends.to_read()), "the next");
    channel.end();
    close(ends.to_read());
}

TEST(output_channel, diagnostics_that_are_being_written_are_not_dropped_any_more) {
    const auto ends = channel_ends::of_pipe();
    const auto diagnostics = channel_ends::of_pipe();
    const std::string record(1'000'000, 'x');
    boost::asio::io_context context;
    running_channel channel(native_pipe(context, ends.to_write()));
    channel.state.set_debug(true);
    channel.state.push_output(record);
    channel.state.push_debug("queued with it");
    {
        const redirected error_stream(stderr, diagnostics.to_write());
        channel.start();
        std::size_t bytes = read_once(ends.to_read(), 1).size();
        auto switched = std::async(std::launch::async, [&] { channel.state.set_debug(false); });
        EXPECT_EQ(switched.wait_for(long_enough_to_see), std::future_status::timeout);
        while (bytes < record.size()) {
            bytes += read_once(ends.to_read(), record.size() - bytes).size();
        }
        switched.get();
        channel.end();
    }
    close(diagnostics.to_write());
    EXPECT_EQ(read_once(diagnostics.to_read()), "queued with it\n");
    close(ends.to_read());
    close(diagnostics.to_read());
}

} // namespace
