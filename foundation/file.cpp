#include "foundation/file.h"

#include "foundation/win32_error_category.h"

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <fmt/format.h>

#include <exception>
#include <utility>

namespace Orv {

namespace {

using boost::system::error_code;
using vandrel::last_win32_error;
using vandrel::native_file;

/// The context of all files. Never destroyed: the process may end while a file is open.
boost::asio::io_context& shared_context() {
    static auto& context = *new boost::asio::io_context;
    return context;
}

/// Stores the result of a step. Without `error` throws it if it is a failure, with the text of
/// `step`.
template<class Step>
void report(const error_code& result, error_code* error, const Step& step) {
    if (error != nullptr) {
        *error = result;
    } else if (result) {
        throw boost::system::system_error(result, step());
    }
}

error_code make_error(file_error code) {
    return {static_cast<int>(code), file_error_category::instance()};
}

/// Gives back what a system call gave. If that is nothing, reports the last error.
template<class Result, class Step>
std::optional<Result> checked(std::optional<Result> result, error_code* error, const Step& step) {
    report(result ? error_code() : last_win32_error(), error, step);
    return result;
}

native_file open_for_reading(const boost::filesystem::path& path) {
    return *checked(native_file::open_for_reading(shared_context(), path), nullptr, [&] {
        return fmt::format("when opening file '{}' for reading", path.string());
    });
}

} // namespace

file::file(const boost::filesystem::path& path) : path_(path), file_(open_for_reading(path)) {}

std::optional<native_file> file::create(const boost::filesystem::path& path, error_code* error) {
    return checked(native_file::create_for_writing(shared_context(), path), error, [&] {
        return fmt::format("when creating new file '{}' for writing", path.string());
    });
}

std::uint64_t file::size(error_code* error) const {
    return checked(file_.size(), error,
                   [&] { return fmt::format("when getting size of file '{}'", path_.string()); })
        .value_or(0);
}

std::vector<std::uint8_t>& file::read_whole(std::vector<std::uint8_t>& bytes,
                                            std::uint64_t max_size, error_code* error) {
    bytes.clear();
    const std::uint64_t whole = size(error);
    if (error != nullptr && *error) {
        return bytes;
    }
    if (whole > max_size) {
        report(make_error(file_error::too_large), error, [&] {
            return fmt::format("'{}' is {} bytes (max size is {} bytes)", path_.string(), whole,
                               max_size);
        });
        return bytes;
    }
    try {
        bytes.resize(whole);
    } catch (const std::exception& exception) {
        report(make_error(file_error::no_memory), error, [&] {
            return fmt::format("while allocating {} bytes for '{}': {}", whole, path_.string(),
                               exception.what());
        });
        return bytes;
    }
    error_code failure;
    file_.read(bytes, failure);
    if (failure) {
        bytes.clear();
        // Without the source location that Boost.Asio adds.
        report({failure.value(), failure.category()}, error, [] { return "read"; });
    }
    return bytes;
}

const file_error_category& file_error_category::instance() {
    static const auto& category = *new file_error_category;
    return category;
}

const char* file_error_category::name() const noexcept {
    return "Orv::file";
}

std::string file_error_category::message(int code) const {
    switch (static_cast<file_error>(code)) {
    case file_error::success:
        return "Success";
    case file_error::too_large:
        return "File is too large to fit into the buffer";
    case file_error::no_memory:
        return "Could not allocate buffer for file";
    case file_error::not_locked:
        return "Could not obtain file lock";
    }
    return fmt::format("Unknown error {}", code);
}

boost::system::error_condition
file_error_category::default_error_condition(int code) const noexcept {
    namespace errc = boost::system::errc;
    switch (static_cast<file_error>(code)) {
    case file_error::too_large:
    case file_error::no_memory:
        return errc::make_error_condition(errc::not_enough_memory);
    case file_error::not_locked:
        return errc::make_error_condition(errc::operation_would_block);
    default:
        return {code, *this};
    }
}

} // namespace Orv
