#include "platform/native_library.h"

#include <cstdint>
#include <cstring>
#include <fstream>

#include <dlfcn.h>
#include <elf.h>

namespace vandrel {

namespace {

template<class Header>
bool read_header(std::ifstream& file, std::uint64_t position, Header& header) {
    file.seekg(static_cast<std::streamoff>(position));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&header), sizeof header));
}

/// Whether the file lacks a part that has to be in memory, or a header of one.
bool ends_too_early(std::ifstream& file, const Elf64_Ehdr& library) {
    file.seekg(0, std::ios::end);
    const auto size = static_cast<std::uint64_t>(file.tellg());
    for (std::uint64_t i = 0; i < library.e_phnum; ++i) {
        Elf64_Phdr part{};
        if (!read_header(file, library.e_phoff + i * library.e_phentsize, part)) {
            return true;
        }
        if (part.p_type == PT_LOAD &&
            (part.p_filesz > size || part.p_offset > size - part.p_filesz)) {
            return true;
        }
    }
    return false;
}

/// Empty if nothing is wrong, or if the file cannot be opened. The loader has other words for some
/// of this, and a library whose end is missing crashes the program.
std::string fault_of(const native_path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    Elf64_Ehdr library{};
    if (!read_header(file, 0, library) || std::memcmp(library.e_ident, ELFMAG, SELFMAG) != 0) {
        return "it is damaged, or is not a library";
    }
    if (library.e_ident[EI_CLASS] != ELFCLASS64 || library.e_machine != EM_X86_64) {
        return "it is for another architecture than x64";
    }
    return ends_too_early(file, library) ? "it is damaged: its end is missing" : "";
}

/// The loader's message, without the file's name at its beginning.
std::string loader_error(const native_path& path) {
    const std::string text = dlerror();
    const std::string name = path + ": ";
    return text.starts_with(name) ? text.substr(name.size()) : text;
}

} // namespace

void* load_native_library(const native_path& path, needed_libraries, std::string& failure) {
    failure = fault_of(path);
    if (!failure.empty()) {
        return nullptr;
    }
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        failure = loader_error(path);
    }
    return library;
}

void* find_native_symbol(void* library, const char* name) {
    return dlsym(library, name);
}

} // namespace vandrel
