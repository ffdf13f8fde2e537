/// Notifications from many threads at once, against sessions that wait, list and go.

#include "device/RestorableDeviceHandler.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"
#include "tests/plist_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace vandrel;
using namespace vandrel::testing;

constexpr std::size_t thread_count = 8;
constexpr std::size_t devices_per_thread = 4;
constexpr int notifications_per_thread = 20'000 / VANDREL_STRESS_DIVISOR;

using simulated_device = cf_handle<_AMRestorableDevice*>;

simulated_device make_device(std::uint64_t ecid) {
    simulator::device_description description;
    description.name = "a device";
    description.ecid = ecid;
    description.state = 2;
    return simulated_device(simulator::create_device(std::move(description)));
}

/// No two devices of a storm share an ECID.
std::uint64_t ecid_of(std::size_t thread, std::size_t position) {
    return 0xAB00 + thread * devices_per_thread + position;
}

/// Eight threads that call a session's callback as fast as they can, each with devices of its own,
/// and with what a session must not mind: no device, and notifications of unknown kinds.
class storm {
public:
    explicit storm(void* session) {
        for (std::size_t thread = 0; thread < thread_count; ++thread) {
            for (std::size_t position = 0; position < devices_per_thread; ++position) {
                devices_[thread][position] = make_device(ecid_of(thread, position));
            }
        }
        for (std::size_t thread = 0; thread < thread_count; ++thread) {
            threads_.emplace_back([this, thread, session] { rage(thread, session); });
        }
    }
    ~storm() { wait(); }
    storm(const storm&) = delete;
    storm& operator=(const storm&) = delete;

    void wait() {
        for (std::thread& thread : threads_) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }

    int notifications() const { return notifications_; }
    _AMRestorableDevice* device_at(std::size_t thread, std::size_t position) const {
        return devices_[thread][position].get();
    }

private:
    void rage(std::size_t thread, void* session) {
        const auto notify = [this, session](_AMRestorableDevice* device, std::uint32_t type) {
            device_notifier_state::deviceNotificationCallback(device, notification_type{type},
                                                              session);
            ++notifications_;
        };
        std::mt19937 random(static_cast<unsigned>(thread));
        for (int i = 0; i < notifications_per_thread; ++i) {
            const auto choice = static_cast<std::uint32_t>(random());
            if (choice % 16 == 0) {
                notify(nullptr, choice / 16 % 3);
            } else {
                // Connected, disconnected, and now and then an unknown kind.
                const std::uint32_t type = choice / 16 % 8 == 0 ? 7 : choice / 128 % 2;
                notify(devices_[thread][choice / 256 % devices_per_thread].get(), type);
            }
        }
        // At the end the first device of each thread is there, and the others are not.
        for (std::size_t position = 0; position < devices_per_thread; ++position) {
            notify(devices_[thread][position].get(), position == 0 ? 0 : 1);
        }
    }

    std::array<std::array<simulated_device, devices_per_thread>, thread_count> devices_;
    std::vector<std::thread> threads_;
    std::atomic<int> notifications_ = 0;
};

/// The value of the one record that stands there.
plist_value value_of(const std::string& records) {
    const auto documents = split_documents(records, "\n");
    EXPECT_EQ(documents.size(), 1U);
    return from_xml(documents.at(0)).at("Value");
}

TEST(notification_storm, leaves_the_devices_that_came_last) {
    channel_capture capture(false);
    device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
    session.detectTimeout = 0;
    storm notifications(&session);
    notifications.wait();
    for (std::size_t thread = 0; thread < thread_count; ++thread) {
        for (std::size_t position = 0; position < devices_per_thread; ++position) {
            EXPECT_EQ(session.waitForDevice(Orv::ecid(ecid_of(thread, position))).get(),
                      position == 0 ? notifications.device_at(thread, position) : nullptr);
        }
    }
}

TEST(notification_storm, ends_the_wait_for_a_device_that_comes_in_it) {
    channel_capture capture(false);
    device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
    session.detectTimeout = 1'000'000'000'000;
    const storm notifications(&session);
    for (std::size_t thread = 0; thread < thread_count; ++thread) {
        EXPECT_EQ(session.waitForDevice(Orv::ecid(ecid_of(thread, 0))).get(),
                  notifications.device_at(thread, 0));
    }
}

TEST(notification_storm, is_listed_at_one_moment_in_order) {
    channel_capture capture(false);
    device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
    session.detectTimeout = 20'000'000;
    {
        const storm notifications(&session);
        session.waitForCompletion();
    }
    const auto listed = std::get<array>(value_of(capture.finish().records).value);
    EXPECT_TRUE(std::ranges::is_sorted(
        listed, {}, [](const plist_value& ecid) { return std::get<std::string>(ecid.value); }));
    EXPECT_LE(listed.size(), thread_count * devices_per_thread);
}

TEST(notification_storm, is_ignored_after_destruction_of_the_session) {
    std::mt19937 random(4711);
    for (int round = 0; round < 10; ++round) {
        channel_capture capture(false);
        auto session =
            std::make_unique<device_notifier_state>(capture.channel(), std::nullopt, std::nullopt);
        storm notifications(session.get());
        const int moment = static_cast<int>(
            random() % (thread_count * static_cast<unsigned>(notifications_per_thread)));
        while (notifications.notifications() < moment) {
            std::this_thread::yield();
        }
        session.reset();
        capture.channel()->set_debug(true);
        capture.channel()->push_debug("the session is gone");
        notifications.wait();
        EXPECT_EQ(capture.finish().diagnostics.back(), "the session is gone");
    }
}

} // namespace
