#include "output/output_str_state.h"
#include "tests/channel_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vandrel;
using vandrel::testing::channel_capture;

TEST(output_channel, each_record_on_standard_output_is_followed_by_a_line_feed) {
    channel_capture capture;
    capture.channel()->push_output("first");
    capture.channel()->push_output("second");
    EXPECT_EQ(capture.finish().records, "first\nsecond\n");
}

TEST(output_channel, an_empty_text_is_a_bare_line_feed) {
    channel_capture capture;
    capture.channel()->push_output("");
    capture.channel()->push_debug("");
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "\n");
    EXPECT_EQ(written.diagnostics, std::vector<std::string>{""});
}

TEST(output_channel, diagnostics_go_to_standard_error_when_debugging_is_on) {
    channel_capture capture;
    capture.channel()->push_debug("a diagnostic");
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    EXPECT_EQ(written.diagnostics, std::vector<std::string>{"a diagnostic"});
}

TEST(output_channel, with_debug_off_a_diagnostic_never_appears_anywhere) {
    channel_capture capture(false);
    capture.channel()->push_debug("a diagnostic");
    capture.channel()->push_output("a record");
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "a record\n");
    EXPECT_TRUE(written.diagnostics.empty());
}

TEST(output_channel, what_is_queued_before_the_writer_starts_is_written_after_a_shutdown) {
    ::testing::internal::CaptureStdout();
    output_str_state channel(std::nullopt);
    channel.push_output("queued just before the shutdown");
    channel.shutdown();
    channel.writer_loop();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "queued just before the shutdown\n");
}

TEST(output_channel, the_debug_switch_holds_for_lines_that_are_still_queued) {
    ::testing::internal::CaptureStderr();
    output_str_state channel(std::nullopt);
    channel.push_debug("queued before");
    channel.set_debug(true);
    channel.shutdown();
    channel.writer_loop();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "queued before\n");
}

TEST(output_channel, debugging_can_be_switched_while_the_writer_writes) {
    channel_capture capture;
    for (int i = 0; i < 1000; ++i) {
        capture.channel()->push_debug("before");
        capture.channel()->set_debug(i % 2 == 0);
    }
    capture.channel()->set_debug(true);
    capture.channel()->push_debug("last");
    EXPECT_EQ(capture.finish().diagnostics.back(), "last");
}

TEST(output_channel, several_threads_can_switch_debugging) {
    channel_capture capture;
    const auto switch_it = [&capture] { capture.channel()->set_debug(false); };
    std::thread one(switch_it);
    std::thread other(switch_it);
    one.join();
    other.join();
    capture.channel()->push_debug("off");
    EXPECT_EQ(capture.finish().diagnostics.size(), 0U);
}

TEST(output_channel, each_producer_keeps_its_order_and_no_line_is_torn) {
    constexpr int producers = 4;
    constexpr int lines = 500;
    channel_capture capture;
    std::vector<std::thread> threads;
    threads.reserve(producers);
    for (int producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&capture, producer] {
            for (int line = 0; line < lines; ++line) {
                capture.channel()->push_output(std::to_string(producer) + " " +
                                               std::to_string(line));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::vector<int> next(producers, 0);
    std::istringstream records(capture.finish().records);
    int producer = 0;
    int line = 0;
    int count = 0;
    while (records >> producer >> line) {
        EXPECT_EQ(line, next.at(static_cast<std::size_t>(producer))++);
        ++count;
    }
    EXPECT_EQ(count, 2000);
}

} // namespace
