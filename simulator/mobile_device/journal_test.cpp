#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/journal.h"
#include "simulator/mobile_device/test_scenarios.h"
#include "simulator/mobile_device/test_temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

namespace simulator {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using plist_handle = test::handle<CFDictionaryRef>;

/// A journal's file.
class journal_file {
public:
    const std::string& path() const { return path_; }
    std::string content() const { return test::content_of(path_); }

    /// The entries, each read as a property list of its own.
    std::vector<plist_handle> entries() const {
        constexpr std::string_view end = "</plist>\n";
        std::vector<plist_handle> result;
        std::string rest = content();
        while (!rest.empty()) {
            const std::size_t length = rest.find(end) + end.size();
            const auto data = test::make_data(rest.substr(0, length));
            result.emplace_back(static_cast<CFDictionaryRef>(CFPropertyListCreateWithData(
                kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr)));
            rest.erase(0, length);
        }
        return result;
    }

    /// Each entry on a line: the call, the device in brackets, the arguments.
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const auto& entry : entries()) {
            std::string line = text(entry, CFSTR("Call"));
            if (CFDictionaryGetValue(entry.get(), CFSTR("Device")) != nullptr) {
                line += " [" + text(entry, CFSTR("Device")) + "]";
            }
            result.push_back(line + " " + text(entry, CFSTR("Arguments")));
        }
        return result;
    }

private:
    static std::string text(const plist_handle& entry, CFStringRef key) {
        return test::content_of(CFDictionaryGetValue(entry.get(), key));
    }

    const test::temporary_folder folder_;
    const std::string path_ = folder_ / "journal.plist";
};

} // namespace

TEST(journal, is_empty_before_the_first_call) {
    const journal_file file;
    const journal written(file.path());
    EXPECT_TRUE(std::filesystem::exists(utf8_path(file.path())));
    EXPECT_EQ(file.content(), "");
}

TEST(journal, replaces_what_the_file_held) {
    const journal_file file;
    test::write_file(file.path(), "old");
    const journal written(file.path());
    EXPECT_EQ(file.content(), "");
}

TEST(journal, writes_each_call_as_a_property_list) {
    const journal_file file;
    journal written(file.path());
    const std::string device = "iPhone";
    written.record("Call1", &device, {{"Flag", true}, {"Number", std::int64_t{-3}}});
    std::string content = file.content();
    const std::size_t time = content.find("<real>");
    ASSERT_NE(time, std::string::npos);
    content.replace(time, content.find("</real>") - time, "<real>#");
    EXPECT_EQ(content, R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Arguments</key>
	<dict>
		<key>Flag</key>
		<true/>
		<key>Number</key>
		<integer>-3</integer>
	</dict>
	<key>Call</key>
	<string>Call1</string>
	<key>Device</key>
	<string>iPhone</string>
	<key>Time</key>
	<real>#</real>
</dict>
</plist>
)");
}

TEST(journal, leaves_out_the_device_of_a_call_without_one) {
    const journal_file file;
    journal written(file.path());
    written.record("Call1", nullptr, {});
    EXPECT_THAT(file.lines(), ElementsAre("Call1 {}"));
}

TEST(journal, keeps_the_order_of_the_calls) {
    const journal_file file;
    journal written(file.path());
    written.record("First", nullptr, {});
    written.record("Second", nullptr, {{"Text", std::string("x")}});
    written.record("Third", nullptr, {});
    EXPECT_THAT(file.lines(), ElementsAre("First {}", "Second {Text = x}", "Third {}"));
}

TEST(journal, has_times_that_never_go_back) {
    const journal_file file;
    journal written(file.path());
    for (int i = 0; i < 10; ++i) {
        written.record("Call", nullptr, {});
    }
    double last = 0;
    for (const auto& entry : file.entries()) {
        double time = -1;
        CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(entry.get(), CFSTR("Time"))),
                         kCFNumberFloat64Type, &time);
        EXPECT_GE(time, last);
        last = time;
    }
}

TEST(journal, leaves_out_an_argument_that_is_null) {
    const journal_file file;
    journal written(file.path());
    written.record("Call1", nullptr, {{"Options", static_cast<CFTypeRef>(nullptr)}});
    EXPECT_THAT(file.lines(), ElementsAre("Call1 {}"));
}

TEST(journal, leaves_out_a_text_that_is_not_utf8) {
    const journal_file file;
    journal written(file.path());
    written.record("Call1", nullptr, {{"Path", std::string("\xFF")}});
    EXPECT_THAT(file.lines(), ElementsAre("Call1 {}"));
}

TEST(journal, describes_an_argument_that_no_property_list_can_hold) {
    const journal_file file;
    journal written(file.path());
    const auto options = test::make_dictionary({{CFSTR("Key"), kCFNull}});
    written.record("Call1", nullptr, {{"Options", static_cast<CFTypeRef>(options.get())}});
    const std::string text = test::description_of(options.get());
    EXPECT_THAT(file.lines(), ElementsAre("Call1 {Options = " + text + "}"));
}

TEST(journal, has_whole_entries_of_calls_from_several_threads) {
    const journal_file file;
    journal written(file.path());
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&written] {
            for (int call = 0; call < 25; ++call) {
                written.record("Call", nullptr, {});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(file.lines(), ::testing::AllOf(::testing::SizeIs(100), ::testing::Each("Call {}")));
}

TEST(journal, neither_counts_its_objects_nor_lets_them_fail) {
    const journal_file file;
    journal written(file.path());
    const std::int64_t before = creation_count();
    fail_creation(1);
    written.record("Call1", nullptr, {{"Text", std::string("x")}});
    fail_creation(0);
    EXPECT_EQ(creation_count(), before);
    EXPECT_THAT(file.lines(), ElementsAre("Call1 {Text = x}"));
}

TEST(journal, needs_a_file_that_can_be_written) {
    try {
        const journal without_a_file("no-such-folder/journal.plist");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "no-such-folder/journal.plist: cannot write the journal (No "
                                     "such file or directory)");
    }
}

TEST(journal, of_a_simulation_records_every_call) {
    const journal_file file;
    {
        const test::played simulation(
            test::with_device([](device_description& device) { device.name = "iPhone"; }),
            file.path());
        _AMRestorableDevice* const device = device_at(0);
        _AMDeviceNotification* subscription = nullptr;
        AMDeviceNotificationSubscribe([](const AMDeviceNotificationInfo*, void*) {}, 0, 1, nullptr,
                                      &subscription);
        AMDeviceNotificationUnsubscribe(subscription);
        AMRestoreEnableFileLogging("no-such-folder/log");
        const test::handle<CFMutableDictionaryRef> options(
            AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
        const std::int32_t registration = AMRestorableDeviceRegisterForNotifications(
            [](_AMRestorableDevice*, std::uint32_t, void*) {}, nullptr, nullptr);
        AMRestorableDeviceGetState(device);
        AMRestorableDeviceGetECID(device);
        AMRestorableDeviceGetProductID(device);
        AMRestorableDeviceGetBoardID(device);
        AMRestorableDeviceGetChipID(device);
        AMRestorableDeviceGetProductType(device);
        AMRestorableDeviceGetFusingInfo(device);
        AMRestorableDeviceGetLocationID(device);
        EXPECT_EQ(AMRestorableDeviceCopySerialNumber(device), nullptr);
        EXPECT_EQ(AMRestorableDeviceCopyProductString(device), nullptr);
        const test::handle<_AMRecoveryModeDevice*> recovery(
            AMRestorableDeviceCopyRecoveryModeDevice(device));
        AMRecoveryModeDeviceSetAutoBoot(recovery.get(), true);
        AMRecoveryModeDeviceSetAutoBoot(recovery.get(), false);
        AMRecoveryModeDeviceReboot(recovery.get());
        const auto own_options = test::make_dictionary({{CFSTR("Erase"), kCFBooleanTrue}});
        AMRestorableDeviceRestore(
            device, own_options.get(), [](_AMRestorableDevice*, CFDictionaryRef, void*) {},
            nullptr);
        EXPECT_EQ(registration, 1);
        AMRestorableDeviceUnregisterForNotifications(registration);
    }
    EXPECT_THAT(
        file.lines(),
        ElementsAre(
            "AMDeviceNotificationSubscribe {ConnectionType = 1, HasCallback = true, "
            "HasContext = false, Unused = 0}",
            "AMDeviceNotificationUnsubscribe {HasSubscription = true}",
            "AMRestoreEnableFileLogging {Path = no-such-folder/log}",
            "AMRestoreCreateDefaultOptions {}", "AMRestorableDeviceRegisterForNotifications {}",
            "AMRestorableDeviceGetState [iPhone] {}", "AMRestorableDeviceGetECID [iPhone] {}",
            "AMRestorableDeviceGetProductID [iPhone] {}",
            "AMRestorableDeviceGetBoardID [iPhone] {}", "AMRestorableDeviceGetChipID [iPhone] {}",
            "AMRestorableDeviceGetProductType [iPhone] {}",
            "AMRestorableDeviceGetFusingInfo [iPhone] {}",
            "AMRestorableDeviceGetLocationID [iPhone] {}",
            "AMRestorableDeviceCopySerialNumber [iPhone] {}",
            "AMRestorableDeviceCopyProductString [iPhone] {}",
            "AMRestorableDeviceCopyRecoveryModeDevice [iPhone] {}",
            "AMRecoveryModeDeviceSetAutoBoot [iPhone] {AutoBoot = true}",
            "AMRecoveryModeDeviceSetAutoBoot [iPhone] {AutoBoot = false}",
            "AMRecoveryModeDeviceReboot [iPhone] {}",
            "AMRestorableDeviceRestore [iPhone] {Options = {Erase = true}}",
            "AMRestorableDeviceUnregisterForNotifications {Registration = 1}"));
}

TEST(journal, ends_with_the_simulation) {
    const journal_file file;
    { const test::played simulation({}, file.path()); }
    AMRestorableDeviceUnregisterForNotifications(1);
    EXPECT_THAT(file.lines(), IsEmpty());
}

} // namespace simulator
