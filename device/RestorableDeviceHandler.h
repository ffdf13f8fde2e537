#pragma once

#include "debug/device_state.h"
#include "device/callback_gate.h"
#include "device/device_operation.h"
#include "device/device_table.h"
#include "driver/ecid.h"
#include "foundation/cf_handle.h"
#include "platform/mobile_device.h"

#include <boost/filesystem/path.hpp>

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>

namespace vandrel {

class output_str_state;
struct diagnostic_name;

/// One run's session with MobileDevice: the chosen command and its settings, the table of the
/// attached devices, and a private scratch directory, which the destructor removes.
///
/// The driver creates it, fills in the settings and calls waitForCompletion on the worker thread.
/// MobileDevice calls the two static callbacks, through noexcept wrappers, with the session's
/// address, on its own threads or on the thread that calls one of its functions. A callback after
/// the session's destruction does nothing.
///
/// Many members have the names that logs and MobileDevice use, so private fields do not end in an
/// underscore.
class device_notifier_state {
public:
    /// `amrLogFile`: the file in which MobileDevice logs restores, if any. `scratchOverride`: the
    /// scratch directory; if absent or empty, a new name under the system's temporary directory.
    /// Creates no directory; MobileDevice may create its log file. Throws std::invalid_argument if
    /// `outputter` is null, and boost::filesystem::filesystem_error if the system's temporary
    /// directory is needed and is not there.
    device_notifier_state(std::shared_ptr<output_str_state> outputter,
                          const std::optional<boost::filesystem::path>& amrLogFile,
                          const std::optional<boost::filesystem::path>& scratchOverride);
    device_notifier_state(const device_notifier_state&) = delete;
    device_notifier_state& operator=(const device_notifier_state&) = delete;
    /// Waits for running callbacks to return, then removes the scratch directory and its contents.
    ~device_notifier_state();

    // --- settings, which do not change after waitForCompletion has begun

    device_operation operation = device_operation::list_devices;
    /// The name of the option that chose the command, for messages.
    std::string operationName;
    std::optional<Orv::ecid> targetEcid;
    /// Nanoseconds.
    std::int64_t detectTimeout = 3'000'000'000;
    /// Nanoseconds.
    std::int64_t restoreTimeout = 7'200'000'000'000;
    cf_handle<CFDictionaryRef> restoreOptions;

    /// Stores in restoreOptions what make_restore_options gives for `bundle` and the scratch
    /// directory. Throws as it does.
    void set_restore_bundle(const boost::filesystem::path& bundle, bool erase);

    // --- the command

    /// Runs the command from registration to the end of notifications. Returns what
    /// AMRestorableDeviceUnregisterForNotifications gives. Throws cf_error_handle; a registration
    /// that has been made then stays in place.
    std::int32_t waitForCompletion();

    /// The device with this ECID from the table. Waits up to detectTimeout for it; null if it
    /// has not connected by then.
    device_handle waitForDevice(const Orv::ecid& ecid);

    /// Carries out exit_recovery or no_exit_recovery on `recoveryDevice`, which is borrowed, and
    /// queues the "CommandSuccess" record. Does nothing for other commands. Throws
    /// cf_error_handle when the device refuses, std::invalid_argument when `recoveryDevice` is
    /// null.
    void operateOnRecoveryDevice(_AMRecoveryModeDevice* recoveryDevice);

    /// Restores `device` with restoreOptions, and waits up to restoreTimeout for the report that
    /// completes the command. A timeout is an error record, not an exception. Throws
    /// cf_error_handle when there are no options.
    void restoreDevice(_AMRestorableDevice* device);

    // --- callbacks; `context` is the session's address. MobileDevice calls noexcept wrappers of
    // these. An exception in a callback ends the process.

    /// Updates the table. Throws std::invalid_argument when `context` is null.
    static void deviceNotificationCallback(_AMRestorableDevice* device, notification_type type,
                                           void* context);

    /// Queues a record for each valid report of a restore. The report that completes the command
    /// ends the wait of restoreDevice; a second completing report throws std::future_error. Throws
    /// std::invalid_argument when `context` is null.
    static void restoreCallback(_AMRestorableDevice* device, CFDictionaryRef statusDict,
                                void* context);

private:
    /// Lets callbacks use live sessions only.
    static callback_gate& gate();
    /// The visit of `callback` to the session `context`. Throws std::invalid_argument when
    /// `context` is null.
    static callback_gate::visit enter(const diagnostic_name& callback, const void* context);

    void remove_scratch_directory() noexcept;
    /// Whether to wake waiters: false if the notification was ignored, otherwise true, even for an
    /// unknown type.
    bool update_devices(_AMRestorableDevice* device, notification_type type);
    void operate_on_device();
    /// The Recovery-mode device of `device`. Throws cf_error_handle if `device` is not in Recovery
    /// mode or has no Recovery-mode device.
    cf_handle<_AMRecoveryModeDevice*> copy_recovery_device(_AMRestorableDevice* device) const;
    void list_devices();
    void report_restore_status(CFDictionaryRef statusDict);

    std::shared_ptr<output_str_state> outputter;

    // Protected for tests: one makes the location empty, others wait for changes of the table.
protected:
    boost::filesystem::path scratchLocation;
    /// Its lock is taken before the output channel's own, never after.
    device_table devices;

private:
    std::promise<int> completion;
};

} // namespace vandrel
