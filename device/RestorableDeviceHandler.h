#pragma once

#include "debug/device_state.h"
#include "device/callback_gate.h"
#include "device/device_operation.h"
#include "device/device_table.h"
#include "driver/ecid.h"
#include "foundation/cf_handle.h"
#include "output/output_str_state.h"
#include "platform/mobile_device.h"

#include <boost/filesystem/path.hpp>

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>

namespace vandrel {

/// One run's session with MobileDevice: the chosen command and its settings, the live table of the
/// attached devices, and a private scratch directory that goes with the session.
///
/// The driver creates it, fills in the settings and calls waitForCompletion on the worker thread.
/// MobileDevice calls the two static callbacks on threads of its own, with the session's address;
/// those that come when the session is gone find the gate closed and do nothing.
class device_notifier_state {
public:
    /// `amrLogFile`: where MobileDevice is to log restores, if anywhere. `scratchOverride`: the
    /// scratch directory; absent or empty, a new name under the system's temporary directory.
    /// Nothing is created on disk. Throws std::invalid_argument when `outputter` is null.
    device_notifier_state(std::shared_ptr<output_str_state> outputter,
                          const std::optional<boost::filesystem::path>& amrLogFile,
                          const std::optional<boost::filesystem::path>& scratchOverride);
    device_notifier_state(const device_notifier_state&) = delete;
    device_notifier_state& operator=(const device_notifier_state&) = delete;
    /// Waits for callbacks that are inside, then removes the scratch directory with all in it.
    ~device_notifier_state();

    // --- settings, filled in before waitForCompletion and left alone from then on

    device_operation operation = device_operation::list_devices;
    /// The option that chose the command, for messages.
    std::string operationName;
    std::optional<Orv::ecid> targetEcid;
    /// Nanoseconds.
    std::int64_t detectTimeout = 3'000'000'000;
    /// Nanoseconds.
    std::int64_t restoreTimeout = 7'200'000'000'000;
    cf_handle<CFDictionaryRef> restoreOptions;

    /// Fills restoreOptions for a restore of the IPSW bundle at `bundle`: MobileDevice's defaults
    /// with the bundle's path, the path for its personalised copy under the scratch directory, and
    /// the behaviour that `erase` asks for. Throws std::runtime_error when MobileDevice has no
    /// defaults or a path cannot be converted.
    void set_restore_bundle(const boost::filesystem::path& bundle, bool erase);

    // --- the command

    /// Runs the command from registration to the end of notifications. Returns what
    /// AMRestorableDeviceUnregisterForNotifications gives. Throws cf_error_handle; the
    /// registration then stays in place.
    std::int32_t waitForCompletion();

    /// The device of that ECID from the table, waiting up to detectTimeout for it to appear; null
    /// when it did not.
    device_handle waitForDevice(const Orv::ecid& ecid);

    /// Carries out exit_recovery or no_exit_recovery on `recoveryDevice`, borrowed, and writes the
    /// record of success; does nothing when `operation` is neither. Throws cf_error_handle when the
    /// device refuses, std::invalid_argument when `recoveryDevice` is null.
    void operateOnRecoveryDevice(_AMRecoveryModeDevice* recoveryDevice);

    /// Restores `device` with restoreOptions, and waits up to restoreTimeout for the report that
    /// completes the command. Running out of time is an error record, not an exception. Throws
    /// cf_error_handle when there are no options.
    void restoreDevice(_AMRestorableDevice* device);

    // --- what MobileDevice calls; `context` is the session's address

    /// Keeps the table. Throws std::invalid_argument when `context` is null.
    static void deviceNotificationCallback(_AMRestorableDevice* device, notification_type type,
                                           void* context);

    /// Makes a record of every valid report of a restore, and ends the wait of restoreDevice with
    /// the report that completes the command; a second one of that kind throws std::future_error.
    /// Throws std::invalid_argument when `context` is null.
    static void restoreCallback(_AMRestorableDevice* device, CFDictionaryRef statusDict,
                                void* context);

private:
    /// Knows which sessions are alive.
    static callback_gate& gate();

    void remove_scratch_directory() noexcept;
    /// Whether the notification reached the table, so that waiters have to look again.
    bool update_devices(_AMRestorableDevice* device, notification_type type);
    void operate_on_device();
    /// The Recovery-mode side of `device`. Throws cf_error_handle when it is in another state or
    /// has none.
    cf_handle<_AMRecoveryModeDevice*> copy_recovery_device(_AMRestorableDevice* device) const;
    void list_devices();
    void report_restore_status(CFDictionaryRef statusDict);

    std::shared_ptr<output_str_state> outputter;
    boost::filesystem::path scratchLocation;
    /// Its lock is taken before the output channel's own, never after.
    device_table devices;
    std::promise<int> completion;
};

} // namespace vandrel
