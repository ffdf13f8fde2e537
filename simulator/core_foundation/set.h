#pragma once

/// Sets.

#include "simulator/core_foundation/entry_table.h"
#include "simulator/core_foundation/object.h"

#include <string>

struct __CFSet final : simulator::object {
    __CFSet() : object(static_type()) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override { return members.entries().size(); }
    std::string describe() const override;

    /// As keys; the values are null.
    simulator::entry_table members;
};
