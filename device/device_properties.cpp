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

cf_handle<CFNumberRef> make_number(std::uint16_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt16Type, &value));
}

cf_handle<CFNumberRef> make_number(std::uint32_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
}

cf_handle<CFStringRef> make_text(const std::optional<std::string>& text) {
    return text ? make_cfstring(*text) : nullptr;
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
        set_values(dictionary.get(),
                   {
                       {CFSTR("ECID"), ecid_cfstring(properties.ecid).get()},
                       {CFSTR("ProductID"), make_number(properties.productId).get()},
                       {CFSTR("BoardID"), make_number(properties.boardId).get()},
                       {CFSTR("ChipID"), make_number(properties.chipId).get()},
                       {CFSTR("ProductType"), make_number(properties.productType).get()},
                       {CFSTR("FusingInfo"), make_number(properties.fusingInfo).get()},
                       {CFSTR("LocationID"), make_number(properties.locationId).get()},
                       {CFSTR("SerialNumber"), make_text(properties.serialNumber).get()},
                       {CFSTR("ProductString"), make_text(properties.productString).get()},
                       {CFSTR("Description"), make_text(properties.description).get()},
                   });
    }
    return dictionary;
}

cf_handle<CFStringRef> ecid_cfstring(const Orv::ecid& ecid) {
    return make_cfstring(ecid.text());
}

} // namespace vandrel
