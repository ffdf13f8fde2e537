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

/// "2001-01-01T00:00:00Z", in whole seconds, rounded down. Years before 0 have a minus sign, and
/// years after 9999 more than four digits. A time that is NaN, or 9.2e18 seconds or more from 2001,
/// is written as "0000-00-00T00:00:00Z".
std::string date_text(CFAbsoluteTime time);

/// The time of such a text, whose year has four digits and no sign; none if the text has another
/// form, or if its day or time does not exist.
std::optional<CFAbsoluteTime> parse_date(std::string_view text);

} // namespace simulator
