#include "simulator/core_foundation/boolean.h"

const simulator::runtime_type& __CFBoolean::static_type() {
    static const auto& type = *new simulator::runtime_type("CFBoolean");
    return type;
}

const CFBooleanRef kCFBooleanTrue = simulator::create_immortal<__CFBoolean>(true);
const CFBooleanRef kCFBooleanFalse = simulator::create_immortal<__CFBoolean>(false);

CFTypeID CFBooleanGetTypeID() {
    return __CFBoolean::static_type().id();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    return simulator::checked(boolean).value;
}
