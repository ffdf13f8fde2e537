#include "launcher/main_library.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace vandrel {

main_function load_main_library() {
    const auto path =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("libvandrel.so");
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error("its library could not be loaded: " + std::string(dlerror()));
    }
    const auto function = reinterpret_cast<main_function>(dlsym(library, "main"));
    if (function == nullptr) {
        throw std::runtime_error(path.string() + " does not have the function main");
    }
    return function;
}

} // namespace vandrel
