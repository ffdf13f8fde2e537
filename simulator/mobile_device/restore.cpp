#include "platform/mobile_device.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/regular_file.h"
#include "simulator/mobile_device/running_simulation.h"
#include "simulator/mobile_device/utf8_path.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace simulator {

namespace {

constexpr std::int32_t bad_argument = 1;
constexpr std::int32_t unable_to_open_file = 12;

/// Returns whether the line was written.
bool write_line(const std::filesystem::path& path, file_use use, const char* line) {
    try {
        const file_handle file = open_regular_file(path, use);
        return std::fputs(line, file.get()) >= 0 && std::fflush(file.get()) == 0;
    } catch (const unusable_file&) {
        return false;
    }
}

/// The real platform stores the bundle that it personalises for the device in the folder given in
/// the options. This creates a small file there instead, so that the tool has something to remove.
/// Errors are ignored.
void make_personalized_bundle(CFDictionaryRef options) {
    const auto value = cf_cast<CFStringRef>(
        CFDictionaryGetValue(options, CFSTR("PersonalizedRestoreBundlePath")), CFStringGetTypeID());
    if (value == nullptr) {
        return;
    }
    const std::filesystem::path folder = utf8_path(cf_text(value));
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    write_line(folder / "PersonalizedBundle.txt", file_use::replace,
               "Simulated personalized restore bundle\n");
}

} // namespace

} // namespace simulator

using simulator::checked;
using simulator::running;

CFMutableDictionaryRef AMRestoreCreateDefaultOptions(CFAllocatorRef allocator) {
    running().record(__func__);
    const auto& options = running().played().default_restore_options;
    return options ? CFDictionaryCreateMutableCopy(allocator, 0, options.get()) : nullptr;
}

std::int32_t AMRestorableDeviceRestore(_AMRestorableDevice* device, CFDictionaryRef options,
                                       AMRestorableDeviceRestoreCallback callback, void* context) {
    _AMRestorableDevice& restored = checked(device);
    running().record(__func__, &restored.description.name,
                     {{"Options", static_cast<CFTypeRef>(options)}});
    if (options == nullptr || callback == nullptr) {
        return simulator::bad_argument;
    }
    simulator::make_personalized_bundle(options);
    running().play_during(__func__);
    return running().restore(restored, callback, context);
}

std::int32_t AMRestoreEnableFileLogging(const char* path) {
    if (path == nullptr) {
        running().record(__func__);
        return simulator::bad_argument;
    }
    running().record(__func__, nullptr, {{"Path", std::string(path)}});
    const std::int32_t result = running().played().enable_file_logging_result;
    if (result != 0) {
        return result;
    }
    const bool is_written = simulator::write_line(
        simulator::utf8_path(path), simulator::file_use::append, "Simulated restore log\n");
    return is_written ? 0 : simulator::unable_to_open_file;
}
