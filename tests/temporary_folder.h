#pragma once

#include <boost/filesystem/operations.hpp>

#include <string>

namespace vandrel::testing {

/// A new folder of a test's own, removed with all in it at the end.
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

private:
    boost::filesystem::path path_;
};

} // namespace vandrel::testing
