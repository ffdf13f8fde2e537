#include "station/test_handle_count_windows.h"

#include <cstdint>

namespace vandrel {

std::size_t count_handles(HANDLE process) {
    // Numbers of handles are multiples of four.
    constexpr std::uintptr_t last = 8192;
    std::size_t result = 0;
    for (std::uintptr_t number = 4; number <= last; number += 4) {
        HANDLE copy = nullptr;
        if (DuplicateHandle(process, reinterpret_cast<HANDLE>(number), GetCurrentProcess(), &copy,
                            0, FALSE, DUPLICATE_SAME_ACCESS)) {
            CloseHandle(copy);
            ++result;
        }
    }
    return result;
}

} // namespace vandrel
