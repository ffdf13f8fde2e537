#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"

#include <filesystem>
#include <string>

#include <dlfcn.h>

namespace vandrel {

namespace {

/// The loader's message about `file`, without the name at its beginning.
std::string loader_error(const std::string& file) {
    const std::string text = dlerror();
    return text.starts_with(file + ": ") ? text.substr(file.size() + 2) : text;
}

} // namespace

library_handle open_apple_library(apple_library which) {
    const std::string name =
        which == apple_library::core_foundation ? "CoreFoundation" : "MobileDevice";
    const std::string file = (std::filesystem::read_symlink("/proc/self/exe").parent_path() /
                              "apple" / ("lib" + name + ".so"))
                                 .string();
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw apple_library_missing("attached devices need Apple's libraries, which exist for "
                                    "Windows only, and of which " +
                                    name + " could not be loaded: " + file + " (" +
                                    loader_error(file) +
                                    "); use vandrel-sim for simulated devices");
    }
    return library;
}

void* find_symbol(library_handle library, const char* name) {
    return dlsym(library, name);
}

} // namespace vandrel
