#pragma once

#include "platform/native_library.h"

#include <string>

namespace vandrel {

/// The one function that the library exports: takes the arguments in UTF-8, the program's own name
/// first. Returns the exit status, unless another thread ends the process first.
using main_function = int (*)(int argument_count, char** arguments);

/// Loads the library from the folder of the running program, and nowhere else. It is never
/// unloaded. Throws std::runtime_error with a sentence that says what is missing or wrong.
main_function load_main_library();

struct library_file {
    native_path path;
    /// The path in UTF-8, for messages.
    std::string name;
};

/// Where load_main_library looks: in the folder of the program's file. If the program was started
/// through a symbolic link, that is the file to which the link leads.
library_file main_library_file();

} // namespace vandrel
