#include "device/restore_options.h"

#include "driver/tool_error.h"
#include "foundation/cf_text.h"
#include "foundation/file.h"
#include "foundation/plist_values.h"
#include "platform/mobile_device.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel {

namespace {

/// Each restore of a process has a personalised bundle of its own.
std::uint32_t next_bundle_number() {
    static std::atomic<std::uint32_t> last = 0;
    return ++last;
}

cf_handle<CFStringRef> make_path_string(const boost::filesystem::path& path) {
    auto text = make_cfstring(path.string());
    if (!text) {
        throw std::runtime_error("Could not convert restore path to text");
    }
    return text;
}

constexpr std::uint64_t max_size = 0x40000000;

/// The result does not refer to `bytes`.
cf_handle<CFDictionaryRef> parse_dictionary(const std::vector<std::uint8_t>& bytes) {
    const cf_handle<CFDataRef> data(CFDataCreateWithBytesNoCopy(
        kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    if (!data) {
        throw std::runtime_error("Bad alloc");
    }
    cf_handle<CFPropertyListRef> plist(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!plist || CFGetTypeID(plist.get()) != CFDictionaryGetTypeID()) {
        throw std::invalid_argument("Invalid format");
    }
    return cf_handle<CFDictionaryRef>(static_cast<CFDictionaryRef>(plist.release()));
}

cf_handle<CFDictionaryRef> read_dictionary(const boost::filesystem::path& path) {
    std::vector<std::uint8_t> bytes;
    Orv::file(path).read_whole(bytes, max_size);
    if (bytes.empty()) {
        throw std::invalid_argument("Empty file");
    }
    return parse_dictionary(bytes);
}

} // namespace

cf_handle<CFMutableDictionaryRef> make_restore_options(const boost::filesystem::path& bundle,
                                                       bool erase,
                                                       const boost::filesystem::path& scratch) {
    cf_handle<CFMutableDictionaryRef> options(AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    if (!options) {
        throw std::runtime_error("AMRestoreCreateDefaultOptions failed");
    }
    set_values(options.get(),
               {
                   {CFSTR("AuthInstallRestoreBehavior"), erase ? CFSTR("Erase") : CFSTR("Update")},
                   {CFSTR("BootImageType"), erase ? CFSTR("UserOrInternal") : CFSTR("Update")},
                   {CFSTR("PersonalizedRestoreBundlePath"),
                    make_path_string(scratch / "PRB" / std::to_string(next_bundle_number())).get()},
                   {CFSTR("RestoreBundlePath"), make_path_string(bundle).get()},
               });
    return options;
}

cf_handle<CFDictionaryRef> read_restore_plist(const boost::filesystem::path& path) {
    try {
        return read_dictionary(path);
    } catch (const std::exception& exception) {
        // All failures begin with the same words, so one search finds them.
        throw make_tool_error(tool_error::read_error, fmt::format("Cannot open file '{}' - {}",
                                                                  path.string(), exception.what()));
    }
}

} // namespace vandrel
