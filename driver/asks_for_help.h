#pragma once

namespace vandrel {

/// Whether the command line can be parsed and asks for help. Calls no function of Apple's platform,
/// so the product can call it before the libraries are loaded. Writes nothing. Also false if there
/// is not enough memory.
bool asks_for_help(int argument_count, const char* const* arguments) noexcept;

} // namespace vandrel
