#include "launcher/main_library.h"

#include <stdexcept>
#include <string>

namespace vandrel {

main_function load_main_library() {
    const auto [path, name] = main_library_file();
    std::string failure;
    void* const library = load_native_library(path, needed_libraries::of_the_system, failure);
    if (library == nullptr) {
        throw std::runtime_error("its library " + name + " could not be loaded: " + failure);
    }
    const auto function = reinterpret_cast<main_function>(find_native_symbol(library, "main"));
    if (function == nullptr) {
        throw std::runtime_error(name + " does not have the function main");
    }
    return function;
}

} // namespace vandrel
