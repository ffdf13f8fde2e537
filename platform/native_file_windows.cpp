#include "platform/native_file.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read_at.hpp>
#include <boost/asio/windows/random_access_handle.hpp>
#include <boost/system/system_error.hpp>

#include <limits>
#include <utility>

#include <windows.h>

namespace vandrel {

struct native_file::stream {
    static std::optional<native_file> open(boost::asio::io_context& context,
                                           const boost::filesystem::path& path, DWORD access,
                                           DWORD disposition, DWORD flags);

    boost::asio::windows::random_access_handle handle;
};

namespace {

/// Readers and a deletion do no harm; a writer would change the file while it is read.
constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_DELETE;

/// Owns a handle until Boost.Asio does.
struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

} // namespace

std::optional<native_file> native_file::stream::open(boost::asio::io_context& context,
                                                     const boost::filesystem::path& path,
                                                     DWORD access, DWORD disposition, DWORD flags) {
    const HANDLE opened = CreateFileW(path.c_str(), access, share, nullptr, disposition,
                                      flags | FILE_FLAG_OVERLAPPED, nullptr);
    if (opened == nullptr || opened == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    std::unique_ptr<void, handle_closer> owner(opened);
    boost::asio::windows::random_access_handle handle(context);
    boost::system::error_code error;
    handle.assign(opened, error);
    if (error) {
        throw boost::system::system_error(error.value(), error.category(), "assign");
    }
    // NOLINTNEXTLINE(bugprone-unused-return-value): Boost.Asio owns it now
    owner.release();
    return native_file(std::make_unique<stream>(stream{std::move(handle)}));
}

std::optional<native_file> native_file::open_for_reading(boost::asio::io_context& context,
                                                         const boost::filesystem::path& path) {
    return stream::open(context, path, GENERIC_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
}

std::optional<native_file> native_file::create_for_writing(boost::asio::io_context& context,
                                                           const boost::filesystem::path& path) {
    return stream::open(context, path, GENERIC_WRITE, CREATE_NEW, 0);
}

std::optional<std::uint64_t> native_file::size() const {
    FILE_STANDARD_INFO info{};
    if (!GetFileInformationByHandleEx(stream_->handle.native_handle(), FileStandardInfo, &info,
                                      sizeof info)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(info.EndOfFile.QuadPart);
}

void native_file::read(std::span<std::uint8_t> buffer, boost::system::error_code& error) {
    boost::asio::read_at(stream_->handle, 0, boost::asio::buffer(buffer.data(), buffer.size()),
                         error);
}

void native_file::append(std::string_view bytes) {
    constexpr auto end_of_file = std::numeric_limits<std::uint64_t>::max();
    constexpr std::size_t largest_piece = 65536;
    while (!bytes.empty()) {
        const auto piece = bytes.substr(0, largest_piece);
        bytes.remove_prefix(stream_->handle.write_some_at(
            end_of_file, boost::asio::buffer(piece.data(), piece.size())));
    }
}

native_file::native_file(std::unique_ptr<stream> opened) : stream_(std::move(opened)) {}
native_file::native_file(native_file&&) noexcept = default;
native_file& native_file::operator=(native_file&&) noexcept = default;
native_file::~native_file() = default;

} // namespace vandrel
