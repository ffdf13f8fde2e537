#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/test_event_log.h"
#include "simulator/mobile_device/test_scenarios.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace simulator {

namespace {

using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;

constexpr double never = 1e12;

struct notification {
    _AMRestorableDevice* device;
    std::uint32_t type;
    std::thread::id thread;
};

using notifications = test::event_log<notification>;

void note(_AMRestorableDevice* device, std::uint32_t type, void* context) {
    static_cast<notifications*>(context)->add({device, type, std::this_thread::get_id()});
}

std::int32_t subscribe(notifications& log) {
    return AMRestorableDeviceRegisterForNotifications(note, &log, nullptr);
}

scenario two_devices() {
    scenario result;
    result.devices.push_back(test::device("a", 1));
    result.devices.push_back(test::device("b", 2));
    return result;
}

/// Called back once; waits inside until it is let go.
struct slow_callback {
    std::promise<void> entered;
    std::promise<void> release;

    static void run(_AMRestorableDevice*, std::uint32_t, void* context) {
        auto& self = *static_cast<slow_callback*>(context);
        self.entered.set_value();
        self.release.get_future().wait();
    }
};

} // namespace

TEST(notifications, connect_every_device_if_there_are_no_events) {
    notifications log;
    const test::played simulation(two_devices());
    subscribe(log);
    EXPECT_THAT(log.wait_for(2), ElementsAre(FieldsAre(device_at(0), 0, testing::_),
                                             FieldsAre(device_at(1), 0, testing::_)));
}

TEST(notifications, come_in_the_order_of_their_times) {
    scenario content = two_devices();
    content.events = {{3, 0, 1}, {1, 1, 0}, {0, 0, 0}, {2, std::nullopt, 7}};
    notifications log;
    const test::played simulation(std::move(content));
    subscribe(log);
    EXPECT_THAT(log.wait_for(4), ElementsAre(FieldsAre(device_at(0), 0, testing::_),
                                             FieldsAre(device_at(1), 0, testing::_),
                                             FieldsAre(IsNull(), 7, testing::_),
                                             FieldsAre(device_at(0), 1, testing::_)));
}

TEST(notifications, of_the_same_time_keep_their_order) {
    scenario content = two_devices();
    content.events = {{1, 0, 0}, {1, 0, 1}, {0, 1, 0}, {1, 0, 5}};
    notifications log;
    const test::played simulation(std::move(content));
    subscribe(log);
    EXPECT_THAT(log.wait_for(4), ElementsAre(FieldsAre(device_at(1), 0, testing::_),
                                             FieldsAre(device_at(0), 0, testing::_),
                                             FieldsAre(device_at(0), 1, testing::_),
                                             FieldsAre(device_at(0), 5, testing::_)));
}

TEST(notifications, come_on_one_thread_that_is_not_the_callers) {
    notifications log;
    const test::played simulation(two_devices());
    subscribe(log);
    const auto noted = log.wait_for(2);
    EXPECT_NE(noted[0].thread, std::this_thread::get_id());
    EXPECT_EQ(noted[0].thread, noted[1].thread);
}

TEST(notifications, do_not_come_from_a_scenario_without_events) {
    scenario content = two_devices();
    content.events.emplace();
    notifications log;
    {
        const test::played simulation(std::move(content));
        subscribe(log);
    }
    EXPECT_THAT(log.all(), IsEmpty());
}

TEST(notifications, are_not_started_after_unregistration) {
    scenario content = two_devices();
    content.events = {{0, 0, 0}, {never, 0, 1}};
    notifications log;
    {
        const test::played simulation(std::move(content));
        const std::int32_t registration = subscribe(log);
        log.wait_for(1);
        EXPECT_EQ(AMRestorableDeviceUnregisterForNotifications(registration), 0);
    }
    EXPECT_EQ(log.all().size(), 1U);
}

TEST(notifications, may_be_unregistered_while_one_is_running) {
    slow_callback callback;
    const test::played simulation(two_devices());
    const std::int32_t registration =
        AMRestorableDeviceRegisterForNotifications(slow_callback::run, &callback, nullptr);
    callback.entered.get_future().wait();
    // Returns although the callback is still running. The second device is never reported: a second
    // callback would set the promise again, which ends the process.
    EXPECT_EQ(AMRestorableDeviceUnregisterForNotifications(registration), 0);
    callback.release.set_value();
}

TEST(notifications, reach_every_registration) {
    notifications first_log;
    notifications second_log;
    const test::played simulation(test::with_device());
    const std::int32_t first = subscribe(first_log);
    const std::int32_t second = subscribe(second_log);
    EXPECT_NE(first, second);
    EXPECT_EQ(first_log.wait_for(1)[0].device, device_at(0));
    EXPECT_EQ(second_log.wait_for(1)[0].device, device_at(0));
}

TEST(notifications, cannot_be_unregistered_by_an_unknown_number) {
    const test::played simulation;
    EXPECT_EQ(AMRestorableDeviceUnregisterForNotifications(77), 1);
}

TEST(notifications, give_devices_that_can_outlive_the_simulation) {
    struct keeper {
        std::promise<_AMRestorableDevice*> kept;
        static void keep(_AMRestorableDevice* device, std::uint32_t, void* context) {
            CFRetain(device);
            static_cast<keeper*>(context)->kept.set_value(device);
        }
    } keeper;
    test::handle<_AMRestorableDevice*> device;
    {
        const test::played simulation(
            test::with_device([](device_description& about) { about.ecid = 99; }));
        AMRestorableDeviceRegisterForNotifications(keeper::keep, &keeper, nullptr);
        device.reset(keeper.kept.get_future().get());
    }
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 1);
    EXPECT_EQ(AMRestorableDeviceGetECID(device.get()), 99U);
}

TEST(notifications, can_call_the_platform) {
    struct asker {
        std::promise<std::uint64_t> ecid;
        static void ask(_AMRestorableDevice* device, std::uint32_t, void* context) {
            static_cast<asker*>(context)->ecid.set_value(AMRestorableDeviceGetECID(device));
        }
    } asker;
    const test::played simulation(
        test::with_device([](device_description& about) { about.ecid = 5; }));
    AMRestorableDeviceRegisterForNotifications(asker::ask, &asker, nullptr);
    EXPECT_EQ(asker.ecid.get_future().get(), 5U);
}

TEST(notifications, end_the_process_when_the_callback_throws) {
    const auto throw_out = [](_AMRestorableDevice*, std::uint32_t, void*) {
        throw std::runtime_error("thrown by the callback");
    };
    EXPECT_DEATH(
        {
            const test::played simulation(test::with_device());
            AMRestorableDeviceRegisterForNotifications(throw_out, nullptr, nullptr);
            std::promise<void>().get_future().wait();
        },
        "terminate");
}

TEST(registration, fails_with_the_scenarios_error) {
    scenario content = two_devices();
    content.registration_error = {"domain", -5, "what", "why"};
    notifications log;
    {
        const test::played simulation(std::move(content));
        CFErrorRef error_out = nullptr;
        AMRestorableDeviceRegisterForNotifications(note, &log, &error_out);
        const test::handle<CFErrorRef> error(error_out);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(test::text_of(CFErrorGetDomain(error.get())), "domain");
        EXPECT_EQ(CFErrorGetCode(error.get()), -5);
        const test::handle<CFStringRef> description(CFErrorCopyDescription(error.get()));
        const test::handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
        EXPECT_EQ(test::text_of(description.get()), "what");
        EXPECT_EQ(test::text_of(reason.get()), "why");
    }
    EXPECT_THAT(log.all(), IsEmpty());
}

TEST(registration, fails_without_texts_when_the_scenario_has_none) {
    scenario content;
    content.registration_error = {"domain", 1, std::nullopt, std::nullopt};
    const test::played simulation(std::move(content));
    CFErrorRef error_out = nullptr;
    AMRestorableDeviceRegisterForNotifications(note, nullptr, &error_out);
    const test::handle<CFErrorRef> error(error_out);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorCopyDescription(error.get()), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(error.get()), nullptr);
}

TEST(registration, leaves_no_error_when_it_succeeds) {
    notifications log;
    const test::played simulation;
    CFErrorRef error = nullptr;
    AMRestorableDeviceRegisterForNotifications(note, &log, &error);
    EXPECT_EQ(error, nullptr);
}

TEST(booted_devices, can_be_subscribed_to) {
    _AMDeviceNotification* subscription = nullptr;
    EXPECT_EQ(AMDeviceNotificationSubscribe([](const AMDeviceNotificationInfo*, void*) {}, 0, 1,
                                            nullptr, &subscription),
              0);
    ASSERT_NE(subscription, nullptr);
    EXPECT_EQ(AMDeviceNotificationUnsubscribe(subscription), 0);
}

} // namespace simulator
