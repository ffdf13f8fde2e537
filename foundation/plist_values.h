#pragma once

/// Which values a property list can hold, and how others are converted.

#include "foundation/cf_handle.h"

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace vandrel {

/// A new, empty dictionary that retains its keys and values. Null if it cannot be made.
cf_handle<CFMutableDictionaryRef> make_dictionary();

/// Adds the entries to `dictionary`, which retains their values. Leaves out those with a null
/// value.
void set_values(CFMutableDictionaryRef dictionary,
                std::initializer_list<std::pair<CFStringRef, CFTypeRef>> entries);

/// A new dictionary that describes `error`: "Domain", "Code", "Description" and "FailureReason",
/// each only when the error has it. Null for a null error, or when it cannot be made.
cf_handle<CFMutableDictionaryRef> cferror_to_dictionary(CFErrorRef error);

/// A deep copy of property-list types only: scalars and keys are shared, arrays and dictionaries
/// are copied, and errors become dictionaries (cferror_to_dictionary). Null and every other type
/// give null. An element or value that cannot be copied is dropped when `strict` is 0, and so is an
/// entry whose key is no string. When `strict` is not 0, the result is null instead, and nothing
/// after the failure is converted.
cf_handle<CFTypeRef> make_plist_compatible(CFTypeRef value, std::int32_t strict);

/// make_plist_compatible; throws std::runtime_error when that gives null and `strict` is 1.
cf_handle<CFTypeRef> to_xml_plist_compatible(CFTypeRef value, std::int32_t strict);

/// Whether `value` and everything in it can be written as a property list in `format`. Sets are
/// not valid in XML. Nothing is valid in the OpenStep format.
bool is_valid_plist_value(CFTypeRef value, CFPropertyListFormat format);

} // namespace vandrel
