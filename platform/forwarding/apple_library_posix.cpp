#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"
#include "platform/native_library.h"

#include <filesystem>
#include <string>

namespace vandrel {

library_handle open_apple_library(apple_library which) {
    const std::string name =
        which == apple_library::core_foundation ? "CoreFoundation" : "MobileDevice";
    const auto file = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "apple" /
                      ("lib" + name + ".so");
    std::string failure;
    void* const library = load_native_library(file, needed_libraries::of_its_folders, failure);
    if (library == nullptr) {
        throw apple_library_missing("attached devices need Apple's libraries, which exist for "
                                    "Windows only, and of which " +
                                    name + " could not be loaded: " + file.string() + " (" +
                                    failure + "); use vandrel-sim for simulated devices");
    }
    return library;
}

void* find_symbol(library_handle library, const char* name) {
    return find_native_symbol(library, name);
}

} // namespace vandrel
