#pragma once

/// Unique ids, by which objects in archives refer to each other. The platform has no public
/// functions for them. They are created only when property lists are read.

#include "simulator/core_foundation/object.h"

#include <cstdint>
#include <string>

struct __CFKeyedArchiverUID final : simulator::object {
    explicit __CFKeyedArchiverUID(std::uint32_t number) : object(static_type()), value(number) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override { return value; }
    std::string describe() const override;

    const std::uint32_t value;
};
