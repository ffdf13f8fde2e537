#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace simulator {

/// The path that a UTF-8 text means, in whatever encoding the host keeps paths.
inline std::filesystem::path utf8_path(std::string_view text) {
    return {std::u8string(text.begin(), text.end())};
}

} // namespace simulator
