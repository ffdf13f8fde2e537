#pragma once

/// A bench over a random history: devices that come and go, tools that report and end in any order,
/// lists and locks with any answer, clocks with gaps. What the bench decides is held to rules that
/// are written down a second time.

#include <cstdint>
#include <functional>
#include <span>

namespace vandrel::station {

/// Called each time a rule is checked: whether it holds, and what it says.
using rule_check = std::function<void(bool holds, const char* rule)>;

/// Plays the history that the bytes are, and ends it. Any bytes are a history.
void play_bench(std::span<const std::uint8_t> bytes, const rule_check& check);

} // namespace vandrel::station
