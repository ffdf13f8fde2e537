#include "platform/forwarding/apple_libraries.h"

#include "platform/core_foundation.h"
#include "platform/forwarding/apple_library.h"

#include <cstring>
#include <string>

// The addresses of the libraries' functions, for the jumps of thunks.cpp.
extern "C" {
#define FUNCTION(library, name) void* forwarded_##name;
#define CONSTANT(library, name, type)
#include "platform/forwarding/forwarded.inc"
#undef FUNCTION
#undef CONSTANT
}

namespace vandrel {

namespace {

void* require(library_handle library, const char* name) {
    void* const symbol = find_symbol(library, name);
    if (symbol == nullptr) {
        throw apple_library_missing("Apple's libraries on this machine do not have " +
                                    std::string(name) + "; install a current version of them");
    }
    return symbol;
}

} // namespace

void load_apple_libraries() {
    auto* const core_foundation = open_apple_library(apple_library::core_foundation);
    auto* const mobile_device = open_apple_library(apple_library::mobile_device);
    // 48 bytes is the size of the storage in constants.cpp.
    // NOLINTBEGIN(bugprone-macro-parentheses): names and types take none
#define FUNCTION(library, name) forwarded_##name = require(library, #name);
#define CONSTANT(library, name, type)                                                              \
    static_assert(sizeof(type) <= 48);                                                             \
    std::memcpy(const_cast<void*>(static_cast<const void*>(&name)), require(library, #name),       \
                sizeof(type));
#include "platform/forwarding/forwarded.inc"
#undef FUNCTION
#undef CONSTANT
    // NOLINTEND(bugprone-macro-parentheses)
}

} // namespace vandrel
