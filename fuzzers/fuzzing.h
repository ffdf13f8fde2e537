#pragma once

/// The frame of every fuzzer.

#include <cstdint>
#include <span>
#include <string_view>

namespace vandrel::fuzzing {

using input = std::span<const std::uint8_t>;

/// What each fuzzer consists of: it tries one input, and requires what has to hold for it. That no
/// object of the platform stays alive is looked at afterwards, for all fuzzers.
void try_input(input bytes);

/// Ends the process when `holds` is false; the input at hand is then a finding. `what` is what
/// should have been.
void require(bool holds, const char* what);

inline std::string_view text_of(input bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace vandrel::fuzzing
