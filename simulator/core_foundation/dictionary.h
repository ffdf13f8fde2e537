#pragma once

/// Dictionaries.

#include "simulator/core_foundation/entry_table.h"
#include "simulator/core_foundation/object.h"

#include <string>

struct __CFDictionary final : simulator::object {
    __CFDictionary() : object(static_type()) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override { return table.entries().size(); }
    std::string describe() const override;

    /// No value is null.
    simulator::entry_table table;
};
