#pragma once

#include "platform/native_file.h"

#include <boost/filesystem/path.hpp>
#include <boost/system/error_category.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Orv {

/// A file on disk, opened to be read whole.
///
/// A function that is given an error code stores failures there, and returns what its
/// comment says. Without an error code it throws boost::system::system_error, whose text contains
/// the file and the reason. On Windows and on POSIX, a failure to open or create a file, or to get
/// its size, is a code from last_win32_error. A file that is too large, or has no memory to be read
/// into, is a failure of the category file_error_category. A failed read has the category of
/// Boost.Asio or of the host. The constructor and `create` can also fail to take over what they
/// have opened: `create` throws that even if an error code is given. The texts of these two
/// failures, "read: REASON" and "assign: REASON", do not contain the file. One thread at a time.
class file {
public:
    /// Opens an existing file for reading. Throws boost::system::system_error.
    explicit file(const boost::filesystem::path& path);

    /// Creates a file and opens it for writing; a file that exists is never overwritten. nullopt on
    /// failure when `error` is given.
    static std::optional<vandrel::native_file> create(const boost::filesystem::path& path,
                                                      boost::system::error_code* error = nullptr);

    /// In bytes; 0 on failure when `error` is given.
    std::uint64_t size(boost::system::error_code* error = nullptr) const;

    /// Replaces `bytes` by the content of the file, and returns `bytes`, which is empty on failure.
    /// A file of more than `max_size` bytes is a failure.
    std::vector<std::uint8_t>& read_whole(std::vector<std::uint8_t>& bytes, std::uint64_t max_size,
                                          boost::system::error_code* error = nullptr);

private:
    boost::filesystem::path path_;
    vandrel::native_file file_;
};

enum class file_error : int {
    success = 0,
    too_large = 1,
    no_memory = 2,
    not_locked = 3,
};

/// Failures that `file` itself finds: the values of file_error. Any thread.
class file_error_category : public boost::system::error_category {
public:
    virtual ~file_error_category() = default;
    /// The one object of this category.
    static const file_error_category& instance();

    /// "Orv::file".
    const char* name() const noexcept override;
    using boost::system::error_category::message;
    std::string message(int code) const override;
    /// too_large and no_memory map to not_enough_memory, not_locked to operation_would_block.
    boost::system::error_condition default_error_condition(int code) const noexcept override;

private:
    file_error_category() = default;
};

} // namespace Orv
