#pragma once

/// Points in time, and their text in a property list.

#include "simulator/core_foundation/object.h"

#include <optional>
#include <string>
#include <string_view>

struct __CFDate final : simulator::object {
    explicit __CFDate(CFAbsoluteTime absolute_time) : object(static_type()), time(absolute_time) {}
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override;
    std::string describe() const override;

    const CFAbsoluteTime time;
};

namespace simulator {

/// "2001-01-01T00:00:00Z", in whole seconds, rounded down. Years before 0 have a minus sign, later
/// ones than 9999 more digits than four. What is no time, or beyond what 64 bits hold in seconds,
/// has a text that stands for no day.
std::string date_text(CFAbsoluteTime time);

/// The time that such a text stands for; none when it is no such text, or no such day.
std::optional<CFAbsoluteTime> parse_date(std::string_view text);

} // namespace simulator
