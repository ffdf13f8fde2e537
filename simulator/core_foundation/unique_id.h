#pragma once

/// Unique ids, which archives of objects refer to each other by. The platform has no public
/// functions for them; they come out of property lists only.

#include "simulator/core_foundation/object.h"

#include <string>

struct __CFKeyedArchiverUID final : simulator::object {
    explicit __CFKeyedArchiverUID(std::uint32_t number) : object(static_type()), value(number) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override { return value; }
    std::string describe() const override;

    const std::uint32_t value;
};
