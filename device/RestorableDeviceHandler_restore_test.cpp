#include "device/RestorableDeviceHandler.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"
#include "tests/plist_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <future>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using namespace vandrel;
using ::testing::ElementsAre;
using namespace vandrel::testing;

const std::string callback_says = "void __cdecl vandrel::device_notifier_state::restoreCallback("
                                  "struct _AMRestorableDevice *,const struct __CFDictionary *,"
                                  "void *): ";

cf_handle<CFNumberRef> make_number(std::int64_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

cf_handle<CFMutableDictionaryRef> make_report(std::int64_t operation, std::int64_t progress) {
    cf_handle<CFMutableDictionaryRef> report(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(report.get(), CFSTR("Status"), CFSTR("Restoring"));
    CFDictionarySetValue(report.get(), CFSTR("Operation"), make_number(operation).get());
    CFDictionarySetValue(report.get(), CFSTR("Progress"), make_number(progress).get());
    return report;
}

/// A session whose callback gets reports like those of MobileDevice.
class restore_reports : public ::testing::Test {
protected:
    restore_reports() { session.operation = device_operation::restore; }

    void report(CFDictionaryRef status) {
        device_notifier_state::restoreCallback(nullptr, status, &session);
    }

    void report(std::int64_t operation, std::int64_t progress) {
        report(make_report(operation, progress).get());
    }

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
    device_notifier_state session{capture.channel(), std::nullopt, std::nullopt};
};

TEST_F(restore_reports, a_null_context_is_a_broken_precondition) {
    try {
        device_notifier_state::restoreCallback(nullptr, nullptr, nullptr);
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(), "device/RestorableDeviceHandler.cpp:327:  void __cdecl "
                                     "vandrel::device_notifier_state::restoreCallback("
                                     "struct _AMRestorableDevice *,const struct __CFDictionary *,"
                                     "void *) Assertion context failed.");
    }
}

TEST_F(restore_reports, a_null_report_is_only_logged) {
    report(nullptr);
    EXPECT_THAT(callback_diagnostics(), ElementsAre("Invalid argument"));
}

TEST_F(restore_reports, an_incomplete_report_is_only_logged) {
    const cf_handle<CFMutableDictionaryRef> empty(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    report(empty.get());
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    EXPECT_EQ(written.diagnostics.back(), callback_says + "Ignoring invalid statusDict");
}

TEST_F(restore_reports, a_report_that_cannot_be_copied_is_only_logged) {
    const auto complete = make_report(9, 0);
    simulator::fail_creation(1);
    report(complete.get());
    EXPECT_THAT(callback_diagnostics(), ElementsAre("status Restoring, operation Booting, "
                                                    "progress 0",
                                                    "Could not convert statusDict"));
}

TEST_F(restore_reports, what_a_property_list_cannot_hold_is_left_out_and_an_error_is_converted) {
    const auto complete = make_report(0, 5);
    const cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 7, nullptr));
    const cf_handle<CFMutableArrayRef> list(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(list.get(), kCFNull);
    CFArrayAppendValue(list.get(), kCFBooleanTrue);
    CFDictionarySetValue(complete.get(), CFSTR("Error"), error.get());
    CFDictionarySetValue(complete.get(), CFSTR("List"), list.get());
    CFDictionarySetValue(complete.get(), CFSTR("Nothing"), kCFNull);
    CFDictionarySetValue(complete.get(), kCFBooleanTrue, CFSTR("key that is no string"));
    report(complete.get());
    EXPECT_EQ(from_xml(capture.finish().records).at("Value"),
              plist_value(dictionary{{"Error", dictionary{{"Code", 7}, {"Domain", "usb"}}},
                                     {"List", array{true}},
                                     {"Operation", 0},
                                     {"Progress", 5},
                                     {"Status", "Restoring"}}));
}

TEST_F(restore_reports, an_operation_without_a_name_is_numbered_in_the_log) {
    report(65, -1);
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre("status Restoring, operation Unknown operation 65, progress -1"));
}

TEST_F(restore_reports, operation_0_at_100_completes) {
    report(0, 99);
    report(0, 101);
    report(9, 100);
    report(0, 100);
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre("status Restoring, operation Unknown operation 0, progress 99",
                            "status Restoring, operation Unknown operation 0, progress 101",
                            "status Restoring, operation Booting, progress 100",
                            "status Restoring, operation Unknown operation 0, progress 100",
                            "Notifying restore complete"));
}

TEST_F(restore_reports, entering_restore_mode_is_complete_when_the_device_boots) {
    session.operation = device_operation::enter_restore_mode;
    report(9, 0);
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre("status Restoring, operation Booting, progress 0",
                            "Notifying enter restore mode complete"));
}

TEST_F(restore_reports, only_operation_9_counts_as_booting) {
    session.operation = device_operation::enter_restore_mode;
    report(204, 0);
    EXPECT_THAT(callback_diagnostics(),
                ElementsAre("status Restoring, operation Booting, progress 0"));
}

TEST_F(restore_reports, a_second_completing_report_breaks_the_promise) {
    report(0, 100);
    try {
        report(0, 100);
        FAIL() << "nothing was thrown";
    } catch (const std::future_error& failure) {
        EXPECT_EQ(failure.code(), std::future_errc::promise_already_satisfied);
    }
}

TEST_F(restore_reports, options_must_be_there_before_a_restore) {
    try {
        session.restoreDevice(nullptr);
        FAIL() << "nothing was thrown";
    } catch (const cf_error_handle& error) {
        EXPECT_EQ(CFErrorGetCode(error.get()), 2);
        const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
        EXPECT_TRUE(CFEqual(reason.get(), CFSTR("restoreOptions not set")));
    }
}

TEST(restore_bundle, the_options_of_a_session_lie_under_its_scratch_directory) {
    channel_capture capture;
    device_notifier_state session(capture.channel(), std::nullopt, "scratch");
    session.set_restore_bundle("x.ipsw", false);
    const auto path = static_cast<CFStringRef>(
        CFDictionaryGetValue(session.restoreOptions.get(), CFSTR("PersonalizedRestoreBundlePath")));
    EXPECT_EQ(boost::filesystem::path(cfstring_to_string(path)).parent_path(),
              boost::filesystem::path("scratch") / "PRB");
}

simulator::restore_report after(double seconds, cf_handle<CFMutableDictionaryRef> report) {
    return {seconds, simulator::cf_handle<CFTypeRef>(report.release())};
}

/// A device whose restore reports as the test says.
class restore_run : public ::testing::Test {
protected:
    restore_run() {
        device.name = "a device";
        device.ecid = 0xAB;
        device.state = 2;
    }

    void TearDown() override { simulator::stop(); }

    /// What a restore with this timeout, in nanoseconds, has written when its session is gone.
    std::string records_of_restore(std::int64_t timeout) {
        simulator::scenario scenario;
        scenario.devices.push_back(std::move(device));
        simulator::start(std::move(scenario));
        channel_capture capture;
        {
            device_notifier_state session(capture.channel(), std::nullopt, std::nullopt);
            session.operation = device_operation::restore;
            session.restoreTimeout = timeout;
            session.set_restore_bundle("x.ipsw", false);
            session.restoreDevice(simulator::device_at(0));
        }
        simulator::stop();
        return capture.finish().records;
    }

    simulator::device_description device;
};

TEST_F(restore_run, the_largest_timeout_does_not_overflow_the_deadline) {
    // An overflow would end the wait before this report.
    device.restore.reports.push_back(after(0.05, make_report(0, 100)));
    EXPECT_EQ(records_of_restore(std::numeric_limits<std::int64_t>::max()).find("InternalError"),
              std::string::npos);
}

TEST_F(restore_run, a_negative_timeout_is_none) {
    device.restore.reports.push_back(after(3600, make_report(0, 100)));
    EXPECT_NE(records_of_restore(-1).find("Aborting, restore did not complete in 0 seconds"),
              std::string::npos);
}

TEST_F(restore_run, reports_that_come_after_a_timed_out_session_touch_nothing) {
    for (int report = 0; report < 500; ++report) {
        device.restore.reports.push_back(after(0.0002, make_report(13, 1)));
    }
    EXPECT_NE(
        records_of_restore(10'000'000).find("Aborting, restore did not complete in 0 seconds"),
        std::string::npos);
}

} // namespace
