#include "simulator/core_foundation/array.h"

#include "simulator/core_foundation/callbacks.h"

#include <algorithm>

using simulator::checked;

const simulator::runtime_type& __CFArray::static_type() {
    static const auto& type = *new simulator::runtime_type("CFArray");
    return type;
}

bool __CFArray::equals(const object& other) const {
    return std::ranges::equal(
        values, static_cast<const __CFArray&>(other).values,
        [](const auto& left, const auto& right) { return CFEqual(left.get(), right.get()) != 0; });
}

std::string __CFArray::describe() const {
    std::string result = "(";
    for (const auto& value : values) {
        result += (result.size() > 1 ? ", " : "") + value->describe_inside();
    }
    return result + ")";
}

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, {&simulator::standard_callbacks_mark}};

CFTypeID CFArrayGetTypeID() {
    return __CFArray::static_type().id();
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callbacks) {
    if (!simulator::are_standard(callbacks, kCFTypeArrayCallBacks)) {
        simulator::misuse(__func__, "callbacks other than kCFTypeArrayCallBacks");
    }
    return simulator::create<__CFArray>();
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    return static_cast<CFIndex>(checked(array).values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    const auto& values = checked(array).values;
    if (index < 0 || index >= static_cast<CFIndex>(values.size())) {
        simulator::misuse(__func__, "index out of bounds");
    }
    return values[static_cast<std::size_t>(index)].get();
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
    checked(array).values.push_back(simulator::retained(&checked(value)));
}

void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                          void* context) {
    const auto count = static_cast<CFIndex>(checked(array).values.size());
    if (range.location < 0 || range.length < 0 || range.length > count - range.location) {
        simulator::misuse(__func__, "range out of bounds");
    }
    for (CFIndex index = range.location; index < range.location + range.length; ++index) {
        applier(CFArrayGetValueAtIndex(array, index), context);
    }
}
