#include "platform/mobile_device.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/running_simulation.h"

/// A subscription to booted devices, of which the simulation has none to tell: nothing is in it.
struct _AMDeviceNotification {};

namespace simulator {

namespace {

void set_text(CFMutableDictionaryRef dictionary, CFStringRef key,
              const std::optional<std::string>& text) {
    if (text) {
        CFDictionarySetValue(dictionary, key, cf_string(*text).get());
    }
}

CFErrorRef create_error(const registration_failure& failure) {
    cf_handle<CFStringRef> domain;
    cf_handle<CFMutableDictionaryRef> user_info;
    {
        // Only the error itself is the caller's.
        const unaccounted_scope scope;
        domain = cf_string(failure.domain);
        user_info = cf_dictionary();
        set_text(user_info.get(), kCFErrorLocalizedDescriptionKey, failure.description);
        set_text(user_info.get(), kCFErrorLocalizedFailureReasonKey, failure.failure_reason);
    }
    return CFErrorCreate(kCFAllocatorDefault, domain.get(), failure.code, user_info.get());
}

} // namespace

} // namespace simulator

using simulator::running;

int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback, std::uint32_t,
                                  std::uint32_t connection_type, void*,
                                  _AMDeviceNotification** subscription) {
    static auto& the_subscription = *new _AMDeviceNotification;
    running().record(__func__, nullptr, {{"ConnectionType", std::int64_t{connection_type}}});
    *subscription = &the_subscription;
    return 0;
}

int AMDeviceNotificationUnsubscribe(_AMDeviceNotification*) {
    running().record(__func__);
    return 0;
}

std::int32_t
AMRestorableDeviceRegisterForNotifications(AMRestorableDeviceNotificationCallback callback,
                                           void* context, CFErrorRef* error) {
    simulator::running_simulation& simulation = running();
    simulation.record(__func__);
    if (const auto& failure = simulation.played().registration_error) {
        if (error != nullptr) {
            *error = simulator::create_error(*failure);
        }
        return 0;
    }
    return simulation.add_registration(callback, context);
}

std::int32_t AMRestorableDeviceUnregisterForNotifications(std::int32_t registration) {
    constexpr std::int32_t bad_argument = 1;
    running().record(__func__, nullptr, {{"Registration", std::int64_t{registration}}});
    return running().cancel_registration(registration) ? 0 : bad_argument;
}
