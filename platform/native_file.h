#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace boost::asio {
class io_context;
}

namespace vandrel {

/// An open file, read and written through Boost.Asio: on Windows a handle opened for overlapped
/// operation. Closed with the object. One thread at a time.
class native_file {
public:
    /// nullopt if the file cannot be opened; native_last_error then has the reason. `context`
    /// outlives the file; nobody runs it. Throws boost::system::system_error with the operation
    /// "assign" when the open file cannot be bound to it. While the file is open, others can read
    /// and delete it; on Windows they cannot write to it, and a file that somebody writes to cannot
    /// be opened. POSIX has no such exclusion.
    static std::optional<native_file> open_for_reading(boost::asio::io_context& context,
                                                       const boost::filesystem::path& path);
    /// The same for a new file. A file that exists is left alone, and nullopt is returned.
    static std::optional<native_file> create_for_writing(boost::asio::io_context& context,
                                                         const boost::filesystem::path& path);
    native_file(native_file&&) noexcept;
    native_file& operator=(native_file&&) noexcept;
    ~native_file();

    /// In bytes. nullopt if the file has no size; native_last_error then has the reason.
    std::optional<std::uint64_t> size() const;

    /// Fills `buffer` from the start of the file. A file that ends before `buffer` is full is an
    /// error.
    void read(std::span<std::uint8_t> buffer, boost::system::error_code& error);

    /// Writes at the end of the file, in pieces of at most 65,536 bytes. Throws
    /// boost::system::system_error.
    void append(std::string_view bytes);

private:
    struct stream;
    explicit native_file(std::unique_ptr<stream> opened);
    std::unique_ptr<stream> stream_;
};

} // namespace vandrel
