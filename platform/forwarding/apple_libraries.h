#pragma once

#include <stdexcept>

namespace vandrel {

/// Apple's libraries cannot be loaded, or lack something. The text is one sentence.
class apple_library_missing : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Loads Apple's libraries and binds the forwarded functions and constants to them. To be called
/// before any of them is used, and before any other thread starts. Throws apple_library_missing.
void load_apple_libraries();

} // namespace vandrel
