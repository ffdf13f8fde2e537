#pragma once

/// The folder of a run, read.

#include "station/run_record.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vandrel::station {

/// Reads the folder of a run that is over or under way. Throws std::runtime_error with one sentence
/// when it is no folder of a run.
run_record read_run(const std::filesystem::path& folder);

/// The last `count` lines of a file, or those whole in its last 16 KiB; none when it cannot be
/// read.
std::vector<std::string> last_lines(const std::filesystem::path& file, std::size_t count);

} // namespace vandrel::station
