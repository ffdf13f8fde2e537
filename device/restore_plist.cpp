#include "device/restore_plist.h"

#include "driver/tool_error.h"
#include "foundation/file.h"

#include <fmt/format.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace vandrel {

namespace {

constexpr std::uint64_t max_size = 0x40000000;

/// Does not refer to `bytes` any more when it returns.
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

cf_handle<CFDictionaryRef> read_restore_plist(const boost::filesystem::path& path) {
    try {
        return read_dictionary(path);
    } catch (const std::exception& exception) {
        // The same opening words for every failure, a file that is no property list included:
        // whoever searches for them finds all.
        throw make_tool_error(tool_error::read_error, fmt::format("Cannot open file '{}' - {}",
                                                                  path.string(), exception.what()));
    }
}

} // namespace vandrel
