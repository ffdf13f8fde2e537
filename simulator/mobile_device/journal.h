#pragma once

#include "platform/core_foundation.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <string>
#include <variant>

namespace simulator {

/// An argument of a recorded call, under the name that the journal has for it.
struct argument {
    const char* name;
    /// An object may be null; it is then left out.
    std::variant<bool, std::int64_t, std::string, CFTypeRef> value;
};

/// The run seen from the platform: one XML property list for each call, back to back, in the order
/// of the calls. docs/scenario.md has the format. Each entry is written whole at once, so that a
/// process that is killed leaves whole entries. Thread-safe.
class journal {
public:
    enum class old_entries { go, stay };

    /// What the file holds already goes, unless told otherwise. `path` is UTF-8. Throws
    /// std::system_error when the file cannot be written.
    explicit journal(const std::string& path, old_entries old = old_entries::go);

    /// `device` is null for a call that concerns none. The first entry that cannot be written is
    /// told on the error stream; nothing more is written then.
    void record(const char* call, const std::string* device,
                std::initializer_list<argument> arguments);

private:
    const std::string path_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::ofstream file_;
};

} // namespace simulator
