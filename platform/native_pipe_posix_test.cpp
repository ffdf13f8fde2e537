#include "platform/native_pipe.h"
#include "platform/native_process.h"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <array>

#include <fcntl.h>
#include <unistd.h>

namespace vandrel {

TEST(native_pipe, fails_to_write_when_nobody_reads_any_more) {
    prepare_process();
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    boost::asio::io_context context;
    native_pipe writer(context, ends[1]);
    close(ends[0]);
    EXPECT_THROW(writer.write("bytes"), boost::system::system_error);
}

TEST(native_pipe, is_not_a_descriptor_that_closes_when_a_program_starts) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    boost::asio::io_context context;
    EXPECT_THROW(native_pipe(context, ends[1]), boost::system::system_error);
    // The descriptor stays its owner's.
    EXPECT_EQ(close(ends[1]), 0);
    close(ends[0]);
}

} // namespace vandrel
