#include "device/device_properties.h"

#include "foundation/cf_text.h"
#include "foundation/plist_values.h"

#include <utility>

namespace vandrel {

namespace {

/// The text of `string`, which is released. Absent when `string` is null or has no UTF-8 form.
std::optional<std::string> take_text(CFStringRef string) {
    const cf_handle<CFStringRef> owned(string);
    return copy_utf8(string);
}

/// A null value is left out.
void set(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value) {
    if (value != nullptr) {
        CFDictionarySetValue(dictionary, key, value);
    }
}

void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, std::uint16_t value) {
    const cf_handle<CFNumberRef> number(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt16Type, &value));
    set(dictionary, key, number.get());
}

void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, std::uint32_t value) {
    const cf_handle<CFNumberRef> number(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
    set(dictionary, key, number.get());
}

void set_text(CFMutableDictionaryRef dictionary, CFStringRef key,
              const std::optional<std::string>& text) {
    if (text) {
        set(dictionary, key, make_cfstring(*text).get());
    }
}

} // namespace

device_properties make_device_info(Orv::ecid ecid, _AMRestorableDevice* device) {
    return {
        .ecid = std::move(ecid),
        .productId = AMRestorableDeviceGetProductID(device),
        .boardId = AMRestorableDeviceGetBoardID(device),
        .chipId = AMRestorableDeviceGetChipID(device),
        .productType = AMRestorableDeviceGetProductType(device),
        .fusingInfo = AMRestorableDeviceGetFusingInfo(device),
        .locationId = AMRestorableDeviceGetLocationID(device),
        .serialNumber = take_text(AMRestorableDeviceCopySerialNumber(device)),
        .productString = take_text(AMRestorableDeviceCopyProductString(device)),
        .description = std::nullopt,
    };
}

cf_handle<CFMutableDictionaryRef> device_info_dictionary(const device_properties& properties) {
    auto dictionary = make_dictionary();
    if (dictionary) {
        set(dictionary.get(), CFSTR("ECID"), ecid_cfstring(properties.ecid).get());
        set_number(dictionary.get(), CFSTR("ProductID"), properties.productId);
        set_number(dictionary.get(), CFSTR("BoardID"), properties.boardId);
        set_number(dictionary.get(), CFSTR("ChipID"), properties.chipId);
        set_number(dictionary.get(), CFSTR("ProductType"), properties.productType);
        set_number(dictionary.get(), CFSTR("FusingInfo"), properties.fusingInfo);
        set_number(dictionary.get(), CFSTR("LocationID"), properties.locationId);
        set_text(dictionary.get(), CFSTR("SerialNumber"), properties.serialNumber);
        set_text(dictionary.get(), CFSTR("ProductString"), properties.productString);
        set_text(dictionary.get(), CFSTR("Description"), properties.description);
    }
    return dictionary;
}

cf_handle<CFStringRef> ecid_cfstring(const Orv::ecid& ecid) {
    return make_cfstring(ecid.text());
}

} // namespace vandrel
