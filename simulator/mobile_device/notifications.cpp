#include "platform/mobile_device.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/running_simulation.h"

/// A subscription to booted devices. It is empty, because the simulation never reports any.
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
        // The caller owns only the error itself.
        const unaccounted_scope scope;
        domain = cf_string(failure.domain);
        if (failure.description || failure.failure_reason) {
            user_info = cf_dictionary();
            set_text(user_info.get(), kCFErrorLocalizedDescriptionKey, failure.description);
            set_text(user_info.get(), kCFErrorLocalizedFailureReasonKey, failure.failure_reason);
        }
    }
    return CFErrorCreate(kCFAllocatorDefault, domain.get(), failure.code, user_info.get());
}

} // namespace

} // namespace simulator

using simulator::running;

namespace {

/// All subscriptions are this one.
_AMDeviceNotification the_subscription;

} // namespace

int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, std::uint32_t unused,
                                  std::uint32_t connection_type, void* context,
                                  _AMDeviceNotification** subscription) {
    running().record(__func__, nullptr,
                     {{"ConnectionType", std::int64_t{connection_type}},
                      {"HasCallback", callback != nullptr},
                      {"HasContext", context != nullptr},
                      {"Unused", std::int64_t{unused}}});
    const std::int32_t result = running().played().subscription_result;
    if (result == 0) {
        *subscription = &the_subscription;
    }
    return result;
}

int AMDeviceNotificationUnsubscribe(_AMDeviceNotification* subscription) {
    running().record(__func__, nullptr, {{"HasSubscription", subscription != nullptr}});
    if (subscription != nullptr && subscription != &the_subscription) {
        simulator::misuse(__func__, "a subscription that was never made");
    }
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
    const std::int32_t registration = simulation.add_registration(callback, context);
    simulation.play_during(__func__);
    return registration;
}

std::int32_t AMRestorableDeviceUnregisterForNotifications(std::int32_t registration) {
    constexpr std::int32_t bad_argument = 1;
    running().record(__func__, nullptr, {{"Registration", std::int64_t{registration}}});
    running().play_during(__func__);
    return running().cancel_registration(registration) ? 0 : bad_argument;
}
