#include "device/callback_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

using vandrel::callback_gate;

TEST(callback_gate, an_address_that_was_never_opened_rejects_callbacks) {
    callback_gate gate;
    const int object = 0;
    EXPECT_FALSE(gate.enter(&object));
}

TEST(callback_gate, an_open_address_accepts_callbacks) {
    callback_gate gate;
    const int object = 0;
    gate.open(&object);
    const auto first = gate.enter(&object);
    const auto second = gate.enter(&object);
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
}

TEST(callback_gate, a_closed_address_rejects_callbacks) {
    callback_gate gate;
    const int object = 0;
    gate.open(&object);
    gate.close(&object);
    EXPECT_FALSE(gate.enter(&object));
}

TEST(callback_gate, addresses_are_independent) {
    callback_gate gate;
    const int objects[2] = {};
    gate.open(&objects[0]);
    gate.open(&objects[1]);
    const auto inside = gate.enter(&objects[0]);
    gate.close(&objects[1]);
    EXPECT_TRUE(inside);
    EXPECT_TRUE(gate.enter(&objects[0]));
}

TEST(callback_gate, closing_an_address_that_is_not_open_returns_at_once) {
    callback_gate gate;
    const int object = 0;
    gate.close(&object);
    EXPECT_FALSE(gate.enter(&object));
}

TEST(callback_gate, an_address_can_be_opened_again) {
    callback_gate gate;
    const int object = 0;
    gate.open(&object);
    gate.close(&object);
    gate.open(&object);
    EXPECT_TRUE(gate.enter(&object));
}

TEST(callback_gate, close_waits_for_running_callbacks_and_rejects_later_ones) {
    callback_gate gate;
    int object = 1;
    gate.open(&object);
    std::promise<void> inside;
    std::promise<void> leave;
    std::atomic<bool> closed = false;
    std::thread callback([&] {
        const auto visit = gate.enter(&object);
        inside.set_value();
        leave.get_future().wait();
        EXPECT_TRUE(visit);
        EXPECT_FALSE(closed);
        object = 2;
    });
    inside.get_future().wait();
    std::thread closer([&] {
        gate.close(&object);
        closed = true;
    });
    // Once the closer is at work nobody is let in any more.
    while (gate.enter(&object)) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(closed);
    leave.set_value();
    callback.join();
    closer.join();
    EXPECT_EQ(object, 2);
}

TEST(callback_gate, addresses_can_be_opened_and_closed_by_several_threads) {
    callback_gate gate;
    std::vector<std::thread> owners;
    owners.reserve(2);
    for (int thread = 0; thread < 2; ++thread) {
        owners.emplace_back([&gate] {
            const int object = 0;
            for (int round = 0; round < 1000; ++round) {
                gate.open(&object);
                EXPECT_TRUE(gate.enter(&object));
                gate.close(&object);
                EXPECT_FALSE(gate.enter(&object));
            }
        });
    }
    for (auto& owner : owners) {
        owner.join();
    }
}

TEST(callback_gate, no_callback_uses_a_destroyed_object) {
    constexpr int rounds = 100;
    callback_gate gate;
    std::atomic<bool> stop = false;
    std::atomic<int*> address = nullptr;
    std::vector<std::thread> callbacks;
    callbacks.reserve(2);
    for (int thread = 0; thread < 2; ++thread) {
        callbacks.emplace_back([&] {
            while (!stop) {
                int* const object = address;
                if (const auto visit = gate.enter(object)) {
                    // The address sanitizer would see a read of what is gone.
                    EXPECT_EQ(std::atomic_ref(*object).load(), 7);
                }
                std::this_thread::yield();
            }
        });
    }
    for (int round = 0; round < rounds; ++round) {
        auto object = std::make_unique<int>(7);
        gate.open(object.get());
        address = object.get();
        std::this_thread::yield();
        gate.close(object.get());
    }
    stop = true;
    for (auto& callback : callbacks) {
        callback.join();
    }
}

} // namespace
