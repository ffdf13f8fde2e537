#include "simulator/core_foundation/callbacks.h"
#include "simulator/core_foundation/entry_table.h"
#include "simulator/core_foundation/object.h"

#include <algorithm>
#include <string>

using simulator::checked;

struct __CFSet final : simulator::object {
    __CFSet() : object(static_type()) {}
    static const simulator::runtime_type& static_type() {
        static const auto& type = *new simulator::runtime_type("CFSet");
        return type;
    }

    bool equals(const object& other) const override {
        const simulator::entry_table& others = static_cast<const __CFSet&>(other).members;
        return members.entries().size() == others.entries().size() &&
               std::ranges::all_of(members.entries(), [&others](const auto& member) {
                   return others.find(*member.key) != nullptr;
               });
    }
    CFHashCode hash() const override { return members.entries().size(); }
    std::string describe() const override {
        std::string result = "{(";
        for (const auto& member : members.entries()) {
            result += (result.size() > 2 ? ", " : "") + member.key->describe();
        }
        return result + ")}";
    }

    /// As keys; the values are null.
    simulator::entry_table members;
};

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
