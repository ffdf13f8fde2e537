#pragma once

/// Booleans: there are two.

#include "simulator/core_foundation/object.h"

#include <string>

struct __CFBoolean final : simulator::object {
    explicit __CFBoolean(bool truth) : object(static_type()), value(truth) {}
    static const simulator::runtime_type& static_type();

    std::string describe() const override { return value ? "true" : "false"; }

    const bool value;
};
