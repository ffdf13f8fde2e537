#include "launcher/main_library.h"
#include "launcher/utf16_to_utf8.h"

#include <boost/system/error_code.hpp>

#include <stdexcept>
#include <string>

#include <windows.h>

namespace vandrel {

namespace {

std::wstring path_beside_program(const wchar_t* file_name) {
    constexpr std::size_t longest_path = 32768;
    std::wstring path(longest_path, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    path.resize(path.find_last_of(L'\\') + 1);
    return path + file_name;
}

} // namespace

main_function load_main_library() {
    const std::wstring path = path_beside_program(L"vandrel.dll");
    const std::string path_text = utf16_to_utf8({path.begin(), path.end()});
    const HMODULE library = LoadLibraryExW(
        path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library == nullptr) {
        const boost::system::error_code error(static_cast<int>(GetLastError()),
                                              boost::system::system_category());
        throw std::runtime_error("its library " + path_text +
                                 " could not be loaded: " + error.message());
    }
    const FARPROC function = GetProcAddress(library, "main");
    if (function == nullptr) {
        throw std::runtime_error(path_text + " does not have the function main");
    }
    return reinterpret_cast<main_function>(reinterpret_cast<void*>(function));
}

} // namespace vandrel
