#include "tests/foreign_handle.h"

#include <system_error>

#include <windows.h>

namespace vandrel::testing {

namespace {

SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};

} // namespace

foreign_handle foreign_handle::of_file(const boost::filesystem::path& path) {
    return foreign_handle(reinterpret_cast<std::intptr_t>(
        CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_NEW,
                    FILE_FLAG_OVERLAPPED, nullptr)));
}

foreign_handle foreign_handle::of_another_kind() {
    return foreign_handle(
        reinterpret_cast<std::intptr_t>(CreateEventW(&inheritable, TRUE, FALSE, nullptr)));
}

foreign_handle::foreign_handle(std::intptr_t number) : number_(number) {
    if (number_ == 0 || number_ == -1) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "a handle");
    }
}

foreign_handle::~foreign_handle() {
    CloseHandle(reinterpret_cast<HANDLE>(number_));
}

} // namespace vandrel::testing
