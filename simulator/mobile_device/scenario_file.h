#pragma once

/// Scenarios in property lists. docs/scenario.md has the format.

#include "simulator/mobile_device/scenario.h"

#include <stdexcept>
#include <string>

namespace simulator {

/// The scenario cannot be used. The text says the file if there is one, the place in it, what is
/// wrong and what would be right, as in
/// `demo.plist: Devices[2].ECID: is "12AB"; should be a string of 16 hexadecimal digits`.
/// It is one line, unless the file's path has line feeds.
class scenario_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `plist` is not null. Values that the tool receives unchanged are retained. Throws
/// scenario_error.
scenario parse_scenario(CFTypeRef plist);

/// `path` is UTF-8. Throws scenario_error, also when the file cannot be read.
scenario read_scenario(const std::string& path);

} // namespace simulator
