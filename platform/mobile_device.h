#pragma once

/// The functions of Apple's MobileDevice that vandrel uses, under their own names.
///
/// Our own declarations; see core_foundation.h for who supplies the functions. Callbacks arrive at
/// any time between registration and the end of the process, on threads of MobileDevice or on the
/// thread that calls one of its functions.

#include "platform/core_foundation.h"

#include <cstdint>

extern "C" {

/// A device in any state that AMRestorableDeviceGetState returns: a CoreFoundation object.
struct _AMRestorableDevice;
/// The Recovery-mode device of a restorable device: a CoreFoundation object.
struct _AMRecoveryModeDevice;

// --- booted devices; only a subscription is used, because it starts MobileDevice's USB service

struct _AMDeviceNotification;
struct AMDeviceNotificationInfo;
using AMDeviceNotificationCallback = void (*)(const AMDeviceNotificationInfo* info, void* context);

/// 0, or an error number.
int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, std::uint32_t unused,
                                  std::uint32_t connection_type, void* context,
                                  _AMDeviceNotification** subscription);
int AMDeviceNotificationUnsubscribe(_AMDeviceNotification* subscription);

// --- restorable devices

/// `type`: 0 connected, 1 disconnected. `device` is borrowed, and may be null.
using AMRestorableDeviceNotificationCallback = void (*)(_AMRestorableDevice* device,
                                                        std::uint32_t type, void* context);

/// The number of the registration. On failure an owned error is stored in `*error`.
std::int32_t
AMRestorableDeviceRegisterForNotifications(AMRestorableDeviceNotificationCallback callback,
                                           void* context, CFErrorRef* error);
std::int32_t AMRestorableDeviceUnregisterForNotifications(std::int32_t registration);

/// 0 unknown, 1 DFU, 2 Recovery, 3 restore operating system, 4 booted.
std::uint32_t AMRestorableDeviceGetState(_AMRestorableDevice* device);
/// 0 if the device does not report it.
std::uint64_t AMRestorableDeviceGetECID(_AMRestorableDevice* device);
/// The USB product number.
std::uint16_t AMRestorableDeviceGetProductID(_AMRestorableDevice* device);
std::uint32_t AMRestorableDeviceGetBoardID(_AMRestorableDevice* device);
std::uint32_t AMRestorableDeviceGetChipID(_AMRestorableDevice* device);
std::uint32_t AMRestorableDeviceGetProductType(_AMRestorableDevice* device);
std::uint32_t AMRestorableDeviceGetFusingInfo(_AMRestorableDevice* device);
/// The USB location ID.
std::uint32_t AMRestorableDeviceGetLocationID(_AMRestorableDevice* device);
/// Null if the device does not report it.
CFStringRef AMRestorableDeviceCopySerialNumber(_AMRestorableDevice* device);
/// Null if the device does not report it.
CFStringRef AMRestorableDeviceCopyProductString(_AMRestorableDevice* device);

// --- Recovery mode

/// Null if `device` has no Recovery-mode device.
_AMRecoveryModeDevice* AMRestorableDeviceCopyRecoveryModeDevice(_AMRestorableDevice* device);
/// Sets whether the device boots its system by itself. Returns 0, or an AMR error code.
std::int32_t AMRecoveryModeDeviceSetAutoBoot(_AMRecoveryModeDevice* device, Boolean auto_boot);
/// 0, or an AMR error code.
std::int32_t AMRecoveryModeDeviceReboot(_AMRecoveryModeDevice* device);

// --- restores

/// `report` is borrowed. Called for every report of a running restore.
using AMRestorableDeviceRestoreCallback = void (*)(_AMRestorableDevice* device,
                                                   CFDictionaryRef report, void* context);

/// A new dictionary with MobileDevice's default restore options, or null.
CFMutableDictionaryRef AMRestoreCreateDefaultOptions(CFAllocatorRef allocator);
/// Starts a restore and returns 0, or an AMR error code. Reports are passed to `callback`, the
/// first of them possibly during the call.
std::int32_t AMRestorableDeviceRestore(_AMRestorableDevice* device, CFDictionaryRef options,
                                       AMRestorableDeviceRestoreCallback callback, void* context);
/// Logs restores into the file at `path`, which is UTF-8. Returns 0, or an AMR error code.
std::int32_t AMRestoreEnableFileLogging(const char* path);

} // extern "C"
