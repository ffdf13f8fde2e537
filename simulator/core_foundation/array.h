#pragma once

/// Arrays.

#include "simulator/core_foundation/object.h"

#include <string>
#include <vector>

struct __CFArray final : simulator::object {
    __CFArray() : object(static_type()) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override { return values.size(); }
    std::string describe() const override;

    /// None is null.
    std::vector<simulator::owned<const object>> values;
};
