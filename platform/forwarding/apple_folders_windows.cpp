#include "platform/forwarding/apple_folders_windows.h"

#include <algorithm>
#include <optional>
#include <string>

#include <shlobj.h>
#include <windows.h>

namespace vandrel {

namespace {

using boost::filesystem::path;

/// A text below HKEY_LOCAL_MACHINE, as 64-bit programs see it.
std::optional<std::wstring> registry_text(const wchar_t* key, const wchar_t* value) {
    constexpr DWORD kinds = RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY;
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, value, kinds, nullptr, nullptr, &size) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    std::wstring text(size / sizeof(wchar_t), L'\0');
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, value, kinds, nullptr, text.data(), &size) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    text.resize(text.find(L'\0'));
    return text;
}

void add(std::vector<path>& folders, const path& folder) {
    // A relative path would depend on the current folder.
    if (folder.is_absolute() && std::ranges::find(folders, folder) == folders.end()) {
        folders.push_back(folder);
    }
}

void add_recorded(apple_folders& folders) {
    constexpr auto application_support = L"SOFTWARE\\Apple Inc.\\Apple Application Support";
    constexpr auto mobile_device_support =
        L"SOFTWARE\\Apple Inc.\\Apple Mobile Device Support\\Shared";
    if (const auto folder = registry_text(application_support, L"InstallDir")) {
        add(folders.application_support, path(*folder).lexically_normal());
    }
    // The library itself is recorded, under the two names that it has had.
    for (const wchar_t* const value : {L"MobileDeviceDLL", L"iTunesMobileDeviceDLL"}) {
        if (const auto file = registry_text(mobile_device_support, value)) {
            add(folders.mobile_device_support, path(*file).lexically_normal().parent_path());
        }
    }
    if (const auto folder = registry_text(mobile_device_support, L"InstallDir")) {
        add(folders.mobile_device_support, path(*folder).lexically_normal());
    }
}

void add_customary(apple_folders& folders) {
    PWSTR common_files = nullptr;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_ProgramFilesCommon, 0, nullptr, &common_files))) {
        const path apple = path(common_files) / "Apple";
        add(folders.application_support, apple / "Apple Application Support");
        add(folders.mobile_device_support, apple / "Mobile Device Support");
    }
    CoTaskMemFree(common_files);
}

package_functions system_package_functions() {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    const auto find = [kernel](const char* name) {
        return reinterpret_cast<void*>(GetProcAddress(kernel, name));
    };
    return {
        reinterpret_cast<decltype(package_functions::packages_of_family)>(
            find("GetPackagesByPackageFamily")),
        reinterpret_cast<decltype(package_functions::path_of_package)>(
            find("GetPackagePathByFullName")),
    };
}

void add_store_packages(apple_folders& folders) {
    for (const path& package : store_package_folders(system_package_functions())) {
        // Some packages keep the device support in a folder of its own.
        for (const path& folder : {package, package / "AMDS64"}) {
            add(folders.application_support, folder);
            add(folders.mobile_device_support, folder);
        }
    }
}

std::vector<std::wstring> packages_of(const wchar_t* family, const package_functions& functions) {
    std::uint32_t count = 0;
    std::uint32_t length = 0;
    functions.packages_of_family(family, &count, nullptr, &length, nullptr);
    std::vector<wchar_t*> names(count);
    std::wstring buffer(length, L'\0');
    if (count == 0 || functions.packages_of_family(family, &count, names.data(), &length,
                                                   buffer.data()) != ERROR_SUCCESS) {
        return {};
    }
    return {names.begin(), names.begin() + count};
}

} // namespace

apple_folders find_apple_folders() {
    apple_folders folders;
    add_recorded(folders);
    add_customary(folders);
    add_store_packages(folders);
    return folders;
}

std::vector<path> store_package_folders(const package_functions& functions) {
    std::vector<path> folders;
    if (functions.packages_of_family == nullptr || functions.path_of_package == nullptr) {
        return folders;
    }
    for (const wchar_t* const family :
         {L"AppleInc.AppleDevices_nzyj5cx40ttqa", L"AppleInc.iTunes_nzyj5cx40ttqa"}) {
        for (const std::wstring& package : packages_of(family, functions)) {
            std::uint32_t length = 0;
            functions.path_of_package(package.c_str(), &length, nullptr);
            std::wstring folder(length, L'\0');
            if (length != 0 && functions.path_of_package(package.c_str(), &length, folder.data()) ==
                                   ERROR_SUCCESS) {
                folders.emplace_back(folder.c_str());
            }
        }
    }
    return folders;
}

} // namespace vandrel
