#include "platform/mobile_device.h"
#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/test_scenarios.h"

#include <gtest/gtest.h>

namespace simulator {

namespace {

using device_handle = test::handle<_AMRestorableDevice*>;
using recovery_handle = test::handle<_AMRecoveryModeDevice*>;

device_handle make_device(device_description description) {
    return device_handle(create_device(std::move(description)));
}

} // namespace

TEST(restorable_device, has_the_properties_of_its_description) {
    device_description description = test::device("d", 0x8001A2B3C4D5E6F7);
    description.state = 3;
    description.product_id = 65535;
    description.board_id = 0xFFFFFFFF;
    description.chip_id = 0x8030;
    description.product_type = 5;
    description.fusing_info = 6;
    description.location_id = 7;
    const auto device = make_device(std::move(description));
    EXPECT_EQ(AMRestorableDeviceGetECID(device.get()), 0x8001A2B3C4D5E6F7U);
    EXPECT_EQ(AMRestorableDeviceGetState(device.get()), 3U);
    EXPECT_EQ(AMRestorableDeviceGetProductID(device.get()), 65535U);
    EXPECT_EQ(AMRestorableDeviceGetBoardID(device.get()), 0xFFFFFFFFU);
    EXPECT_EQ(AMRestorableDeviceGetChipID(device.get()), 0x8030U);
    EXPECT_EQ(AMRestorableDeviceGetProductType(device.get()), 5U);
    EXPECT_EQ(AMRestorableDeviceGetFusingInfo(device.get()), 6U);
    EXPECT_EQ(AMRestorableDeviceGetLocationID(device.get()), 7U);
}

TEST(restorable_device, copies_its_texts) {
    device_description description = test::device("d");
    description.serial_number = "S\xC3\xA9rial";
    description.product_string = "Product";
    const auto device = make_device(std::move(description));
    const test::handle<CFStringRef> serial(AMRestorableDeviceCopySerialNumber(device.get()));
    const test::handle<CFStringRef> product(AMRestorableDeviceCopyProductString(device.get()));
    EXPECT_EQ(test::text_of(serial.get()), "S\xC3\xA9rial");
    EXPECT_EQ(test::text_of(product.get()), "Product");
}

TEST(restorable_device, copies_no_text_that_it_does_not_have) {
    const auto device = make_device(test::device("d"));
    EXPECT_EQ(AMRestorableDeviceCopySerialNumber(device.get()), nullptr);
    EXPECT_EQ(AMRestorableDeviceCopyProductString(device.get()), nullptr);
}

TEST(restorable_device, can_fail_to_copy_a_text) {
    device_description description = test::device("d");
    description.serial_number = "S";
    const auto device = make_device(std::move(description));
    fail_creation(1);
    EXPECT_EQ(AMRestorableDeviceCopySerialNumber(device.get()), nullptr);
}

TEST(restorable_device, is_counted_and_deleted_with_its_last_reference) {
    auto device = make_device(test::device("d"));
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 1);
    device.reset();
    EXPECT_EQ(live_objects()["AMRestorableDevice"], 0);
}

TEST(restorable_device, is_described_by_its_name) {
    const auto device = make_device(test::device("iPhone"));
    EXPECT_EQ(test::description_of(device.get()), "<AMRestorableDevice iPhone>");
}

TEST(recovery_mode_device, is_absent_when_the_device_has_none) {
    device_description description = test::device("d");
    description.has_recovery_device = false;
    const auto device = make_device(std::move(description));
    EXPECT_EQ(AMRestorableDeviceCopyRecoveryModeDevice(device.get()), nullptr);
}

TEST(recovery_mode_device, returns_the_results_of_the_scenario) {
    device_description description = test::device("d");
    description.set_auto_boot_result = 9;
    description.reboot_result = -2;
    const auto device = make_device(std::move(description));
    const recovery_handle recovery(AMRestorableDeviceCopyRecoveryModeDevice(device.get()));
    ASSERT_NE(recovery, nullptr);
    EXPECT_EQ(AMRecoveryModeDeviceSetAutoBoot(recovery.get(), true), 9);
    EXPECT_EQ(AMRecoveryModeDeviceReboot(recovery.get()), -2);
}

TEST(recovery_mode_device, outlives_the_restorable_device) {
    auto device = make_device(test::device("d"));
    const recovery_handle recovery(AMRestorableDeviceCopyRecoveryModeDevice(device.get()));
    device.reset();
    EXPECT_EQ(AMRecoveryModeDeviceSetAutoBoot(recovery.get(), false), 0);
    EXPECT_EQ(test::description_of(recovery.get()), "<AMRecoveryModeDevice d>");
}

TEST(recovery_mode_device, is_a_new_object_for_each_call) {
    const auto device = make_device(test::device("d"));
    const recovery_handle first(AMRestorableDeviceCopyRecoveryModeDevice(device.get()));
    const recovery_handle second(AMRestorableDeviceCopyRecoveryModeDevice(device.get()));
    EXPECT_NE(first, second);
}

TEST(restorable_device, is_no_recovery_mode_device) {
    const auto device = make_device(test::device("d"));
    EXPECT_DEATH(AMRecoveryModeDeviceReboot(reinterpret_cast<_AMRecoveryModeDevice*>(device.get())),
                 "AMRecoveryModeDeviceReboot: AMRestorableDevice given for AMRecoveryModeDevice");
}

} // namespace simulator
