#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "device/restore_status.h"
#include "driver/tool_error.h"
#include "foundation/assertion.h"
#include "foundation/cf_text.h"
#include "foundation/monotonic_clock.h"
#include "foundation/plist_values.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <stdexcept>

namespace vandrel {

namespace {

constexpr auto source = "device/RestorableDeviceHandler.cpp";
constexpr auto restore_callback_signature =
    "void __cdecl vandrel::device_notifier_state::restoreCallback("
    "struct _AMRestorableDevice *,const struct __CFDictionary *,void *)";

/// The operation whose first report means that the restore operating system is on its way.
constexpr std::int32_t booting = 9;

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

} // namespace

void device_notifier_state::set_restore_bundle(const boost::filesystem::path& bundle, bool erase) {
    cf_handle<CFMutableDictionaryRef> options(AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
    if (!options) {
        throw std::runtime_error("AMRestoreCreateDefaultOptions failed");
    }
    const auto set = [&options](CFStringRef key, CFStringRef value) {
        CFDictionarySetValue(options.get(), key, value);
    };
    set(CFSTR("AuthInstallRestoreBehavior"), erase ? CFSTR("Erase") : CFSTR("Update"));
    set(CFSTR("BootImageType"), erase ? CFSTR("UserOrInternal") : CFSTR("Update"));
    const auto personalized_bundle =
        make_path_string(scratchLocation / "PRB" / std::to_string(next_bundle_number()));
    const auto bundle_path = make_path_string(bundle);
    set(CFSTR("PersonalizedRestoreBundlePath"), personalized_bundle.get());
    set(CFSTR("RestoreBundlePath"), bundle_path.get());
    restoreOptions.reset(options.release());
}

void device_notifier_state::restoreDevice(_AMRestorableDevice* device) {
    if (!restoreOptions) {
        throw make_tool_error(tool_error::invalid_argument, "restoreOptions not set");
    }
    completion = std::promise<int>();
    // What the call returns says nothing that the reports, or their absence, do not say better.
    AMRestorableDeviceRestore(device, restoreOptions.get(), restoreCallback, this);
    // A promise that the reports fulfilled during the call has kept its state.
    auto completed = completion.get_future();
    if (completed.wait_for(std::chrono::nanoseconds(restoreTimeout)) ==
        std::future_status::timeout) {
        const auto error =
            make_tool_error(tool_error::restore_timeout,
                            fmt::format("Aborting, restore did not complete in {} seconds",
                                        whole_seconds(restoreTimeout)));
        outputter->print_formatted_error(error.get());
        return;
    }
    completed.get();
}

void device_notifier_state::restoreCallback(_AMRestorableDevice*, CFDictionaryRef statusDict,
                                            void* context) {
    if (context == nullptr) {
        fail_assertion(source, 327, restore_callback_signature, "context");
    }
    if (const auto visit = gate().enter(context)) {
        static_cast<device_notifier_state*>(context)->report_restore_status(statusDict);
    }
}

void device_notifier_state::report_restore_status(CFDictionaryRef statusDict) {
    constexpr auto signature = restore_callback_signature;
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
    log(fmt::format("{}: status {}, operation {}, progress {}", signature, status->status,
                    amr_operation{status->operation}, status->progress));

    const auto converted = to_xml_plist_compatible(statusDict, 0);
    if (!converted || CFGetTypeID(converted.get()) != CFDictionaryGetTypeID()) {
        log(fmt::format("{}: Could not convert statusDict", signature));
        return;
    }
    const cf_handle<CFMutableDictionaryRef> record(CFDictionaryCreateMutableCopy(
        kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(converted.get())));
    if (record && status->operation != 0) {
        const cf_handle<CFStringRef> name(AMRLocalizedCopyStringForAMROperation(status->operation));
        CFDictionarySetValue(record.get(), CFSTR("Orv_OperationName"), name.get());
    }
    outputter->print_value(CFSTR("RestoreStatus"), record.get());

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
