#include "platform/forwarding/apple_folders_windows.h"
#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"
#include "platform/native_library.h"

#include <boost/filesystem/operations.hpp>
#include <boost/system/error_code.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

namespace vandrel {

namespace {

using boost::filesystem::path;

/// The paths that the library can have, in the order in which they are tried.
std::vector<path> candidates(apple_library which, const apple_folders& folders) {
    std::vector<path> files;
    if (which == apple_library::core_foundation) {
        for (const path& folder : folders.application_support) {
            files.push_back(folder / "CoreFoundation.dll");
        }
        return files;
    }
    for (const path& folder : folders.mobile_device_support) {
        // The library has had two names over the years.
        files.push_back(folder / "MobileDevice.dll");
        files.push_back(folder / "iTunesMobileDevice.dll");
    }
    return files;
}

bool is_there(const path& file) {
    boost::system::error_code ignored;
    return boost::filesystem::exists(file, ignored);
}

/// Lets Windows search the folders of both libraries, besides its own folder, for the libraries
/// that these two load themselves. Windows searches neither the current folder nor PATH.
void let_search(const apple_folders& folders) {
    for (const apple_library which :
         {apple_library::core_foundation, apple_library::mobile_device}) {
        const auto files = candidates(which, folders);
        const auto found = std::ranges::find_if(files, is_there);
        if (found != files.end()) {
            AddDllDirectory(found->parent_path().c_str());
        }
    }
}

const apple_folders& searched_folders() {
    static const auto& folders = *new apple_folders([] {
        auto found = find_apple_folders();
        let_search(found);
        return found;
    }());
    return folders;
}

} // namespace

library_handle open_apple_library(apple_library which) {
    std::string tried;
    for (const path& candidate : candidates(which, searched_folders())) {
        std::string failure;
        void* const library =
            load_native_library(candidate.native(), needed_libraries::of_its_folders, failure);
        if (library != nullptr) {
            return library;
        }
        tried += (tried.empty() ? "" : ", ") + candidate.string() + " (" + failure + ")";
    }
    throw apple_library_missing(
        "attached devices need Apple's libraries, of which " +
        std::string(which == apple_library::core_foundation ? "CoreFoundation" : "MobileDevice") +
        " could not be loaded: " + tried +
        "; install the Apple Devices app or iTunes, in their 64-bit form");
}

void* find_symbol(library_handle library, const char* name) {
    return find_native_symbol(library, name);
}

} // namespace vandrel
