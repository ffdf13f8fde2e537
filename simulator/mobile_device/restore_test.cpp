#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/test_event_log.h"
#include "simulator/mobile_device/test_scenarios.h"
#include "simulator/mobile_device/test_temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <stdexcept>
#include <thread>

namespace simulator {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct received_report {
    _AMRestorableDevice* device;
    /// 0 for a null report.
    std::int64_t operation;
    std::thread::id thread;
};

using reports = test::event_log<received_report>;

void note(_AMRestorableDevice* device, CFDictionaryRef status, void* context) {
    std::int64_t operation = 0;
    if (status != nullptr) {
        CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(status, CFSTR("Operation"))),
                         kCFNumberSInt64Type, &operation);
    }
    static_cast<reports*>(context)->add({device, operation, std::this_thread::get_id()});
}

std::vector<std::int64_t> operations(const std::vector<received_report>& entries) {
    std::vector<std::int64_t> result;
    result.reserve(entries.size());
    for (const received_report& entry : entries) {
        result.push_back(entry.operation);
    }
    return result;
}

std::int32_t restore(_AMRestorableDevice* device, reports& log) {
    return AMRestorableDeviceRestore(device, test::make_dictionary().get(), note, &log);
}

scenario with_reports(std::int32_t result = 0) {
    return test::with_device([&](device_description& device) {
        device.restore.result = result;
        device.restore.reports.push_back(test::report(2, 201));
        device.restore.reports.push_back(test::report(0, 9));
        device.restore.reports.push_back({1, nullptr});
    });
}

} // namespace

TEST(restore, reports_in_order) {
    reports log;
    const test::played simulation(with_reports());
    EXPECT_EQ(restore(device_at(0), log), 0);
    EXPECT_THAT(operations(log.wait_for(3)), ElementsAre(201, 9, 0));
}

TEST(restore, reports_its_own_device_on_a_thread_that_is_not_the_callers) {
    reports log;
    const test::played simulation(with_reports());
    restore(device_at(0), log);
    const auto entries = log.wait_for(3);
    EXPECT_EQ(entries[0].device, device_at(0));
    EXPECT_NE(entries[0].thread, std::this_thread::get_id());
    EXPECT_EQ(entries[0].thread, entries[2].thread);
}

TEST(restore, sends_its_reports_whatever_it_returns) {
    reports log;
    const test::played simulation(with_reports(-3));
    EXPECT_EQ(restore(device_at(0), log), -3);
    EXPECT_EQ(log.wait_for(3).size(), 3U);
}

TEST(restore, without_reports_sends_none) {
    reports log;
    {
        const test::played simulation(test::with_device());
        EXPECT_EQ(restore(device_at(0), log), 0);
    }
    EXPECT_THAT(log.all(), IsEmpty());
}

TEST(restore, goes_on_after_unregistration) {
    reports log;
    const test::played simulation(with_reports());
    const std::int32_t registration = AMRestorableDeviceRegisterForNotifications(
        [](_AMRestorableDevice*, std::uint32_t, void*) {}, nullptr, nullptr);
    restore(device_at(0), log);
    AMRestorableDeviceUnregisterForNotifications(registration);
    EXPECT_EQ(log.wait_for(3).size(), 3U);
}

TEST(restore, can_be_started_again) {
    reports first;
    reports second;
    const test::played simulation(with_reports());
    restore(device_at(0), first);
    restore(device_at(0), second);
    EXPECT_EQ(first.wait_for(3).size(), 3U);
    EXPECT_EQ(second.wait_for(3).size(), 3U);
}

TEST(restore, ends_with_the_simulation) {
    reports log;
    {
        scenario content = with_reports();
        content.devices[0].restore.reports.push_back(test::report(1e12, 1));
        const test::played simulation(std::move(content));
        restore(device_at(0), log);
        log.wait_for(3);
    }
    EXPECT_EQ(log.all().size(), 3U);
}

TEST(restore, keeps_its_device_for_as_long_as_it_reports) {
    reports log;
    {
        const test::played simulation;
        auto description = std::move(with_reports().devices[0]);
        const test::handle<_AMRestorableDevice*> device(create_device(std::move(description)));
        restore(device.get(), log);
        // The caller's reference goes first, perhaps before the first report.
    }
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 0);
}

TEST(restore, needs_options_and_a_callback) {
    reports log;
    const test::played simulation(with_reports());
    EXPECT_EQ(AMRestorableDeviceRestore(device_at(0), nullptr, note, &log), 1);
    EXPECT_EQ(AMRestorableDeviceRestore(device_at(0), test::make_dictionary().get(), nullptr, &log),
              1);
}

TEST(restore, creates_a_file_in_the_folder_of_the_personalized_bundle) {
    const test::temporary_folder folder;
    reports log;
    const test::played simulation(test::with_device());
    const auto path = test::make_string(folder / "PRB/1");
    const auto options =
        test::make_dictionary({{CFSTR("PersonalizedRestoreBundlePath"), path.get()}});
    AMRestorableDeviceRestore(device_at(0), options.get(), note, &log);
    EXPECT_EQ(test::content_of(folder / "PRB/1/PersonalizedBundle.txt"),
              "Simulated personalized restore bundle\n");
}

TEST(restore, ends_the_process_when_the_callback_throws) {
    const auto throw_out = [](_AMRestorableDevice*, CFDictionaryRef, void*) {
        throw std::runtime_error("thrown by the callback");
    };
    EXPECT_DEATH(
        {
            const test::played simulation(with_reports());
            AMRestorableDeviceRestore(device_at(0), test::make_dictionary().get(), throw_out,
                                      nullptr);
            std::promise<void>().get_future().wait();
        },
        "terminate");
}

TEST(default_restore_options, are_a_new_dictionary_each_time) {
    const test::played simulation;
    const test::handle<CFMutableDictionaryRef> first(
        AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    CFDictionarySetValue(first.get(), CFSTR("Own"), kCFBooleanTrue);
    const test::handle<CFMutableDictionaryRef> second(
        AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    EXPECT_EQ(CFDictionaryGetValue(second.get(), CFSTR("Own")), nullptr);
    EXPECT_NE(CFDictionaryGetValue(second.get(), CFSTR("CreateFilesystemPartitions")), nullptr);
}

TEST(default_restore_options, are_those_of_the_scenario) {
    scenario content;
    const auto options = test::make_dictionary({{CFSTR("Own"), kCFBooleanTrue}});
    content.default_restore_options = cf_retained<CFDictionaryRef>(options.get());
    const test::played simulation(std::move(content));
    const test::handle<CFMutableDictionaryRef> given(
        AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    EXPECT_TRUE(CFEqual(given.get(), options.get()));
}

TEST(default_restore_options, are_null_when_the_scenario_has_none) {
    scenario content;
    content.default_restore_options = nullptr;
    const test::played simulation(std::move(content));
    EXPECT_EQ(AMRestoreCreateDefaultOptions(kCFAllocatorDefault), nullptr);
}

TEST(default_restore_options, can_fail) {
    const test::played simulation;
    fail_creation(1);
    EXPECT_EQ(AMRestoreCreateDefaultOptions(kCFAllocatorDefault), nullptr);
}

TEST(file_logging, appends_a_line_to_the_file) {
    const test::temporary_folder folder;
    const std::string file = folder / "restore.log";
    test::write_file(file, "before\n");
    const test::played simulation;
    EXPECT_EQ(AMRestoreEnableFileLogging(file.c_str()), 0);
    EXPECT_EQ(test::content_of(file), "before\nSimulated restore log\n");
}

TEST(file_logging, creates_the_file) {
    const test::temporary_folder folder;
    const std::string file = folder / "restore.log";
    const test::played simulation;
    EXPECT_EQ(AMRestoreEnableFileLogging(file.c_str()), 0);
    EXPECT_EQ(test::content_of(file), "Simulated restore log\n");
}

TEST(file_logging, fails_with_the_scenarios_result_and_leaves_the_file_alone) {
    const test::temporary_folder folder;
    const std::string file = folder / "restore.log";
    scenario content;
    content.enable_file_logging_result = 16;
    const test::played simulation(std::move(content));
    EXPECT_EQ(AMRestoreEnableFileLogging(file.c_str()), 16);
    EXPECT_FALSE(std::filesystem::exists(utf8_path(file)));
}

TEST(file_logging, fails_when_the_file_cannot_be_opened) {
    const test::played simulation;
    EXPECT_EQ(AMRestoreEnableFileLogging("no-such-folder/restore.log"), 12);
}

TEST(file_logging, needs_a_path) {
    const test::played simulation;
    EXPECT_EQ(AMRestoreEnableFileLogging(nullptr), 1);
}

} // namespace simulator
