#include "platform/native_clock.h"

#include <windows.h>

namespace vandrel {

std::int64_t performance_counter() {
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

std::int64_t performance_frequency() {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

} // namespace vandrel
