/// read_scenario with a whole file. The result is a scenario that the simulator can use, or an
/// error of one line about this file.

#include "fuzzers/fuzzing.h"
#include "fuzzers/memory_file.h"
#include "simulator/mobile_device/scenario_file.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

namespace vandrel::fuzzing {

namespace {

bool is_time(double seconds) {
    return std::isfinite(seconds) && seconds >= 0;
}

/// Whether two bytes of UTF-8 are one of the control characters U+0080 to U+009F.
bool is_c1_control(unsigned char first, unsigned char second) {
    return first == 0xC2 && second < 0xA0;
}

void require_playable(const simulator::scenario& scenario) {
    std::set<std::string> names;
    for (const auto& device : scenario.devices) {
        require(names.insert(device.name).second, "a name that no other device has");
        for (const auto& report : device.restore.reports) {
            require(is_time(report.after), "a report at some time");
        }
    }
    for (const auto& event : scenario.events.value_or(std::vector<simulator::device_event>())) {
        require(is_time(event.at), "an event at some time");
        require(!event.device || *event.device < scenario.devices.size(), "a device that is there");
    }
}

} // namespace

void try_input(input bytes) {
    static const auto& file = *new memory_file;
    file.fill(bytes);
    try {
        require_playable(simulator::read_scenario(file.path()));
    } catch (const simulator::scenario_error& error) {
        const std::string text = error.what();
        require(text.starts_with(file.path() + ": "), "the file in the error text");
        require(std::ranges::none_of(
                    text, [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }),
                "an error text of one line");
        require(std::ranges::adjacent_find(text, is_c1_control) == text.end(),
                "an error text without control characters");
        require(text.find(": is ") != std::string::npos &&
                    text.find("; should be ") != std::string::npos,
                "what is wrong, and what would be right");
    }
}

} // namespace vandrel::fuzzing
