#pragma once

/// A file that keeps what was read of a folder's bundles. It only saves time: one that is broken,
/// too large, of another version of the station or of another folder counts as none.

#include "station/bundle_folder.h"

#include <filesystem>
#include <map>
#include <vector>

namespace vandrel::station {

/// Never throws for what the file has.
std::vector<bundle_file> load_cache(const std::filesystem::path& file,
                                    const std::filesystem::path& folder);

/// Replaces the whole file. If it cannot be written, the old one stays. Without a file's name,
/// nothing is kept.
void save_cache(const std::filesystem::path& file, const std::filesystem::path& folder,
                const std::map<std::filesystem::path, bundle_file>& files);

} // namespace vandrel::station
