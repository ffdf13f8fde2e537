#include "debug/status_text.h"
#include "foundation/cf_text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>

namespace vandrel {

namespace {

using text_table = std::map<std::int32_t, std::string>;

// The texts as controlling applications know them, kept apart from the tables under test.

const text_table& known_errors() {
    static const auto& table = *new text_table{
        {1, "Bad argument"},
        {2, "Unable to connect to device"},
        {3, "Device is not in restore mode"},
        {4, "Device software is unsupported"},
        {5, "Device hardware is unsupported"},
        {6, "Operation failed"},
        {7, "Did not receive an expected ACK"},
        {8, "Device could not handle request"},
        {9, "Communication error, possibly USB disconnection"},
        {10, "Protocol error"},
        {11, "File error"},
        {12, "Unable to open file"},
        {13, "IO error"},
        {14, "ASR error"},
        {15, "BOM error"},
        {16, "Permission denied"},
        {17, "Path does not exist"},
        {18, "Memory allocation error"},
        {19, "Unable to parse plist"},
        {20, "Cannot restore older epoch without using DFU"},
        {21, "Command execution failed on device"},
        {22, "Not implemented error"},
        {23, "Radio error"},
        {24, "A required service was not found"},
        {25, "The device has uncollected factory logs"},
        {26, "fsck failed"},
        {27, "Filesystem mount failed"},
        {28, "Timeout waiting for NAND"},
        {29, "An error occurred during the gas gauge software update"},
        {30, "Unable to enable journaling on the data partition"},
        {31, "Failed to convert value"},
        {32, "Failed to compute hash"},
        {33, "A crypto error occurred"},
        {34, "Unable to create device key bag"},
        {35, "An error occurred while formatting the NAND"},
        {36, "Effaceable storage error"},
        {37, "Firmware update error"},
        {38, "An error occurred while updating the IR MCU firmware"},
        {39, "The system partition is too small for the requested image"},
        {40, "The NAND driver failed during initialization"},
        {41, "An error occurred attempting to locate filesystem partitions"},
        {42, "Failed to format the device for LwVM"},
        {43, "Network error"},
        {44, "Bad response"},
        {45, "The system partition size is too large for the device"},
        {46, "An error occurred creating the partition map"},
        {47, "An error occurred creating a new filesystem"},
        {48, "Device software does not support nonce generation"},
        {49, "Could not load SSO framework; please make sure you've installed AppleConnect.app"},
        {50, "Unable to boot SEP"},
        {51, "Missing SEP firmware"},
        {52, "FDR no filesystem error"},
        {53, "FDR failure"},
        {54, "SEP EEPROM test failure"},
        {55, "Stockholm pairing failure"},
        {56, "Stockholm update failure"},
        {57, "SWD update failure"},
        {58, "SEP certification failure"},
        {59, "Invalid nonce type"},
        {60, "Incompatible filesystem"},
        {61, "Savage certification failure"},
        {62, "Symlink target vanished"},
        {63, "Required key not found"},
        {64, "FDR PUT failure"},
        {66, "SEP commit failure"},
        {67, "Yonkers certification failure"},
        {68, "Update install not possible to this variant"},
        {69, "Updater operation error"},
        {70, "Updater not found error"},
        {71, "UCRT retrieval failed"},
        {72, "Error init gigalocker"},
        {73, "Recovery OS partition too small"},
        {74, "Recovery OS missing size argument"},
        {75, "Missing data volume"},
        {76, "Preloading APFS data keys failed"},
        {77, "XART partition unsupported"},
        {78, "No storage error"},
        {79, "Dotara lock failure"},
        {80, "Error creating APFS volume group"},
        {81, "Error copying data template"},
        {82, "Error creating firmlinks"},
        {83, "EAN storage error"},
        {84, "SEP notify failure"},
        {85, "Error preserving source boot objects"},
        {86, "Error populating preboot volume"},
        {87, "Bless error"},
        {88, "Error preparing boot install"},
        {89, "Error setting rootless flags"},
        {90, "Boot policy error"},
        {91, "SysConfig failure"},
        {92, "Error populating paired recovery volume"},
        {93, "Error populating Apple internal diags"},
        {1001, "Generic user error"},
        {1002, "Baseband protocol error"},
        {1003, "Bbupdater only works on little-endian hosts"},
        {1004, "Bad arguments given to bbupdater"},
        {1005, "Specified bootloader is invalid"},
        {1006, "Flash file size mismatch"},
        {1007, "Specified bbfw file is invalid"},
        {1008, "Unable to read the bbfw file"},
        {1009, "bbfw file is not properly signed"},
        {1010, "Unable to initialize the comm layer"},
        {1011, "Baseband bootloader is too old"},
        {1012, "BBFW could not be verified"},
        {1013, "Unrecognized bbupdater error"},
        {1014, "Setting IMEISV failed"},
        {1015, "The baseband cannot be rolled back"},
        {1016, "Bad static EEP"},
        {1017, "Baseband fusing failed"},
        {1018, "Unpersonalized baseband firmware rejected (personalization may be required)"},
        {1019, "Baseband provisioning failed"},
        {1020, "The baseband system filesystem was not mounted"},
        {1021, "Baseband provisioning FDR upload failed"},
        {1100, "Generic ASR error"},
        {1101, "ASR inverter error"},
        {1102, "Ran out of space during ASR"},
        {1103, "Ran out of space during ASR inverter"},
        {1104, "Got EIO while handling ASR server connection"},
        {1105, "Got EINVAL while handling ASR server connection"},
        {1110, "Insufficient space for upgrade install"},
        {2001, "Unable to open USB device"},
        {2002, "Unable to find and open an interface on device"},
        {2003, "Error while writing on USB pipe"},
        {2004, "Error while reading from USB pipe"},
        {2005, "An error occurred performing DFU"},
        {2006, "USB Device not responding"},
        {2007, "Failed to create USB device instance"},
        {2008, "USB pipe stalled"},
        {2009, "USB device request error returned from request to iBoot"},
        {2010, "USB device error"},
        {2011, "The device is connected to a low power USB port"},
        {2012, "USB exclusive access"},
        {2013, "USB timeout"},
        {2014, "USB not readable"},
        {2015, "No USB device"},
        {2101, "Failed getting recovery OS size"},
        {2102, "Not enough space to install recovery OS "},
        {3000, "Bad build identity"},
        {3002, "Entry not found"},
        {3003, "Not implemented"},
        {3004, "Server not reachable"},
        {3005, "Invalid img3 object"},
        {3012, "Empty request"},
        {3013, "Server timed out"},
        {3014, "Internal (please file a radar)"},
        {3015, "AuthInstall error"},
        {3016, "Invalid baseband object"},
        {3017, "AP provisioning failed"},
        {3018, "AP already provisioned"},
        {3194, "Authorization declined"},
        {3501, "HTTP unauthorized error"},
        {3503, "HTTP forbidden error"},
        {3504, "HTTP not found error"},
        {3507, "HTTP proxy authentication needed error"},
        {3600, "HTTP internal server error"},
    };
    return table;
}

const text_table& known_operations() {
    static const auto& table = *new text_table{
        {2, "DFU download"},
        {3, "Connecting to device"},
        {4, "Connected to device"},
        {5, "Sending ramdisk to device"},
        {6, "Sending device tree to device"},
        {7, "Sending kernel cache to device"},
        {8, "Setting restore boot-args"},
        {9, "Booting"},
        {10, "Flashing SYSCFG"},
        {11, "Creating partition map"},
        {12, "Creating filesystem"},
        {13, "Restoring image"},
        {14, "Verifying restore"},
        {15, "Checking filesystems"},
        {16, "Mounting filesystems"},
        {17, "Fixing up /var"},
        {18, "Flashing firmware"},
        {19, "Updating baseband"},
        {20, "Setting boot stage"},
        {21, "Rebooting device"},
        {22, "Shutting down device"},
        {23, "Turning on accessory power"},
        {24, "Clearing persistent boot-args"},
        {25, "Modifying persistent boot-args"},
        {26, "Installing root"},
        {27, "Installing kernel cache"},
        {28, "Waiting for NAND"},
        {29, "Unmounting filesystems"},
        {30, "Setting date and time on device"},
        {31, "Executing iBEC to bootstrap update"},
        {32, "Finalizing NAND epoch update"},
        {33, "Checking for inappropriate bootable partitions"},
        {34, "Creating factory restore marker"},
        {35, "Loading firmware data to flash"},
        {36, "Requesting FUD data"},
        {37, "Removing activation record"},
        {38, "Checking battery voltage"},
        {39, "Waiting for battery to charge"},
        {40, "Closing modem tickets"},
        {41, "Migrating data"},
        {42, "Wiping storage device"},
        {43, "Sending Apple logo to device"},
        {44, "Checking for uncollected logs"},
        {45, "Personalizing restore bundle"},
        {46, "Clearing NVRAM"},
        {47, "Updating gas gauge software"},
        {48, "Preparing for baseband update"},
        {49, "Booting the baseband"},
        {50, "Creating system key bag"},
        {51, "Updating IR MCU firmware"},
        {52, "Resizing system partition"},
        {53, "Collecting updater output"},
        {54, "Pairing Stockholm"},
        {55, "Updating Stockholm"},
        {56, "Updating SWDHID"},
        {57, "Certifying SEP"},
        {58, "Updating NAND Firmware"},
        {59, "Updating SE Firmware"},
        {60, "Updating Savage"},
        {61, "Installing devicetree"},
        {62, "Certifying Savage"},
        {63, "Submitting Provinfo"},
        {64, "Certifying Yonkers"},
        {66, "Updating Rose"},
        {67, "Updating Veridian"},
        {68, "Creating Protected Volume"},
        {69, "Resizing Main File System Partition"},
        {70, "Creating Recovery OS Partition/Container/Volume"},
        {71, "Installing recovery OS files"},
        {72, "Installing recovery OS image"},
        {75, "Requesting EAN data"},
        {78, "Sealing system volume"},
        {80, "Updating AppleTCON"},
        {200, "Downloading restore bundle"},
        {201, "Unzipping IPSW"},
        {202, "Mounting disk image"},
        {203, "Personalizing restore bundle"},
        {204, "Booting"},
        {205, "Booting"},
        {206, "Booting"},
        {207, "Entering recovery mode"},
        {208, "Waiting, position %d"},
        {209, "Sending FDR user info"},
        {211, "Showing Unlock Device UI"},
        {212, "Hiding Unlock Device UI"},
        {213, "Regenerating dyld shared cache"},
    };
    return table;
}

std::string text_or_unknown(const text_table& table, std::int32_t code) {
    const auto found = table.find(code);
    return found == table.end() ? "Unknown" : found->second;
}

std::string error_string(std::int32_t code) {
    return cfstring_to_string(
        cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMRError(code)).get());
}

std::string operation_string(std::int32_t code) {
    return cfstring_to_string(
        cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMROperation(code)).get());
}

constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

} // namespace

TEST(status_text, every_error_code_has_its_message_and_no_other_has_one) {
    ASSERT_EQ(known_errors().size(), 155U);
    for (std::int32_t code = -10; code <= 5000; ++code) {
        EXPECT_EQ(error_string(code), text_or_unknown(known_errors(), code)) << code;
    }
}

TEST(status_text, every_operation_code_has_its_name_and_no_other_has_one) {
    ASSERT_EQ(known_operations().size(), 86U);
    for (std::int32_t code = -10; code <= 5000; ++code) {
        EXPECT_EQ(operation_string(code), text_or_unknown(known_operations(), code)) << code;
    }
}

TEST(status_text, the_ends_of_the_number_range_are_unknown) {
    EXPECT_EQ(error_string(smallest), "Unknown");
    EXPECT_EQ(error_string(largest), "Unknown");
    EXPECT_EQ(operation_string(smallest), "Unknown");
    EXPECT_EQ(operation_string(largest), "Unknown");
}

TEST(status_text, an_unknown_error_is_a_string_of_the_callers_and_not_null) {
    const cf_handle<CFStringRef> unknown(AMRLocalizedCopyStringForAMRError(0));
    ASSERT_NE(unknown, nullptr);
    EXPECT_TRUE(CFEqual(unknown.get(), CFSTR("Unknown")));
}

TEST(status_text, an_error_without_a_message_is_shown_by_its_number) {
    EXPECT_EQ(amr_error_text(0), "Unknown error 0");
    EXPECT_EQ(amr_error_text(65), "Unknown error 65");
    EXPECT_EQ(amr_error_text(-3), "Unknown error -3");
    EXPECT_EQ(amr_error_text(3001), "Unknown error 3001");
    EXPECT_EQ(amr_error_text(3601), "Unknown error 3601");
    EXPECT_EQ(amr_error_text(smallest), "Unknown error -2147483648");
}

TEST(status_text, every_error_with_a_message_is_shown_by_it) {
    for (const auto& [code, text] : known_errors()) {
        EXPECT_EQ(amr_error_text(code), text) << code;
    }
}

TEST(status_text, a_message_that_merely_contains_excluded_words_is_kept) {
    EXPECT_EQ(amr_error_text(1013), "Unrecognized bbupdater error");
}

TEST(status_text, the_blank_at_the_end_of_a_message_is_kept) {
    EXPECT_EQ(amr_error_text(2102), "Not enough space to install recovery OS ");
}

TEST(status_text, an_operation_without_a_name_is_shown_by_its_number) {
    EXPECT_EQ(amr_operation_text(1), "Unknown operation 1");
    EXPECT_EQ(amr_operation_text(65), "Unknown operation 65");
    EXPECT_EQ(amr_operation_text(210), "Unknown operation 210");
    EXPECT_EQ(amr_operation_text(214), "Unknown operation 214");
    EXPECT_EQ(amr_operation_text(-1), "Unknown operation -1");
}

TEST(status_text, every_operation_with_a_name_is_shown_by_it) {
    for (const auto& [code, text] : known_operations()) {
        EXPECT_EQ(amr_operation_text(code), text) << code;
    }
}

TEST(status_text, several_operations_share_a_name) {
    for (const std::int32_t code : {9, 204, 205, 206}) {
        EXPECT_EQ(amr_operation_text(code), "Booting") << code;
    }
    for (const std::int32_t code : {45, 203}) {
        EXPECT_EQ(amr_operation_text(code), "Personalizing restore bundle") << code;
    }
}

TEST(status_text, a_placeholder_in_a_name_is_never_filled_in) {
    EXPECT_EQ(amr_operation_text(208), "Waiting, position %d");
}

TEST(status_text, states_have_display_names) {
    EXPECT_EQ(fmt::format("{}", device_state::Unknown), "Unknown");
    EXPECT_EQ(fmt::format("{}", device_state::DFU), "DFU");
    EXPECT_EQ(fmt::format("{}", device_state::Recovery), "Recovery");
    EXPECT_EQ(fmt::format("{}", device_state::RestoreOS), "RestoreOS");
    EXPECT_EQ(fmt::format("{}", device_state::BootedOS), "BootedOS");
}

TEST(status_text, a_state_out_of_range_is_shown_by_its_number) {
    EXPECT_EQ(fmt::format("{}", device_state{5}), "<invalid device state 5>");
    EXPECT_EQ(fmt::format("{}", device_state{0xFFFFFFFF}), "<invalid device state -1>");
}

TEST(status_text, notification_types_have_display_names) {
    EXPECT_EQ(fmt::format("{}", notification_type::connected), "connected");
    EXPECT_EQ(fmt::format("{}", notification_type::disconnected), "disconnected");
}

TEST(status_text, a_notification_type_out_of_range_is_shown_by_its_number) {
    EXPECT_EQ(fmt::format("{}", notification_type{2}), "<invalid notification type 2>");
    EXPECT_EQ(fmt::format("{}", notification_type{0x80000000}),
              "<invalid notification type -2147483648>");
}

TEST(status_text, a_state_is_padded_like_any_string) {
    EXPECT_EQ(fmt::format("{:>10}", device_state::DFU), "       DFU");
    EXPECT_EQ(fmt::format("{:*^9}", device_state::DFU), "***DFU***");
    EXPECT_EQ(fmt::format("{:10}|", device_state::Recovery), "Recovery  |");
}

TEST(status_text, a_state_out_of_range_is_padded_like_any_string) {
    EXPECT_EQ(fmt::format("{:>26}", device_state{7}), "  <invalid device state 7>");
}

TEST(status_text, a_notification_type_is_cut_like_any_string) {
    EXPECT_EQ(fmt::format("{:.3}", notification_type::disconnected), "dis");
}

TEST(status_text, an_error_is_cut_and_padded_by_further_arguments) {
    EXPECT_EQ(fmt::format("{:>{}.{}}", amr_error{11}, 8, 4), "    File");
    EXPECT_EQ(fmt::format("{}: {}", 65, amr_error{65}), "65: Unknown error 65");
}

TEST(status_text, an_operation_is_cut_and_padded_by_further_arguments) {
    EXPECT_EQ(fmt::format("{:-<{}.{}}", amr_operation{9}, 6, 4), "Boot--");
    EXPECT_EQ(fmt::format("{}", amr_operation{210}), "Unknown operation 210");
}

} // namespace vandrel
