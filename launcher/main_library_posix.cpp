#include "launcher/main_library.h"

#include <filesystem>

namespace vandrel {

library_file main_library_file() {
    const std::string path =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("libvandrel.so");
    return {path, path};
}

} // namespace vandrel
