#pragma once

#include "device/RestorableDeviceHandler.h"
#include "foundation/cf_handle.h"
#include "output/output_str_state.h"

#include <boost/filesystem/path.hpp>

#include <cstdint>
#include <memory>
#include <vector>

namespace vandrel::benchmarks {

/// The content of the reports and of their records. Benchmarks that use another library write the
/// same.
inline constexpr const char* report_status = "Restoring";
inline constexpr std::int32_t report_operation = 14;
inline constexpr const char* report_operation_name = "Verifying restore";
inline constexpr std::int64_t report_count = 100;

/// Reports of a running restore, with a progress from 0 to 99.
inline std::vector<cf_handle<CFDictionaryRef>> make_reports() {
    std::vector<cf_handle<CFDictionaryRef>> reports;
    const cf_handle<CFStringRef> status(
        CFStringCreateWithCString(nullptr, report_status, kCFStringEncodingUTF8));
    for (std::int64_t progress = 0; progress < report_count; ++progress) {
        cf_handle<CFMutableDictionaryRef> report(CFDictionaryCreateMutable(
            nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        const cf_handle<CFNumberRef> operation(
            CFNumberCreate(nullptr, kCFNumberSInt32Type, &report_operation));
        const cf_handle<CFNumberRef> percentage(
            CFNumberCreate(nullptr, kCFNumberSInt64Type, &progress));
        CFDictionarySetValue(report.get(), CFSTR("Status"), status.get());
        CFDictionarySetValue(report.get(), CFSTR("Operation"), operation.get());
        CFDictionarySetValue(report.get(), CFSTR("Progress"), percentage.get());
        reports.emplace_back(report.release());
    }
    return reports;
}

/// A session that writes nothing to disk.
inline std::unique_ptr<device_notifier_state>
make_session(const std::shared_ptr<output_str_state>& channel) {
    return std::make_unique<device_notifier_state>(
        channel, std::nullopt, boost::filesystem::path("vandrel-benchmark-makes-no-such-folder"));
}

} // namespace vandrel::benchmarks
