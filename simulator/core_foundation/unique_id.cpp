#include "simulator/core_foundation/unique_id.h"

const simulator::runtime_type& __CFKeyedArchiverUID::static_type() {
    static const auto& type = *new simulator::runtime_type("CFKeyedArchiverUID");
    return type;
}

bool __CFKeyedArchiverUID::equals(const object& other) const {
    return value == static_cast<const __CFKeyedArchiverUID&>(other).value;
}

std::string __CFKeyedArchiverUID::describe() const {
    return "<CFKeyedArchiverUID " + std::to_string(value) + ">";
}
