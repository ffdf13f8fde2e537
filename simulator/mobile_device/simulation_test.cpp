#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/simulation.h"
#include "simulator/mobile_device/test_event_log.h"
#include "simulator/mobile_device/test_scenarios.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace simulator {

namespace {

using ::testing::ElementsAre;

/// The ECID of each device that a callback receives.
using ecids = test::event_log<std::uint64_t>;

void note(_AMRestorableDevice* device, std::uint32_t, void* context) {
    static_cast<ecids*>(context)->add(AMRestorableDeviceGetECID(device));
}

} // namespace

TEST(simulation, is_empty_until_one_is_started) {
    EXPECT_THROW(device_at(0), std::out_of_range);
    const test::handle<CFMutableDictionaryRef> options(
        AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    EXPECT_NE(options, nullptr);
}

TEST(simulation, can_be_replaced_by_another) {
    ecids log;
    const test::played first(
        test::with_device([](device_description& device) { device.ecid = 1; }));
    AMRestorableDeviceRegisterForNotifications(note, &log, nullptr);
    EXPECT_THAT(log.wait_for(1), ElementsAre(1));
    start(test::with_device([](device_description& device) { device.ecid = 2; }), {});
    EXPECT_EQ(AMRestorableDeviceGetECID(device_at(0)), 2U);
    AMRestorableDeviceRegisterForNotifications(note, &log, nullptr);
    EXPECT_THAT(log.wait_for(2), ElementsAre(1, 2));
}

TEST(simulation, is_empty_again_after_stop) {
    start(test::with_device());
    stop();
    EXPECT_THROW(device_at(0), std::out_of_range);
}

TEST(simulation, can_be_stopped_before_it_was_started) {
    stop();
    stop();
}

TEST(simulation, is_stopped_only_when_no_callback_is_running) {
    struct callback {
        std::promise<void> entered;
        std::promise<void> release;
        bool ended = false;
        static void run(_AMRestorableDevice* device, std::uint32_t, void* context) {
            auto& self = *static_cast<callback*>(context);
            self.entered.set_value();
            self.release.get_future().wait();
            // What a callback asks is answered until it returns.
            self.ended = AMRestorableDeviceGetECID(device) == 1;
        }
    } callback;
    start(test::with_device());
    AMRestorableDeviceRegisterForNotifications(callback::run, &callback, nullptr);
    callback.entered.get_future().wait();
    std::thread releaser([&] { callback.release.set_value(); });
    stop();
    EXPECT_TRUE(callback.ended);
    releaser.join();
}

TEST(simulation, starts_nothing_for_a_callback_during_stop) {
    struct callback {
        std::promise<void> entered;
        std::promise<void> release;
        ecids log;
        static void run(_AMRestorableDevice*, std::uint32_t, void* context) {
            auto& self = *static_cast<callback*>(context);
            self.entered.set_value();
            self.release.get_future().wait();
            AMRestorableDeviceRegisterForNotifications(note, &self.log, nullptr);
        }
    } callback;
    start(test::with_device());
    AMRestorableDeviceRegisterForNotifications(callback::run, &callback, nullptr);
    callback.entered.get_future().wait();
    std::thread releaser([&] { callback.release.set_value(); });
    // Whether the new registration is too late or just in time: nothing comes after stop, and
    // nothing is left behind.
    stop();
    const std::size_t received = callback.log.all().size();
    EXPECT_LE(received, 1U);
    releaser.join();
}

TEST(simulation, counts_its_devices_until_it_is_stopped) {
    start(test::with_device());
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 1);
    stop();
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 0);
}

TEST(simulation, is_empty_when_its_journal_cannot_be_written) {
    EXPECT_THROW(start(test::with_device(), {"no-such-folder/journal.plist", 1}),
                 std::runtime_error);
    EXPECT_THROW(device_at(0), std::out_of_range);
}

} // namespace simulator
