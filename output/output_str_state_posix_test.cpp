#include "output/output_str_state.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include <unistd.h>

namespace {

using namespace vandrel;

TEST(output_channel, records_and_diagnostics_of_one_pipe_keep_their_order) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const int error_stream = dup(STDERR_FILENO);
    ASSERT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
    {
        boost::asio::io_context context;
        output_str_state channel(native_pipe(context, ends[1]));
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
    dup2(error_stream, STDERR_FILENO);
    close(error_stream);
    std::string written(100, '\0');
    written.resize(static_cast<std::size_t>(read(ends[0], written.data(), written.size())));
    close(ends[0]);
    EXPECT_EQ(written, "<1><2>between\nand\n<3>after\n");
}

TEST(output_channel, a_record_is_on_its_way_before_there_is_another) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    std::fflush(stdout);
    const int output_stream = dup(STDOUT_FILENO);
    ASSERT_EQ(dup2(ends[1], STDOUT_FILENO), STDOUT_FILENO);
    std::string written(100, '\0');
    {
        output_str_state channel(std::nullopt);
        std::thread writer([&channel] { channel.writer_loop(); });
        channel.push_output("<1>");
        // Waits until there is something to read.
        written.resize(static_cast<std::size_t>(read(ends[0], written.data(), written.size())));
        channel.shutdown();
        writer.join();
    }
    dup2(output_stream, STDOUT_FILENO);
    for (const int descriptor : {output_stream, ends[0], ends[1]}) {
        close(descriptor);
    }
    EXPECT_EQ(written, "<1>\n");
}

} // namespace
