#pragma once

#include "simulator/mobile_device/utf8_path.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

namespace simulator::test {

/// A new folder for a test. It is removed with its content at the end of the test. Its name has a
/// character that is not ASCII. Texts are UTF-8.
class temporary_folder {
public:
    temporary_folder() { std::filesystem::create_directory(path_); }
    ~temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    /// The path of `name` in the folder.
    std::string operator/(const std::string& name) const {
        const std::u8string text = (path_ / utf8_path(name)).u8string();
        return {text.begin(), text.end()};
    }

private:
    static std::string unique_name() {
        std::random_device random;
        return "vandrel-t\xC3\xA9st-" + std::to_string(random()) + "-" + std::to_string(random());
    }

    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / utf8_path(unique_name());
};

/// The content of a file; empty if there is no such file.
inline std::string content_of(const std::string& path) {
    std::ifstream file(utf8_path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream(utf8_path(path), std::ios::binary) << content;
}

} // namespace simulator::test
