#include "platform/native_error.h"

#include <memory>

#include <windows.h>

namespace vandrel {

namespace {

struct local_memory_deleter {
    void operator()(HLOCAL memory) const { LocalFree(memory); }
};

constexpr DWORD from_system =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD neutral_language = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);

} // namespace

std::uint32_t native_last_error() {
    return GetLastError();
}

void set_native_last_error(std::uint32_t code) {
    SetLastError(code);
}

std::u16string native_error_text(std::int32_t code) {
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(from_system, nullptr, static_cast<DWORD>(code), neutral_language,
                       reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const std::unique_ptr<void, local_memory_deleter> owner(buffer);
    return length == 0 ? std::u16string() : std::u16string(buffer, buffer + length);
}

std::string native_error_text_in_local_encoding(std::int32_t code) {
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(from_system, nullptr, static_cast<DWORD>(code), neutral_language,
                       reinterpret_cast<char*>(&buffer), 0, nullptr);
    const std::unique_ptr<void, local_memory_deleter> owner(buffer);
    return length == 0 ? std::string() : std::string(buffer, length);
}

} // namespace vandrel
