#pragma once

/// Small files that are written again as a whole.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vandrel::station {

/// Puts a new file in the place of this one, by renaming: whoever reads it sees the old content or
/// the new one. Several processes may do so at a time; the last
/// one's content stays. Returns why it failed, in the system's words, which can be empty; then
/// the old file stays. Nothing if it did not fail.
std::optional<std::string> replace_file(const std::filesystem::path& file,
                                        std::string_view content);

} // namespace vandrel::station
