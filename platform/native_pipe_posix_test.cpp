#include "platform/native_pipe.h"
#include "platform/native_process.h"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <array>

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

} // namespace vandrel
