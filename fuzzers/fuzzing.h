#pragma once

/// The parts that all fuzzers share.

#include <cstdint>
#include <span>
#include <string_view>

namespace vandrel::fuzzing {

using input = std::span<const std::uint8_t>;

/// Each fuzzer defines this function: it tries one input and requires what is expected of the
/// result. For all
/// fuzzers, the caller then checks that no CoreFoundation object was leaked.
void try_input(input bytes);

/// Ends the process if `holds` is false, so that libFuzzer stores the input. `what` is what was
/// expected.
void require(bool holds, const char* what);

inline std::string_view text_of(input bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace vandrel::fuzzing
