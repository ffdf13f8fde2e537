#include "simulator/core_foundation/set.h"

#include "simulator/core_foundation/callbacks.h"

#include <algorithm>

using simulator::checked;

const simulator::runtime_type& __CFSet::static_type() {
    static const auto& type = *new simulator::runtime_type("CFSet");
    return type;
}

bool __CFSet::equals(const object& other) const {
    const simulator::entry_table& others = static_cast<const __CFSet&>(other).members;
    return members.entries().size() == others.entries().size() &&
           std::ranges::all_of(members.entries(), [&others](const auto& member) {
               return others.find(*member.key) != nullptr;
           });
}

std::string __CFSet::describe() const {
    std::string result = "{(";
    for (const auto& member : members.entries()) {
        result += (result.size() > 2 ? ", " : "") + member.key->describe_inside();
    }
    return result + ")}";
}

const CFSetCallBacks kCFTypeSetCallBacks = {0, {&simulator::standard_callbacks_mark}};

CFTypeID CFSetGetTypeID() {
    return __CFSet::static_type().id();
}

CFMutableSetRef CFSetCreateMutable(CFAllocatorRef, CFIndex, const CFSetCallBacks* callbacks) {
    if (!simulator::are_standard(callbacks, kCFTypeSetCallBacks)) {
        simulator::misuse(__func__, "callbacks other than kCFTypeSetCallBacks");
    }
    return simulator::create<__CFSet>();
}

void CFSetAddValue(CFMutableSetRef set, const void* value) {
    checked(set).members.set(checked(value), nullptr);
}

void CFSetApplyFunction(CFSetRef set, CFSetApplierFunction applier, void* context) {
    for (const auto& member : checked(set).members.entries()) {
        applier(member.key.get(), context);
    }
}
