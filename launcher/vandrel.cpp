/// The console program for attached devices. It only loads the library beside it and calls its
/// main.

#include "launcher/launch.h"
#include "launcher/main_library.h"

#include <cstdio>
#include <stdexcept>

namespace vandrel {

int launch(int argument_count, const char* const* arguments) {
    main_function main_of_library = nullptr;
    try {
        main_of_library = load_main_library();
    } catch (const std::runtime_error& failure) {
        std::fprintf(stderr, "vandrel: %s\n", failure.what());
        return 1;
    }
    // The type of main lets it change its arguments; this one does not.
    return main_of_library(argument_count, const_cast<char**>(arguments));
}

} // namespace vandrel
