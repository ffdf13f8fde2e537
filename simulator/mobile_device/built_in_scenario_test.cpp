#include "simulator/core_foundation/test_objects.h"
#include "simulator/mobile_device/built_in_scenario.h"
#include "simulator/mobile_device/cf_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace simulator {

namespace {

CFTypeRef value_of(const restore_report& report, CFStringRef key) {
    const auto dictionary = cf_cast<CFDictionaryRef>(report.report.get(), CFDictionaryGetTypeID());
    return CFDictionaryGetValue(dictionary, key);
}

/// A number of a report; -1 when it is not there.
std::int64_t number(const restore_report& report, CFStringRef key) {
    std::int64_t result = -1;
    if (const CFTypeRef value = value_of(report, key)) {
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &result);
    }
    return result;
}

} // namespace

TEST(built_in_scenario, has_a_device_in_every_state) {
    std::set<std::uint32_t> states;
    for (const device_description& device : built_in_scenario().devices) {
        states.insert(device.state);
    }
    EXPECT_THAT(states, ::testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST(built_in_scenario, has_devices_of_different_names_and_ecids) {
    const scenario built_in = built_in_scenario();
    std::set<std::string> names;
    std::set<std::uint64_t> ecids;
    for (const device_description& device : built_in.devices) {
        names.insert(device.name);
        ecids.insert(device.ecid);
    }
    EXPECT_EQ(names.size(), built_in.devices.size());
    EXPECT_EQ(ecids.size(), built_in.devices.size());
}

TEST(built_in_scenario, begins_with_the_recovery_mode_device_of_the_examples) {
    const scenario built_in = built_in_scenario();
    const device_description& device = built_in.devices.at(0);
    EXPECT_EQ(device.ecid, 0x0001A2B3C4D5E6F7U);
    EXPECT_EQ(device.state, 2U);
    EXPECT_TRUE(device.serial_number.has_value());
    EXPECT_TRUE(device.product_string.has_value());
    EXPECT_TRUE(device.has_recovery_device);
}

TEST(built_in_scenario, has_an_ecid_with_the_top_bit_and_one_that_is_zero) {
    const scenario built_in = built_in_scenario();
    const auto has = [&](auto test) {
        return std::ranges::any_of(built_in.devices, test, &device_description::ecid);
    };
    EXPECT_TRUE(has([](std::uint64_t ecid) { return ecid >> 63U == 1; }));
    EXPECT_TRUE(has([](std::uint64_t ecid) { return ecid == 0; }));
}

TEST(built_in_scenario, connects_every_device_once_and_one_of_them_late) {
    const scenario built_in = built_in_scenario();
    std::set<std::size_t> connected;
    int late = 0;
    for (const device_event& event : built_in.events.value()) {
        EXPECT_EQ(event.type, 0U);
        connected.insert(event.device.value());
        late += event.at == 4 ? 1 : 0;
    }
    EXPECT_EQ(connected.size(), built_in.devices.size());
    EXPECT_EQ(built_in.events->size(), built_in.devices.size());
    EXPECT_EQ(late, 1);
}

TEST(built_in_scenario, restores_in_about_four_seconds) {
    const scenario built_in = built_in_scenario();
    double time = 0;
    for (const restore_report& report : built_in.devices.at(0).restore.reports) {
        time += report.after;
    }
    EXPECT_NEAR(time, 4, 0.5);
}

TEST(built_in_scenario, has_reports_with_a_status_an_operation_and_a_progress) {
    const scenario built_in = built_in_scenario();
    for (const restore_report& report : built_in.devices.at(0).restore.reports) {
        EXPECT_GE(number(report, CFSTR("Operation")), 0);
        EXPECT_GE(number(report, CFSTR("Progress")), 0);
        EXPECT_LE(number(report, CFSTR("Progress")), 100);
        EXPECT_NE(value_of(report, CFSTR("Status")), nullptr);
    }
}

TEST(built_in_scenario, completes_a_restore_with_its_last_report_and_none_before) {
    const scenario built_in = built_in_scenario();
    const auto& reports = built_in.devices.at(0).restore.reports;
    EXPECT_EQ(
        std::ranges::count_if(
            reports, [](const auto& report) { return number(report, CFSTR("Operation")) == 0; }),
        1);
    EXPECT_EQ(number(reports.back(), CFSTR("Operation")), 0);
    EXPECT_EQ(number(reports.back(), CFSTR("Progress")), 100);
    EXPECT_EQ(test::content_of(value_of(reports.back(), CFSTR("Status"))), "Successful");
}

TEST(built_in_scenario, boots_the_restore_operating_system_on_the_way) {
    const scenario built_in = built_in_scenario();
    EXPECT_TRUE(std::ranges::any_of(built_in.devices.at(0).restore.reports, [](const auto& report) {
        return number(report, CFSTR("Operation")) == 9;
    }));
}

} // namespace simulator
