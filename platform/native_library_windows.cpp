#include "platform/native_library.h"

#include <boost/system/error_code.hpp>

#include <cstdint>
#include <cstdio>
#include <memory>

#include <windows.h>

namespace vandrel {

namespace {

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;

template<class Header>
bool read_header(std::FILE* file, std::int64_t position, Header& header) {
    return _fseeki64(file, position, SEEK_SET) == 0 &&
           std::fread(&header, sizeof header, 1, file) == 1;
}

/// Whether the file lacks a part of a section, or a header of one.
bool ends_too_early(std::FILE* file, std::int64_t sections, unsigned count) {
    _fseeki64(file, 0, SEEK_END);
    const std::int64_t size = _ftelli64(file);
    for (unsigned i = 0; i < count; ++i) {
        IMAGE_SECTION_HEADER section{};
        if (!read_header(file, sections + i * std::int64_t{sizeof section}, section) ||
            std::int64_t{section.PointerToRawData} + section.SizeOfRawData > size) {
            return true;
        }
    }
    return false;
}

/// What is wrong with a file that Windows refuses as a library for this kind of machine. Windows'
/// own text has a placeholder, and is the same for all of this.
std::string fault_of(const native_path& path) {
    struct image_header {
        DWORD signature;
        IMAGE_FILE_HEADER file;
    };
    IMAGE_DOS_HEADER start{};
    image_header image{};
    const file_handle file(_wfopen(path.c_str(), L"rb"));
    if (!file || !read_header(file.get(), 0, start) || start.e_magic != IMAGE_DOS_SIGNATURE ||
        !read_header(file.get(), start.e_lfanew, image) || image.signature != IMAGE_NT_SIGNATURE) {
        return "it is damaged, or is not a library";
    }
    if (image.file.Machine != IMAGE_FILE_MACHINE_AMD64) {
        return "it is for another architecture than x64";
    }
    const std::int64_t sections =
        start.e_lfanew + std::int64_t{sizeof image} + image.file.SizeOfOptionalHeader;
    return ends_too_early(file.get(), sections, image.file.NumberOfSections)
               ? "it is damaged: its end is missing"
               : "it, or a library that it needs, is damaged or for another architecture than x64";
}

std::string reason_of(DWORD error, const native_path& path) {
    if (error == ERROR_BAD_EXE_FORMAT) {
        return fault_of(path);
    }
    const boost::system::error_code code(static_cast<int>(error), boost::system::system_category());
    const std::string text = code.message();
    // Some texts have placeholders, for which only Windows has the values.
    return text.find('%') == std::string::npos ? text : "error " + std::to_string(error);
}

} // namespace

void* load_native_library(const native_path& path, needed_libraries needed, std::string& failure) {
    constexpr DWORD own_folders = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS;
    const DWORD also_searched = needed == needed_libraries::of_its_folders ? own_folders : 0;
    const HMODULE library =
        LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32 | also_searched);
    if (library == nullptr) {
        failure = reason_of(GetLastError(), path);
    }
    return library;
}

void* find_native_symbol(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

} // namespace vandrel
