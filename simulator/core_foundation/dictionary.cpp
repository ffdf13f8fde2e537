#include "simulator/core_foundation/dictionary.h"

#include "simulator/core_foundation/callbacks.h"

#include <algorithm>

using simulator::checked;

const simulator::runtime_type& __CFDictionary::static_type() {
    static const auto& type = *new simulator::runtime_type("CFDictionary");
    return type;
}

bool __CFDictionary::equals(const object& other) const {
    const simulator::entry_table& others = static_cast<const __CFDictionary&>(other).table;
    return table.entries().size() == others.entries().size() &&
           std::ranges::all_of(table.entries(), [&others](const auto& entry) {
               const auto* match = others.find(*entry.key);
               return match != nullptr && CFEqual(entry.value.get(), match->value.get());
           });
}

std::string __CFDictionary::describe() const {
    std::string result = "{";
    for (const auto& [key, value] : table.entries()) {
        result += (result.size() > 1 ? ", " : "") + key->describe_inside() + " = " +
                  value->describe_inside();
    }
    return result + "}";
}

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, {&simulator::standard_callbacks_mark}};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, {&simulator::standard_callbacks_mark}};

CFTypeID CFDictionaryGetTypeID() {
    return __CFDictionary::static_type().id();
}

CFMutableDictionaryRef
CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks* key_callbacks,
                          const CFDictionaryValueCallBacks* value_callbacks) {
    if (!simulator::are_standard(key_callbacks, kCFTypeDictionaryKeyCallBacks) ||
        !simulator::are_standard(value_callbacks, kCFTypeDictionaryValueCallBacks)) {
        simulator::misuse(__func__, "callbacks other than those for objects");
    }
    simulator::owned<__CFDictionary> dictionary(simulator::create<__CFDictionary>());
    if (dictionary != nullptr) {
        // Most have a few entries.
        dictionary->table.reserve(4);
    }
    return dictionary.release();
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex,
                                                     CFDictionaryRef dictionary) {
    const simulator::entry_table& table = checked(dictionary).table;
    simulator::owned<__CFDictionary> copy(simulator::create<__CFDictionary>());
    if (copy != nullptr) {
        // It is made to be added to.
        copy->table.reserve(table.entries().size() + 1);
        for (const auto& [key, value] : table.entries()) {
            copy->table.set(*key, value.get());
        }
    }
    return copy.release();
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    return static_cast<CFIndex>(checked(dictionary).table.entries().size());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const auto* entry = checked(dictionary).table.find(checked(key));
    return entry == nullptr ? nullptr : entry->value.get();
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    checked(dictionary).table.set(checked(key), &checked(value));
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
    for (const auto& [key, value] : checked(dictionary).table.entries()) {
        applier(key.get(), value.get(), context);
    }
}
