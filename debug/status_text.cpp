#include "debug/status_text.h"

#include "foundation/cf_text.h"
#include "foundation/code_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace vandrel {

namespace {

struct status_text {
    std::int32_t code;
    const char* text;
};

// In ascending order of their codes. The trailing space of 2102 and the "%d" of 208 belong to the
// texts. Several operations share a name.

constexpr auto error_texts = std::to_array<status_text>({
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
});
static_assert(is_ordered_by_code(error_texts));

constexpr auto operation_texts = std::to_array<status_text>({
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
});
static_assert(is_ordered_by_code(operation_texts));

cf_handle<CFStringRef> copyString(CFStringRef constant) {
    return cf_handle<CFStringRef>(static_cast<CFStringRef>(CFRetain(constant)));
}

/// The constant strings of a table's texts, each looked up once, as CFSTR does.
template<const auto& table>
CFStringRef constant_text(const status_text& entry) {
    static std::array<std::atomic<CFStringRef>, table.size()> places;
    return constant_string(places[static_cast<std::size_t>(&entry - table.data())], entry.text);
}

template<const auto& table>
cf_handle<CFStringRef> copy_text(std::int32_t code) {
    const status_text* const found = find_code(table, code);
    return copyString(found == nullptr ? CFSTR("Unknown") : constant_text<table>(*found));
}

/// `text` in UTF-8. When it cannot be converted, or is one of the `meaningless`, `fallback` and the
/// code.
std::string text_or_number(const cf_handle<CFStringRef>& text,
                           std::initializer_list<std::string_view> meaningless,
                           std::string_view fallback, std::int32_t code) {
    auto utf8 = copy_utf8(text.get());
    if (utf8 && std::ranges::find(meaningless, *utf8) == meaningless.end()) {
        return *std::move(utf8);
    }
    return fmt::format("{} {}", fallback, code);
}

} // namespace

CFStringRef AMRLocalizedCopyStringForAMRError(std::int32_t code) {
    return copy_text<error_texts>(code).release();
}

CFStringRef AMRLocalizedCopyStringForAMROperation(std::int32_t code) {
    return copy_text<operation_texts>(code).release();
}

std::string amr_error_text(std::int32_t code) {
    return text_or_number(cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMRError(code)),
                          {"Unknown", "Unrecognized error", "Unrecognized server error"},
                          "Unknown error", code);
}

std::string amr_operation_text(std::int32_t code) {
    return text_or_number(cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMROperation(code)),
                          {"Unknown", "Unrecognized operation"}, "Unknown operation", code);
}

std::string format_as(device_state state) {
    switch (state) {
    case device_state::Unknown:
        return "Unknown";
    case device_state::DFU:
        return "DFU";
    case device_state::Recovery:
        return "Recovery";
    case device_state::RestoreOS:
        return "RestoreOS";
    case device_state::BootedOS:
        return "BootedOS";
    }
    return fmt::format("<invalid device state {}>", static_cast<std::int32_t>(state));
}

std::string format_as(notification_type type) {
    switch (type) {
    case notification_type::connected:
        return "connected";
    case notification_type::disconnected:
        return "disconnected";
    }
    return fmt::format("<invalid notification type {}>", static_cast<std::int32_t>(type));
}

} // namespace vandrel
