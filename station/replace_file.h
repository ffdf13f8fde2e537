#pragma once

/// Small files that are written again as a whole.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vandrel::station {

/// Puts a new file in the place of this one, by renaming: whoever reads it sees the old content or
/// the new one. Several processes may do so at a time; the content of the last one stays. Returns
/// nothing when it succeeds. When it fails, the old file stays, and the result is the reason in the
/// system's words, which can be empty.
std::optional<std::string> replace_file(const std::filesystem::path& file,
                                        std::string_view content);

} // namespace vandrel::station
