#pragma once

namespace vandrel {

/// Whether the command line can be parsed and asks for help. The launcher wants to know before it
/// has any function of the platform, none of which is called here. Nothing is written. False, too,
/// when there is not enough memory.
bool asks_for_help(int argument_count, const char* const* arguments) noexcept;

} // namespace vandrel
