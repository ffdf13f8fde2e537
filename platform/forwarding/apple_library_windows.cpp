#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"

#include <boost/filesystem/operations.hpp>
#include <boost/system/error_code.hpp>

#include <string>
#include <vector>

#include <shlobj.h>
#include <windows.h>

namespace vandrel {

namespace {

using boost::filesystem::path;

/// C:\Program Files\Common Files\Apple, where Apple's installers put what programs share.
path common_folder() {
    PWSTR folder = nullptr;
    path result;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_ProgramFilesCommon, 0, nullptr, &folder))) {
        result = path(folder) / "Apple";
    }
    CoTaskMemFree(folder);
    return result;
}

path application_support() {
    return common_folder() / "Apple Application Support";
}

path mobile_device_support() {
    return common_folder() / "Mobile Device Support";
}

/// In the order in which they are tried.
std::vector<path> candidates(apple_library which) {
    if (which == apple_library::core_foundation) {
        return {application_support() / "CoreFoundation.dll"};
    }
    // The library has had two names over the years.
    return {mobile_device_support() / "MobileDevice.dll",
            mobile_device_support() / "iTunesMobileDevice.dll"};
}

/// What one of Apple's libraries needs of the others is found in their two folders and with
/// Windows' own; neither the current folder nor PATH plays a part.
void search_apple_folders() {
    AddDllDirectory(application_support().c_str());
    AddDllDirectory(mobile_device_support().c_str());
}

} // namespace

library_handle open_apple_library(apple_library which) {
    search_apple_folders();
    std::string tried;
    for (const path& candidate : candidates(which)) {
        const HMODULE library =
            LoadLibraryExW(candidate.c_str(), nullptr,
                           LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS |
                               LOAD_LIBRARY_SEARCH_SYSTEM32);
        if (library != nullptr) {
            return library;
        }
        const boost::system::error_code error(static_cast<int>(GetLastError()),
                                              boost::system::system_category());
        tried += (tried.empty() ? "" : ", ") + candidate.string() + " (" + error.message() + ")";
    }
    throw apple_library_missing("attached devices need Apple's libraries, of which this one could "
                                "not be loaded: " +
                                tried + "; install iTunes or Apple's device support");
}

void* find_symbol(library_handle library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

} // namespace vandrel
