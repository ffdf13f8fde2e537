#include "station/usb_watch.h"

#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

TEST(usb_watch, that_nothing_is_announced_to_calls_nobody) {
    boost::asio::io_context context;
    int arrivals = 0;
    for (int i = 0; i < 3; ++i) {
        const auto watch = usb_watch::start(context, [&arrivals] { ++arrivals; });
        ASSERT_TRUE(watch);
    }
    context.run();
    EXPECT_EQ(arrivals, 0);
}

TEST(usb_watch, does_not_keep_the_loop_from_ending) {
    boost::asio::io_context context;
    const auto watch = usb_watch::start(context, [] {});
    EXPECT_EQ(context.run(), 0U);
}

} // namespace
} // namespace vandrel::station
