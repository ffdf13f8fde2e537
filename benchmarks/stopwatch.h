#pragma once

#include <chrono>

namespace vandrel::benchmarks {

/// Measures the time since its construction.
class stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }

private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

} // namespace vandrel::benchmarks
