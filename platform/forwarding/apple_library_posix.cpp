#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"

#include <filesystem>
#include <string>

#include <dlfcn.h>

namespace vandrel {

namespace {

/// What the loader has to say of `file`, without the name, with which it mostly begins.
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
                                    "); vandrel-sim plays simulated devices here");
    }
    return library;
}

void* find_symbol(library_handle library, const char* name) {
    return dlsym(library, name);
}

} // namespace vandrel
