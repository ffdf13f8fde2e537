// Storage of the platform's constants, which are copied from Apple's libraries when these are
// loaded. The platform's headers declare them const, but loading writes to them, so those headers
// are not included here.

#include <cstddef>

// The largest is a structure of six words.
#define FUNCTION(library, name)
#define CONSTANT(library, name, type)                                                              \
    extern "C" std::byte name[48];                                                                 \
    alignas(void*) std::byte name[48];
#include "platform/forwarding/forwarded.inc"
