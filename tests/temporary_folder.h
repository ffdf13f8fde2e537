#pragma once

#include <boost/filesystem/operations.hpp>

#include <string>

namespace vandrel::testing {

/// A new folder for a test. The destructor removes it with its content.
class temporary_folder {
public:
    temporary_folder()
        : path_(boost::filesystem::temp_directory_path() /
                boost::filesystem::unique_path("vandrel-test-%%%%%%%%%%%%")) {
        boost::filesystem::create_directories(path_);
    }
    ~temporary_folder() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path_, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    const boost::filesystem::path& path() const { return path_; }

    /// A new folder in this one whose path is longer than 260 characters, once the limit of
    /// Windows.
    boost::filesystem::path make_deep_folder() const {
        boost::filesystem::path deep = path_;
        for (const char level : {'a', 'b', 'c'}) {
            deep /= std::string(100, level);
        }
        boost::filesystem::create_directories(deep);
        return deep;
    }

private:
    boost::filesystem::path path_;
};

} // namespace vandrel::testing
