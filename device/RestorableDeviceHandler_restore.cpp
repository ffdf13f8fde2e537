#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "device/restore_options.h"
#include "device/restore_status.h"
#include "driver/tool_error.h"
#include "foundation/monotonic_clock.h"
#include "foundation/plist_values.h"
#include "output/diagnostic_names.h"
#include "output/output_str_state.h"

#include <fmt/compile.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>

namespace vandrel {

namespace {

/// The operation whose first report means that the restore operating system starts.
constexpr std::int32_t booting = 9;

/// Waits for `timeout` nanoseconds at most.
bool becomes_ready(const std::future<int>& future, std::int64_t timeout) {
    const deadline end(timeout);
    for (;;) {
        const auto remaining = end.remaining();
        if (future.wait_for(remaining) == std::future_status::ready) {
            return true;
        }
        if (remaining == std::chrono::nanoseconds::zero()) {
            return false;
        }
    }
}

} // namespace

void device_notifier_state::set_restore_bundle(const boost::filesystem::path& bundle, bool erase) {
    restoreOptions.reset(make_restore_options(bundle, erase, scratchLocation).release());
}

void device_notifier_state::restoreDevice(_AMRestorableDevice* device) {
    if (!restoreOptions) {
        throw make_tool_error(tool_error::invalid_argument, "restoreOptions not set");
    }
    completion = std::promise<int>();
    // The result is ignored: failures show in the reports, or as a timeout.
    AMRestorableDeviceRestore(
        device, restoreOptions.get(),
        [](_AMRestorableDevice* restored, CFDictionaryRef statusDict, void* context) noexcept {
            restoreCallback(restored, statusDict, context);
        },
        this);
    // A report may have fulfilled the promise during the call; its future is then ready.
    if (auto completed = completion.get_future(); becomes_ready(completed, restoreTimeout)) {
        completed.get();
        return;
    }
    const auto error = make_tool_error(
        tool_error::restore_timeout, fmt::format("Aborting, restore did not complete in {} seconds",
                                                 whole_seconds(restoreTimeout)));
    outputter->print_formatted_error(error.get());
}

void device_notifier_state::restoreCallback(_AMRestorableDevice*, CFDictionaryRef statusDict,
                                            void* context) {
    if (const auto visit = enter(diagnostic_names::restoreCallback, context)) {
        static_cast<device_notifier_state*>(context)->report_restore_status(statusDict);
    }
}

void device_notifier_state::report_restore_status(CFDictionaryRef statusDict) {
    constexpr auto signature = diagnostic_names::restoreCallback.signature;
    const auto log = [this](std::string line) { outputter->push_debug(std::move(line)); };

    if (statusDict == nullptr) {
        log(fmt::format("{}: Invalid argument", signature));
        return;
    }
    const auto status = parse_restore_status(statusDict);
    if (!status) {
        log(fmt::format("{}: Ignoring invalid statusDict", signature));
        return;
    }
    // Formatted for each report, whether it will be written or not: the compiler reads the format.
    fmt::memory_buffer line;
    fmt::format_to(fmt::appender(line), FMT_COMPILE("{}: status {}, operation {}, progress {}"),
                   signature, status->status, amr_operation{status->operation}, status->progress);
    log(fmt::to_string(line));

    const auto converted = to_xml_plist_compatible(statusDict, 0);
    if (!converted || CFGetTypeID(converted.get()) != CFDictionaryGetTypeID()) {
        log(fmt::format("{}: Could not convert statusDict", signature));
        return;
    }
    cf_handle<CFMutableDictionaryRef> record(CFDictionaryCreateMutableCopy(
        kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(converted.get())));
    if (record && status->operation != 0) {
        const cf_handle<CFStringRef> name(AMRLocalizedCopyStringForAMROperation(status->operation));
        CFDictionarySetValue(record.get(), CFSTR("Orv_OperationName"), name.get());
    }
    outputter->print_value(CFSTR("RestoreStatus"), record.get());
    record.reset();

    if (status->operation == 0 && status->progress == 100) {
        log(fmt::format("{}: Notifying restore complete", signature));
        completion.set_value(1);
    }
    if (operation == device_operation::enter_restore_mode && status->operation == booting) {
        log(fmt::format("{}: Notifying enter restore mode complete", signature));
        completion.set_value(1);
    }
}

} // namespace vandrel
