#include "simulator/core_foundation/object.h"

struct __CFNull final : simulator::object {
    __CFNull() : object(static_type()) {}
    static const simulator::runtime_type& static_type() {
        static const auto& type = *new simulator::runtime_type("CFNull");
        return type;
    }
};

const CFNullRef kCFNull = simulator::create_immortal<__CFNull>();
