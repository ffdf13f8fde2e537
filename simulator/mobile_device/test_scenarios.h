#pragma once

/// Helpers that create and play scenarios in tests.

#include "simulator/core_foundation/test_objects.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/simulation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace simulator::test {

/// A simulation that runs as long as this object lives. Times pass a million times as fast, so that
/// seconds only define an order.
class played {
public:
    explicit played(scenario content = {}, std::optional<std::string> journal = std::nullopt) {
        start(std::move(content), {std::move(journal), 1e6});
    }
    ~played() { stop(); }
    played(const played&) = delete;
    played& operator=(const played&) = delete;
};

inline device_description device(const std::string& name, std::uint64_t ecid = 1) {
    device_description result;
    result.name = name;
    result.ecid = ecid;
    return result;
}

/// A scenario with one device called "d", which the caller changes before it is attached.
template<class Change>
scenario with_device(Change change) {
    scenario result;
    result.devices.push_back(device("d"));
    change(result.devices.back());
    return result;
}

inline scenario with_device() {
    return with_device([](device_description&) {});
}

/// A report that has nothing but a number under "Operation".
inline restore_report report(double after, std::int64_t operation) {
    const auto content = make_dictionary({{CFSTR("Operation"), make_number(operation).get()}});
    return {after, cf_retained<CFTypeRef>(content.get())};
}

} // namespace simulator::test
