#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"

namespace vandrel {

library_handle open_apple_library(apple_library) {
    throw apple_library_missing("attached devices need Apple's CoreFoundation and MobileDevice "
                                "libraries, which exist for Windows only; vandrel-sim plays "
                                "simulated devices here");
}

void* find_symbol(library_handle, const char*) {
    return nullptr;
}

} // namespace vandrel
