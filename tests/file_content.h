#pragma once

#include <boost/filesystem/path.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vandrel::testing {

// Reading and writing whole files, byte for byte. The paths of the standard library support names
// in any script on Windows.

inline void write_file(const boost::filesystem::path& path, const std::string& content) {
    std::ofstream(std::filesystem::path(path.native()), std::ios::binary) << content;
}

inline std::string read_file(const boost::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(std::filesystem::path(path.native()), std::ios::binary).rdbuf();
    return content.str();
}

} // namespace vandrel::testing
