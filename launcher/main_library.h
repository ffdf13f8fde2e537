#pragma once

namespace vandrel {

/// The one function that the library exports: takes the arguments in UTF-8, the program's own name
/// first, and returns the exit status.
using main_function = int (*)(int argument_count, char** arguments);

/// Loads the library from the folder of the running program, and nowhere else. It is never
/// unloaded. Throws std::runtime_error with a sentence that names what is missing.
main_function load_main_library();

} // namespace vandrel
