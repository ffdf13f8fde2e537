#include "platform/native_error.h"
#include "platform/native_file.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vandrel {

struct native_file::stream {
    static std::optional<native_file> open(boost::asio::io_context& context,
                                           const boost::filesystem::path& path, int flags);

    boost::asio::posix::stream_descriptor descriptor;
};

namespace {

struct translation {
    int number;
    std::uint32_t windows;
};

constexpr translation translations[] = {
    {ENOENT, 2},  {ENOTDIR, 3},  {EMFILE, 4},   {ENFILE, 4},         {EACCES, 5},   {EPERM, 5},
    {EISDIR, 5},  {ENOMEM, 8},   {EROFS, 19},   {ENXIO, 21},         {ENODEV, 21},  {EEXIST, 80},
    {EINVAL, 87}, {ENOSPC, 112}, {EDQUOT, 112}, {ENAMETOOLONG, 206}, {ELOOP, 1921},
};

/// For failures without a counterpart: a device attached to the system is not functioning.
constexpr std::uint32_t general_failure = 31;

constexpr std::uint32_t incorrect_function = 1;

void set_last_error_from(int number) {
    const auto* const found = std::ranges::find(translations, number, &translation::number);
    set_native_last_error(found == std::end(translations) ? general_failure : found->windows);
}

/// Windows has different numbers for a missing file and a missing folder.
bool is_folder_missing(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return path.empty() ||
           (path.has_parent_path() && !boost::filesystem::exists(path.parent_path(), ignored));
}

} // namespace

std::optional<native_file> native_file::stream::open(boost::asio::io_context& context,
                                                     const boost::filesystem::path& path,
                                                     int flags) {
    // Opening a pipe must not wait for its other end.
    const int opened = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                              S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
    if (opened < 0) {
        const int number = errno;
        set_last_error_from(number == ENOENT && is_folder_missing(path) ? ENOTDIR : number);
        return std::nullopt;
    }
    boost::asio::posix::stream_descriptor descriptor(context);
    boost::system::error_code error;
    descriptor.assign(opened, error);
    if (error) {
        ::close(opened);
        throw boost::system::system_error(error.value(), error.category(), "assign");
    }
    struct stat status {};
    if (fstat(opened, &status) == 0 && S_ISDIR(status.st_mode)) {
        set_last_error_from(EISDIR);
        return std::nullopt;
    }
    return native_file(std::make_unique<stream>(stream{std::move(descriptor)}));
}

std::optional<native_file> native_file::open_for_reading(boost::asio::io_context& context,
                                                         const boost::filesystem::path& path) {
    return stream::open(context, path, O_RDONLY);
}

std::optional<native_file> native_file::create_for_writing(boost::asio::io_context& context,
                                                           const boost::filesystem::path& path) {
    return stream::open(context, path, O_WRONLY | O_CREAT | O_EXCL | O_APPEND);
}

std::optional<std::uint64_t> native_file::size() const {
    struct stat status {};
    if (fstat(stream_->descriptor.native_handle(), &status) != 0) {
        set_last_error_from(errno);
        return std::nullopt;
    }
    // Pipes and the like have no end to measure.
    if (!S_ISREG(status.st_mode)) {
        set_native_last_error(incorrect_function);
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

void native_file::read(std::span<std::uint8_t> buffer, boost::system::error_code& error) {
    // Cannot fail for a file that has a size.
    lseek(stream_->descriptor.native_handle(), 0, SEEK_SET);
    boost::asio::read(stream_->descriptor, boost::asio::buffer(buffer.data(), buffer.size()),
                      error);
}

void native_file::append(std::string_view bytes) {
    boost::asio::write(stream_->descriptor, boost::asio::buffer(bytes));
}

native_file::native_file(std::unique_ptr<stream> opened) : stream_(std::move(opened)) {}
native_file::native_file(native_file&&) noexcept = default;
native_file& native_file::operator=(native_file&&) noexcept = default;
native_file::~native_file() = default;

} // namespace vandrel
