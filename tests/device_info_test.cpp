/// `--device-info`.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;

constexpr auto some_ecid = "00000000000000AB";

tool_call info_of(const dictionary& device, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"--device-info", "--ecid", some_ecid};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool_call(arguments).scenario({{"Devices", array{device}}});
}

/// The record of a device whose numbers are all 0 but for these, with these texts.
plist_value info_record(const dictionary& more = {}) {
    dictionary info{{"ECID", some_ecid}, {"ProductID", 0},  {"BoardID", 0},   {"ChipID", 0},
                    {"ProductType", 0},  {"FusingInfo", 0}, {"LocationID", 0}};
    for (const auto& [key, value] : more) {
        info[key] = value;
    }
    return dictionary{{"Type", "DeviceInfo"}, {"Value", info}};
}

TEST(device_info, writes_all_properties) {
    const dictionary properties{{"ProductID", 4737},
                                {"BoardID", 14},
                                {"ChipID", 32816},
                                {"ProductType", 41},
                                {"FusingInfo", 3},
                                {"LocationID", 336592896},
                                {"SerialNumber", "VNDRL0RECVRY"},
                                {"ProductString", "Mobile Device \xC3\xA9"}};
    const tool_run run = info_of(recovery_device(some_ecid, properties)).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(info_record(properties)));
    EXPECT_EQ(run.standard_error, "");
}

TEST(device_info, leaves_out_the_texts_that_the_device_does_not_report) {
    const tool_run run = info_of(recovery_device(some_ecid)).run();
    EXPECT_THAT(run.records, ElementsAre(info_record()));
}

TEST(device_info, writes_large_numbers_with_their_sign) {
    const tool_run run =
        info_of(recovery_device(some_ecid, {{"ProductID", 65535},
                                            {"BoardID", std::int64_t{4294967295}},
                                            {"LocationID", std::int64_t{2147483648}}}))
            .run();
    EXPECT_THAT(run.records,
                ElementsAre(info_record(
                    {{"ProductID", -1}, {"BoardID", -1}, {"LocationID", -2147483647 - 1}})));
}

TEST(device_info, needs_no_particular_state) {
    for (const plist_value& state :
         {plist_value("DFU"), plist_value("RestoreOS"), plist_value("Unknown"), plist_value(17)}) {
        const tool_run run = info_of(recovery_device(some_ecid, {{"State", state}})).run();
        EXPECT_EQ(run.status, 0) << state;
        EXPECT_THAT(run.records, ElementsAre(info_record())) << state;
    }
}

TEST(device_info, does_not_find_a_booted_device) {
    const tool_run run =
        info_of(recovery_device(some_ecid, {{"State", "BootedOS"}}), {"--detect-timeout", "0"})
            .run();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.records,
                ElementsAre(tool_error_record(
                    4, "Bad ECID specified",
                    "Failed to find device with ecid 00000000000000AB after 0 seconds")));
}

TEST(device_info, takes_the_device_that_arrives_in_time) {
    const tool_run run =
        tool_call({"--device-info", "--ecid", some_ecid})
            .scenario({{"Devices", array{recovery_device(some_ecid)}},
                       {"Events", array{dictionary{
                                      {"At", 0.2}, {"Device", some_ecid}, {"Type", "connected"}}}}})
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(info_record()));
}

TEST(device_info, asks_once_and_in_order) {
    const tool_run run = info_of(recovery_device(some_ecid)).run();
    std::vector<std::string> calls;
    for (const plist_value& entry : run.journal) {
        const auto& call = std::get<std::string>(entry.at("Call").value);
        if (entry.has("Device") && call != "AMRestorableDeviceGetState" &&
            call != "AMRestorableDeviceGetECID") {
            calls.push_back(call);
        }
    }
    EXPECT_THAT(calls,
                ElementsAre("AMRestorableDeviceGetProductID", "AMRestorableDeviceGetBoardID",
                            "AMRestorableDeviceGetChipID", "AMRestorableDeviceGetProductType",
                            "AMRestorableDeviceGetFusingInfo", "AMRestorableDeviceGetLocationID",
                            "AMRestorableDeviceCopySerialNumber",
                            "AMRestorableDeviceCopyProductString"));
}

} // namespace
