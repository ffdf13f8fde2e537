#pragma once

/// The standard callbacks of containers, which are the only ones that the simulated platform has.

#include <cstring>

namespace simulator {

/// Its address is the content of the standard callbacks, by which they are recognised.
inline constexpr char standard_callbacks_mark = 0;

/// Compares the content: a program that loads the platform as a library may have a copy.
template<class Callbacks>
bool are_standard(const Callbacks* given, const Callbacks& standard) {
    return given != nullptr && std::memcmp(given, &standard, sizeof standard) == 0;
}

} // namespace simulator
