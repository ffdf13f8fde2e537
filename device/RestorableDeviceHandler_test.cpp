#include "device/RestorableDeviceHandler.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"
#include "tests/temporary_folder.h"

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

using namespace vandrel;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using vandrel::testing::channel_capture;
using vandrel::testing::count_ending;

constexpr auto connected = notification_type::connected;
constexpr auto disconnected = notification_type::disconnected;

const Orv::ecid some_ecid(std::uint64_t{0xAB});

/// What a notification's diagnostics begin with.
const std::string callback_says =
    "void __cdecl vandrel::device_notifier_state::deviceNotificationCallback("
    "struct _AMRestorableDevice *,enum vandrel::notification_type,void *): ";

cf_handle<_AMRestorableDevice*> make_device(std::uint64_t ecid = 0xAB, std::uint32_t state = 2) {
    simulator::device_description description;
    description.name = "a device";
    description.ecid = ecid;
    description.state = state;
    return cf_handle<_AMRestorableDevice*>(simulator::create_device(std::move(description)));
}

/// A session that lets a test wait for changes of its devices, and empty its scratch location.
class open_session : public device_notifier_state {
public:
    using device_notifier_state::device_notifier_state;
    using device_notifier_state::devices;
    using device_notifier_state::scratchLocation;
};

/// A session of its own channel, called the way MobileDevice calls it.
class session_test : public ::testing::Test {
protected:
    session_test() { session.detectTimeout = 0; }

    /// Whether a notification of this type wakes a thread that waits for a change, long before its
    /// time is over: some hosts end a wait a little too early.
    bool wakes_a_waiter(notification_type type,
                        const cf_handle<_AMRestorableDevice*>& device = make_device(),
                        std::chrono::nanoseconds limit = std::chrono::seconds(20)) {
        std::promise<void> locked;
        auto woken = std::async(std::launch::async, [this, limit, &locked] {
            auto table = session.devices.lock();
            locked.set_value();
            const auto start = std::chrono::steady_clock::now();
            table.wait_for_change(limit);
            return std::chrono::steady_clock::now() - start < limit / 2;
        });
        locked.get_future().wait();
        // The lock is free again when the thread waits; the notification takes it.
        notify(device.get(), type);
        return woken.get();
    }

    void notify(_AMRestorableDevice* device, notification_type type) {
        device_notifier_state::deviceNotificationCallback(device, type, &session);
    }

    device_handle find(const Orv::ecid& ecid = some_ecid) { return session.waitForDevice(ecid); }

    /// The diagnostics of the callback alone, without what all of them begin with.
    std::vector<std::string> callback_diagnostics() {
        std::vector<std::string> result;
        for (const std::string& line : capture.finish().diagnostics) {
            if (line.starts_with(callback_says)) {
                result.push_back(line.substr(callback_says.size()));
            }
        }
        return result;
    }

    channel_capture capture;
    open_session session{capture.channel(), std::nullopt, std::nullopt};
};

class device_notification : public session_test {};
class waiting_for_a_device : public session_test {};

// --- the table

TEST_F(device_notification, a_connected_device_is_found_by_its_ecid) {
    const auto device = make_device();
    notify(device.get(), connected);
    EXPECT_EQ(find().get(), device.get());
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre(fmt::format("Adding '00000000000000AB' ({})", fmt::ptr(device.get()))));
}

TEST_F(device_notification, a_reconnect_keeps_the_newest_device) {
    auto older = make_device();
    const auto newer = make_device();
    notify(older.get(), connected);
    notify(newer.get(), connected);
    EXPECT_EQ(find().get(), newer.get());
    const std::string older_address = fmt::format("{}", fmt::ptr(older.get()));
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre("Adding '00000000000000AB' (" + older_address + ")",
                            "Connected AMRestorableDevice, but '00000000000000AB' already present",
                            fmt::format("Adding '00000000000000AB' ({})", fmt::ptr(newer.get()))));
}

TEST_F(device_notification, a_reconnect_releases_the_older_device_exactly_once) {
    auto older = make_device();
    const auto newer = make_device();
    notify(older.get(), connected);
    notify(newer.get(), connected);
    const auto devices = simulator::live_objects()["AMRestorableDevice"];
    // The last reference is the test's: giving it up makes the device go.
    older.reset();
    EXPECT_EQ(simulator::live_objects()["AMRestorableDevice"], devices - 1);
}

TEST_F(device_notification, a_disconnect_removes_a_present_device_and_says_not_present) {
    const auto device = make_device();
    notify(device.get(), connected);
    notify(device.get(), disconnected);
    EXPECT_EQ(find(), nullptr);
    const auto diagnostics = callback_diagnostics();
    EXPECT_THAT(diagnostics,
                ElementsAre(EndsWith(")"),
                            "Disconnected AMRestorableDevice, but '00000000000000AB' not present",
                            "Removing '00000000000000AB'"));
}

TEST_F(device_notification, a_disconnect_of_an_unknown_device_says_removing_only) {
    const auto present = make_device(0xCD);
    const auto unknown = make_device();
    notify(present.get(), connected);
    notify(unknown.get(), disconnected);
    EXPECT_EQ(find(Orv::ecid(std::uint64_t{0xCD})).get(), present.get());
    EXPECT_THAT(callback_diagnostics(), ElementsAre(EndsWith(")"), "Removing '00000000000000AB'"));
}

TEST_F(device_notification, a_booted_device_never_reaches_the_table) {
    const auto device = make_device(0xAB, 4);
    notify(device.get(), connected);
    EXPECT_EQ(find(), nullptr);
    EXPECT_THAT(callback_diagnostics(), ElementsAre("Ignoring booted device"));
}

TEST_F(device_notification, the_disconnect_of_a_device_that_has_booted_leaves_its_entry) {
    const auto in_recovery = make_device(0xAB, 2);
    const auto booted = make_device(0xAB, 4);
    notify(in_recovery.get(), connected);
    notify(booted.get(), disconnected);
    EXPECT_EQ(find().get(), in_recovery.get());
}

TEST_F(device_notification, devices_in_every_other_state_are_added) {
    for (const std::uint32_t state : {0U, 1U, 2U, 3U, 5U, 77U}) {
        const auto device = make_device(0x100 + state, state);
        notify(device.get(), connected);
        EXPECT_EQ(find(Orv::ecid(std::uint64_t{0x100 + state})).get(), device.get());
    }
}

TEST_F(device_notification, a_device_without_an_ecid_never_reaches_the_table) {
    const auto device = make_device(0);
    notify(device.get(), connected);
    notify(device.get(), disconnected);
    notify(device.get(), notification_type{9});
    EXPECT_EQ(find(Orv::ecid(std::uint64_t{0})), nullptr);
    const std::string ignored = fmt::format(
        "Ignoring AMRestorableDevice with invalid ECID ({} type ", fmt::ptr(device.get()));
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre(ignored + "connected)", ignored + "disconnected)",
                            ignored + "<invalid notification type 9>)"));
}

TEST_F(device_notification, a_null_device_is_only_logged) {
    notify(nullptr, connected);
    EXPECT_THAT(callback_diagnostics(), ElementsAre("called with null device"));
}

TEST_F(device_notification, an_unknown_notification_type_leaves_the_table_and_is_logged_signed) {
    const auto device = make_device();
    notify(device.get(), connected);
    notify(device.get(), notification_type{2});
    notify(device.get(), notification_type{0xFFFFFFFF});
    EXPECT_EQ(find().get(), device.get());
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre(EndsWith(")"), "called with invalid notification type 2",
                            "called with invalid notification type -1"));
}

TEST_F(device_notification, a_null_context_is_a_broken_precondition) {
    const auto device = make_device();
    try {
        device_notifier_state::deviceNotificationCallback(device.get(), connected, nullptr);
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(),
                     "device/RestorableDeviceHandler.cpp:179:  void __cdecl "
                     "vandrel::device_notifier_state::deviceNotificationCallback("
                     "struct _AMRestorableDevice *,enum vandrel::notification_type,void *) "
                     "Assertion context failed.");
    }
}

TEST(session, a_notification_after_its_end_finds_nothing_to_touch) {
    const auto device = make_device();
    channel_capture capture;
    std::optional<device_notifier_state> session(std::in_place, capture.channel(), std::nullopt,
                                                 std::nullopt);
    void* const address = &*session;
    session.reset();
    device_notifier_state::deviceNotificationCallback(nullptr, connected, address);
    device_notifier_state::deviceNotificationCallback(device.get(), connected, address);
    device_notifier_state::restoreCallback(device.get(), nullptr, address);
    EXPECT_THAT(capture.finish().diagnostics, ElementsAre(EndsWith(": initializing")));
}

TEST(session, a_storm_of_notifications_is_ignored_after_destruction) {
    constexpr int rounds = 50;
    channel_capture capture(false);
    const auto device = make_device();
    std::atomic<void*> address = nullptr;
    std::atomic<bool> stop = false;
    std::vector<std::thread> storm;
    storm.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        storm.emplace_back([&, thread] {
            for (auto type = static_cast<std::uint32_t>(thread); !stop; type = (type + 1) % 3) {
                if (void* const context = address) {
                    device_notifier_state::deviceNotificationCallback(
                        device.get(), notification_type{type}, context);
                }
            }
        });
    }
    for (int round = 0; round < rounds; ++round) {
        const auto session =
            std::make_unique<device_notifier_state>(capture.channel(), std::nullopt, std::nullopt);
        address = session.get();
        session->detectTimeout = 1'000'000;
        session->waitForDevice(some_ecid);
    }
    stop = true;
    for (auto& thread : storm) {
        thread.join();
    }
}

// --- waiting

const std::string wait_says = "class std::shared_ptr<struct _AMRestorableDevice> __cdecl "
                              "vandrel::device_notifier_state::waitForDevice("
                              "const class Orv::ecid &): ";

TEST_F(waiting_for_a_device, a_present_device_is_returned_with_one_line_only) {
    const auto device = make_device();
    notify(device.get(), connected);
    session.detectTimeout = 3'000'000'000;
    EXPECT_EQ(find().get(), device.get());
    const auto diagnostics = capture.finish().diagnostics;
    EXPECT_EQ(count_ending(diagnostics, wait_says + "Looking for device '00000000000000AB'"), 1);
    EXPECT_EQ(count_ending(diagnostics, wait_says + "Waiting for device '00000000000000AB'"), 0);
}

TEST_F(waiting_for_a_device, no_timeout_and_no_device_is_empty_after_a_single_test) {
    EXPECT_EQ(find(), nullptr);
    const auto diagnostics = capture.finish().diagnostics;
    EXPECT_EQ(count_ending(diagnostics, wait_says + "Looking for device '00000000000000AB'"), 1);
    EXPECT_EQ(count_ending(diagnostics, wait_says + "Waiting for device '00000000000000AB'"), 1);
}

TEST_F(waiting_for_a_device, a_device_that_appears_meanwhile_ends_the_wait_at_once) {
    const auto device = make_device();
    // A wait to the deadline would outlast the test's own time limit.
    session.detectTimeout = 3'600'000'000'000;
    auto found = std::async(std::launch::async, [this] { return find(); });
    notify(device.get(), connected);
    EXPECT_EQ(found.get().get(), device.get());
}

TEST_F(waiting_for_a_device, other_devices_and_unknown_notifications_only_wake_it) {
    const auto other = make_device(0xCD);
    const auto device = make_device();
    session.detectTimeout = 3'600'000'000'000;
    auto found = std::async(std::launch::async, [this] { return find(); });
    notify(other.get(), connected);
    notify(other.get(), notification_type{2});
    notify(other.get(), disconnected);
    notify(device.get(), connected);
    EXPECT_EQ(found.get().get(), device.get());
}

TEST_F(waiting_for_a_device, each_notification_wakes_it_even_an_unknown_one) {
    EXPECT_TRUE(wakes_a_waiter(connected));
    EXPECT_TRUE(wakes_a_waiter(disconnected));
    EXPECT_TRUE(wakes_a_waiter(notification_type{2}));
    EXPECT_TRUE(wakes_a_waiter(notification_type{0xFFFFFFFF}));
}

TEST_F(waiting_for_a_device, an_ignored_notification_does_not_wake_it) {
    const auto patience = std::chrono::milliseconds(200);
    EXPECT_FALSE(wakes_a_waiter(connected, make_device(0xAB, 4), patience));
    EXPECT_FALSE(wakes_a_waiter(connected, make_device(0), patience));
    session.devices.lock().begin_teardown();
    EXPECT_FALSE(wakes_a_waiter(connected, make_device(), patience));
}

TEST_F(waiting_for_a_device, a_device_that_came_and_went_before_is_not_found) {
    const auto device = make_device();
    notify(device.get(), connected);
    notify(device.get(), disconnected);
    EXPECT_EQ(find(), nullptr);
}

TEST_F(waiting_for_a_device, the_largest_timeout_does_not_overflow_the_deadline) {
    const auto device = make_device();
    session.detectTimeout = std::numeric_limits<std::int64_t>::max();
    auto found = std::async(std::launch::async, [this] { return find(); });
    // An overflow would have ended the wait before the device came.
    EXPECT_EQ(found.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    notify(device.get(), connected);
    EXPECT_EQ(found.get().get(), device.get());
}

TEST_F(waiting_for_a_device, a_negative_timeout_is_none) {
    session.detectTimeout = -1;
    EXPECT_EQ(find(), nullptr);
}

TEST_F(waiting_for_a_device, a_found_device_outlives_its_disconnect) {
    auto device = make_device();
    notify(device.get(), connected);
    const device_handle found = find();
    notify(device.get(), disconnected);
    device.reset();
    EXPECT_EQ(AMRestorableDeviceGetECID(found.get()), 0xABU);
}

// --- life

TEST(session, it_begins_with_the_documented_settings) {
    channel_capture capture;
    const device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
    EXPECT_EQ(session.operation, device_operation::list_devices);
    EXPECT_EQ(session.operationName, "");
    EXPECT_EQ(session.detectTimeout, 3'000'000'000);
    EXPECT_EQ(session.restoreTimeout, 7'200'000'000'000);
    EXPECT_FALSE(session.targetEcid);
    EXPECT_FALSE(session.restoreOptions);
}

TEST(session, it_says_that_it_is_initializing) {
    channel_capture capture;
    { const device_notifier_state session(capture.channel(), std::nullopt, std::nullopt); }
    EXPECT_THAT(capture.finish().diagnostics,
                ElementsAre("__cdecl vandrel::device_notifier_state::device_notifier_state("
                            "class std::shared_ptr<class vandrel::output_str_state>,"
                            "const class std::optional<class boost::filesystem::path> &,"
                            "const class std::optional<class boost::filesystem::path> &): "
                            "initializing"));
}

TEST(session, a_session_without_a_channel_is_a_broken_precondition) {
    try {
        const device_notifier_state session(nullptr, std::nullopt, std::nullopt);
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& failure) {
        EXPECT_THAT(failure.what(),
                    EndsWith("(class std::shared_ptr<class vandrel::output_str_state>,"
                             "const class std::optional<class boost::filesystem::path> &,"
                             "const class std::optional<class boost::filesystem::path> &) "
                             "Assertion this->outputter failed."));
        EXPECT_THAT(failure.what(),
                    ::testing::StartsWith("device/RestorableDeviceHandler.cpp:138:  __cdecl "));
    }
}

/// The personalised bundle's path that a restore of the session would use: it begins with the
/// scratch directory.
std::string personalized_bundle_path(device_notifier_state& session) {
    session.set_restore_bundle("x.ipsw", false);
    const auto path = static_cast<CFStringRef>(
        CFDictionaryGetValue(session.restoreOptions.get(), CFSTR("PersonalizedRestoreBundlePath")));
    return cfstring_to_string(path);
}

TEST(session, its_scratch_directory_has_a_fresh_name_under_the_temporary_directory) {
    channel_capture capture;
    device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
    const boost::filesystem::path scratch =
        boost::filesystem::path(personalized_bundle_path(session)).parent_path().parent_path();
    EXPECT_EQ(scratch.parent_path(),
              boost::filesystem::temp_directory_path().remove_trailing_separator());
    const std::string name = scratch.filename().string();
    ASSERT_EQ(name.size(), 14U);
    EXPECT_EQ(name.substr(0, 8), "vandrel.");
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef", 8), std::string::npos);
    EXPECT_FALSE(boost::filesystem::exists(scratch));
}

TEST(session, an_empty_scratch_override_is_none) {
    channel_capture capture;
    device_notifier_state session(capture.channel(), std::nullopt, boost::filesystem::path());
    const boost::filesystem::path scratch =
        boost::filesystem::path(personalized_bundle_path(session)).parent_path().parent_path();
    EXPECT_EQ(scratch.parent_path(),
              boost::filesystem::temp_directory_path().remove_trailing_separator());
    EXPECT_THAT(scratch.filename().string(), ::testing::StartsWith("vandrel."));
}

TEST(session, its_end_removes_the_scratch_directory_with_all_in_it) {
    const auto scratch = boost::filesystem::temp_directory_path() /
                         boost::filesystem::unique_path("session-test-%%%%%%%%");
    channel_capture capture;
    {
        const device_notifier_state session(capture.channel(), std::nullopt, scratch);
        boost::filesystem::create_directories(scratch / "PRB" / "1");
    }
    EXPECT_FALSE(boost::filesystem::exists(scratch));
    EXPECT_EQ(capture.finish().diagnostics.size(), 1U);
}

TEST(session, its_end_without_a_scratch_location_ends_the_process) {
    const auto end_without_location = [] {
        open_session session(std::make_shared<output_str_state>(std::nullopt), std::nullopt,
                             std::nullopt);
        session.scratchLocation.clear();
    };
    EXPECT_DEATH(end_without_location(), "device_notifier_state::~device_notifier_state\\(void\\) "
                                         "Assertion !scratchLocation.empty\\(\\) failed");
}

TEST(session, a_scratch_directory_that_cannot_be_removed_is_only_logged) {
    // Windows does not remove a folder with an open file in it; elsewhere no file system has a name
    // of that length.
    const vandrel::testing::temporary_folder folder;
    const boost::filesystem::ofstream open_file(folder.path() / "open");
    const bool is_windows = boost::filesystem::path::preferred_separator == '\\';
    const boost::filesystem::path scratch =
        is_windows ? folder.path() : folder.path() / std::string(5000, 'x');
    channel_capture capture;
    { const device_notifier_state session(capture.channel(), std::nullopt, scratch); }
    const std::string begin = "__cdecl vandrel::device_notifier_state::~device_notifier_state(void)"
                              ": Failed to clean scratch location (";
    EXPECT_THAT(capture.finish().diagnostics,
                ElementsAre(EndsWith(": initializing"),
                            ::testing::AllOf(::testing::StartsWith(begin), EndsWith(")"))));
}

} // namespace
