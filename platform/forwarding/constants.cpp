// Room for the platform's constants, which are read from Apple's libraries when these are loaded.
// Defined without their declarations, to which they are constant.

#include <cstddef>

// The largest is a structure of six words.
#define FUNCTION(library, name)
#define CONSTANT(library, name, type)                                                              \
    extern "C" std::byte name[48];                                                                 \
    alignas(void*) std::byte name[48];
#include "platform/forwarding/forwarded.inc"
