#pragma once

/// Where Apple's installers, and the Microsoft Store, put the libraries.

#include <boost/filesystem/path.hpp>

#include <cstdint>
#include <vector>

namespace vandrel {

/// Folders to look in, in this order, without repetitions. They need not exist.
struct apple_folders {
    /// For CoreFoundation.
    std::vector<boost::filesystem::path> application_support;
    /// For MobileDevice.
    std::vector<boost::filesystem::path> mobile_device_support;
};

/// Those that the installers have recorded in the registry, their default folders under Common
/// Files, and those of the Store's packages.
apple_folders find_apple_folders();

/// Windows' functions for packages of the Store, as far as they are used here.
struct package_functions {
    /// GetPackagesByPackageFamily
    std::int32_t(__stdcall* packages_of_family)(const wchar_t* family, std::uint32_t* count,
                                                wchar_t** full_names, std::uint32_t* buffer_length,
                                                wchar_t* buffer);
    /// GetPackagePathByFullName
    std::int32_t(__stdcall* path_of_package)(const wchar_t* full_name, std::uint32_t* path_length,
                                             wchar_t* path);
};

/// The folders in which Apple's packages of the Store are installed. Empty when one of `functions`
/// is null: a system may be without them.
std::vector<boost::filesystem::path> store_package_folders(const package_functions& functions);

} // namespace vandrel
