#include "device/device_properties.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/plist_value.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

namespace {

using namespace vandrel;
using vandrel::testing::dictionary;
using vandrel::testing::plist_value;

const Orv::ecid some_ecid(std::uint64_t{0xAB});

/// What stands in the dictionary, as a reader of its XML form sees it.
plist_value content_of(CFDictionaryRef info) {
    const cf_handle<CFDataRef> xml(CFPropertyListCreateData(
        kCFAllocatorDefault, info, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    const auto* const bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(xml.get()));
    return vandrel::testing::from_xml({bytes, bytes + CFDataGetLength(xml.get())});
}

plist_value dictionary_of(const device_properties& properties) {
    return content_of(device_info_dictionary(properties).get());
}

device_properties properties_of(simulator::device_description description) {
    description.name = "a device";
    const cf_handle<_AMRestorableDevice*> device(simulator::create_device(std::move(description)));
    return make_device_info(some_ecid, device.get());
}

/// All that a device can tell.
simulator::device_description talkative() {
    simulator::device_description description;
    description.ecid = 0xCD;
    description.product_id = 0x1281;
    description.board_id = 14;
    description.chip_id = 0x8030;
    description.product_type = 41;
    description.fusing_info = 3;
    description.location_id = 0x14100000;
    description.serial_number = "C02\xC3\xA9";
    description.product_string = "Mobile Device";
    return description;
}

TEST(make_device_info, asks_the_device_for_everything_but_its_ecid) {
    const device_properties properties = properties_of(talkative());
    EXPECT_EQ(properties.ecid.text(), "00000000000000AB");
    EXPECT_EQ(properties.productId, 0x1281);
    EXPECT_EQ(properties.boardId, 14U);
    EXPECT_EQ(properties.chipId, 0x8030U);
    EXPECT_EQ(properties.productType, 41U);
    EXPECT_EQ(properties.fusingInfo, 3U);
    EXPECT_EQ(properties.locationId, 0x14100000U);
    EXPECT_EQ(properties.serialNumber, "C02\xC3\xA9");
    EXPECT_EQ(properties.productString, "Mobile Device");
}

TEST(make_device_info, leaves_out_the_texts_that_the_device_does_not_report) {
    const device_properties properties = properties_of({});
    EXPECT_EQ(properties.serialNumber, std::nullopt);
    EXPECT_EQ(properties.productString, std::nullopt);
}

TEST(make_device_info, keeps_an_empty_text) {
    auto description = talkative();
    description.serial_number = "";
    EXPECT_EQ(properties_of(std::move(description)).serialNumber, "");
}

TEST(make_device_info, ends_a_text_at_its_first_zero_byte) {
    auto description = talkative();
    description.serial_number = std::string("C02\0X", 5);
    EXPECT_EQ(properties_of(std::move(description)).serialNumber, "C02");
}

TEST(make_device_info, never_has_a_description) {
    EXPECT_EQ(properties_of(talkative()).description, std::nullopt);
}

TEST(device_info_dictionary, holds_all_that_is_known) {
    EXPECT_EQ(dictionary_of(properties_of(talkative())),
              plist_value(dictionary{{"ECID", "00000000000000AB"},
                                     {"ProductID", 0x1281},
                                     {"BoardID", 14},
                                     {"ChipID", 0x8030},
                                     {"ProductType", 41},
                                     {"FusingInfo", 3},
                                     {"LocationID", 0x14100000},
                                     {"SerialNumber", "C02\xC3\xA9"},
                                     {"ProductString", "Mobile Device"}}));
}

TEST(device_info_dictionary, without_a_serial_number_holds_the_others) {
    auto description = talkative();
    description.serial_number.reset();
    const plist_value info = dictionary_of(properties_of(std::move(description)));
    EXPECT_FALSE(info.has("SerialNumber"));
    EXPECT_EQ(std::get<dictionary>(info.value).size(), 8U);
}

TEST(device_info_dictionary, holds_a_description_when_there_is_one) {
    device_properties properties = properties_of({});
    EXPECT_FALSE(dictionary_of(properties).has("Description"));
    properties.description = "the one on the left";
    EXPECT_EQ(dictionary_of(properties).at("Description"), plist_value("the one on the left"));
}

TEST(device_info_dictionary, writes_numbers_with_their_sign) {
    simulator::device_description description;
    description.product_id = 0x8000;
    description.board_id = 0xFFFFFFFF;
    description.chip_id = 0x80000000;
    description.product_type = 0x7FFFFFFF;
    const plist_value info = dictionary_of(properties_of(std::move(description)));
    EXPECT_EQ(info.at("ProductID"), plist_value(-32768));
    EXPECT_EQ(info.at("BoardID"), plist_value(-1));
    EXPECT_EQ(info.at("ChipID"), plist_value(-2147483647 - 1));
    EXPECT_EQ(info.at("ProductType"), plist_value(2147483647));
}

TEST(device_info_dictionary, has_numbers_of_16_and_of_32_bits) {
    auto description = talkative();
    // A number fits when its low bits are it, with or without a sign.
    description.chip_id = 0x18030;
    const auto info = device_info_dictionary(properties_of(std::move(description)));
    const auto fits_16_bits = [&info](CFStringRef key) {
        std::int16_t value = 0;
        return CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(info.get(), key)),
                                kCFNumberSInt16Type, &value) != 0;
    };
    EXPECT_TRUE(fits_16_bits(CFSTR("ProductID")));
    EXPECT_FALSE(fits_16_bits(CFSTR("ChipID")));
}

TEST(device_info_dictionary, is_null_when_it_cannot_be_made) {
    const device_properties properties = properties_of(talkative());
    simulator::fail_creation(1);
    EXPECT_EQ(device_info_dictionary(properties), nullptr);
}

TEST(device_info_dictionary, leaves_out_what_cannot_be_made) {
    const device_properties properties = properties_of(talkative());
    const char* const keys[] = {"ECID",       "ProductID",    "BoardID",
                                "ChipID",     "ProductType",  "FusingInfo",
                                "LocationID", "SerialNumber", "ProductString"};
    // The dictionary is the first thing to be made.
    std::int64_t creation = 2;
    for (const char* const missing : keys) {
        simulator::fail_creation(creation++);
        const auto info = device_info_dictionary(properties);
        for (const char* const key : keys) {
            EXPECT_EQ(content_of(info.get()).has(key), std::string_view(key) != missing) << key;
        }
    }
}

TEST(device_info_dictionary, leaves_out_a_text_that_is_no_utf8) {
    device_properties properties = properties_of(talkative());
    properties.serialNumber = "broken \xFF";
    const plist_value info = dictionary_of(properties);
    EXPECT_FALSE(info.has("SerialNumber"));
    EXPECT_TRUE(info.has("ProductString"));
}

TEST(ecid_cfstring, is_the_ecids_text) {
    EXPECT_EQ(cfstring_to_string(ecid_cfstring(Orv::ecid(std::uint64_t{0})).get()),
              "0000000000000000");
    EXPECT_EQ(cfstring_to_string(ecid_cfstring(some_ecid).get()), "00000000000000AB");
}

} // namespace
