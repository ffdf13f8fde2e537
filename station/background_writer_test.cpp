#include "station/background_writer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <vector>

namespace vandrel::station {

namespace {

constexpr auto long_enough = std::chrono::seconds(60);

/// A task that stops the thread until the test lets it go on.
class stopped_thread {
public:
    explicit stopped_thread(background_writer& writer, std::size_t bytes = 0) {
        EXPECT_TRUE(writer.post(bytes, [begun = begun_, go_on = go_on_.get_future().share()] {
            begun->set_value();
            go_on.wait();
        }));
        begun_->get_future().wait();
    }
    void go_on() { go_on_.set_value(); }

private:
    std::shared_ptr<std::promise<void>> begun_ = std::make_shared<std::promise<void>>();
    std::promise<void> go_on_;
};

TEST(background_writer, does_tasks_in_their_order) {
    background_writer writer(1000);
    std::vector<int> done;
    for (int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(writer.post(1, [&done, i] { done.push_back(i); }));
    }
    EXPECT_TRUE(writer.drain(long_enough));
    EXPECT_THAT(done, ::testing::ElementsAre(1, 2, 3));
}

TEST(background_writer, a_stopped_task_keeps_nobody_waiting) {
    auto writer = std::make_unique<background_writer>(1000);
    stopped_thread stopped(*writer);
    bool was_done = false;
    EXPECT_TRUE(writer->post(1, [&was_done] { was_done = true; }));
    EXPECT_FALSE(writer->drain(std::chrono::milliseconds(1)));
    writer.reset();
    stopped.go_on();
    EXPECT_FALSE(was_done);
}

TEST(background_writer, drain_waits_for_the_task_that_runs) {
    background_writer writer(1000);
    stopped_thread stopped(writer);
    EXPECT_FALSE(writer.drain(std::chrono::milliseconds(1)));
    stopped.go_on();
    EXPECT_TRUE(writer.drain(long_enough));
}

TEST(background_writer, a_full_queue_takes_no_more_until_there_is_room) {
    background_writer writer(1000);
    stopped_thread stopped(writer);
    EXPECT_TRUE(writer.post(1001, [] {}));
    EXPECT_FALSE(writer.post(1, [] {}));
    stopped.go_on();
    EXPECT_TRUE(writer.drain(long_enough));
    EXPECT_TRUE(writer.post(1, [] {}));
}

TEST(background_writer, tasks_without_bytes_fill_a_queue_too) {
    background_writer writer(1000);
    stopped_thread stopped(writer);
    int taken = 0;
    while (taken < 100 && writer.post(0, [] {})) {
        ++taken;
    }
    EXPECT_LT(taken, 100);
    stopped.go_on();
}

TEST(background_writer, is_behind_until_it_is_clear_that_its_thread_has_stopped) {
    background_writer writer(1000);
    stopped_thread stopped(writer);
    EXPECT_FALSE(writer.is_behind());
    EXPECT_TRUE(writer.post(600, [] {}));
    // Whether it is behind now depends on how long this took; after a while it is not.
    const auto until = std::chrono::steady_clock::now() + long_enough;
    while (writer.is_behind() && std::chrono::steady_clock::now() < until) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(writer.is_behind());
    stopped.go_on();
}

TEST(background_writer, nobody_waits_long_for_a_thread_that_gets_on_slowly) {
    constexpr int tasks = 100;
    background_writer writer(tasks * std::size_t{1300});
    const auto turns = std::make_shared<std::counting_semaphore<>>(0);
    const auto fill = [&writer, &turns] {
        for (int i = 0; i < tasks; ++i) {
            writer.post(1000, [turns] { turns->acquire(); });
        }
    };
    fill();
    // It gets on all the time, and its queue stays more than half full.
    for (int i = 0; i < tasks * 2 / 5 && writer.is_behind(); ++i) {
        turns->release();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_FALSE(writer.is_behind());

    turns->release(tasks);
    EXPECT_TRUE(writer.drain(long_enough));
    // Once the queue has been empty, it is waited for again.
    fill();
    EXPECT_TRUE(writer.is_behind());
    turns->release(tasks);
}

TEST(background_writer, a_task_that_throws_does_not_keep_the_next_from_being_done) {
    background_writer writer(1000);
    bool was_done = false;
    writer.post(0, [] { throw std::runtime_error("no memory"); });
    writer.post(0, [&was_done] { was_done = true; });
    EXPECT_TRUE(writer.drain(long_enough));
    EXPECT_TRUE(was_done);
}

} // namespace

} // namespace vandrel::station
