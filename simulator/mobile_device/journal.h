#pragma once

#include "platform/core_foundation.h"
#include "simulator/mobile_device/regular_file.h"

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <string>
#include <variant>

namespace simulator {

/// An argument of a recorded call, and its name in the journal.
struct argument {
    const char* name;
    /// A null object is left out.
    std::variant<bool, std::int64_t, std::string, CFTypeRef> value;
};

/// A record of all calls of MobileDevice: one XML property list for each call, back to back, in the
/// order of the calls. docs/scenario.md has the format. Each entry is written at once, so a process
/// that is killed leaves complete entries. Thread-safe.
class journal {
public:
    enum class old_entries { remove, keep };

    /// Removes the old entries of the file, or keeps them and appends. `path` is UTF-8. Throws
    /// std::runtime_error with a sentence if the file cannot be written, or is a device or
    /// a pipe.
    explicit journal(const std::string& path, old_entries old = old_entries::remove);

    /// `device` is null for a call without a device. If an entry cannot be written, a message goes
    /// to standard error, and no further entry is written.
    void record(const char* call, const std::string* device,
                std::initializer_list<argument> arguments);

private:
    const std::string path_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    /// Null after an entry could not be written.
    file_handle file_;
};

} // namespace simulator
