#include "platform/native_error.h"
#include "platform/native_file.h"
#include "tests/temporary_folder.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <windows.h>

namespace vandrel {

namespace {

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, handle_closer>;

class native_file_test : public ::testing::Test {
protected:
    /// The error of opening the file in another way; 0 when that succeeds.
    static DWORD other_opening_error(const boost::filesystem::path& path, DWORD access) {
        const HANDLE handle = CreateFileW(path.c_str(), access,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, 0, nullptr);
        return handle != INVALID_HANDLE_VALUE ? (CloseHandle(handle), 0) : GetLastError();
    }

    testing::temporary_folder folder;
    boost::asio::io_context context;
};

} // namespace

TEST_F(native_file_test, keeps_other_writers_out_while_it_writes) {
    const auto path = folder.path() / "file";
    const auto file = native_file::create_for_writing(context, path);
    ASSERT_TRUE(file);
    EXPECT_EQ(other_opening_error(path, GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(native_file_test, lets_others_read_and_delete_while_it_writes) {
    const auto path = folder.path() / "file";
    const auto file = native_file::create_for_writing(context, path);
    ASSERT_TRUE(file);
    EXPECT_EQ(other_opening_error(path, GENERIC_READ), 0U);
    EXPECT_EQ(other_opening_error(path, DELETE), 0U);
}

TEST_F(native_file_test, keeps_writers_out_while_it_reads) {
    const auto path = folder.path() / "file";
    native_file::create_for_writing(context, path);
    const auto file = native_file::open_for_reading(context, path);
    ASSERT_TRUE(file);
    EXPECT_EQ(other_opening_error(path, GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(native_file_test, lets_others_read_and_delete_while_it_reads) {
    const auto path = folder.path() / "file";
    native_file::create_for_writing(context, path);
    const auto file = native_file::open_for_reading(context, path);
    EXPECT_EQ(other_opening_error(path, GENERIC_READ), 0U);
    EXPECT_EQ(other_opening_error(path, DELETE), 0U);
}

TEST_F(native_file_test, does_not_open_a_file_that_somebody_else_writes) {
    const auto path = folder.path() / "file";
    const auto writer = native_file::create_for_writing(context, path);
    EXPECT_FALSE(native_file::open_for_reading(context, path));
    EXPECT_EQ(native_last_error(), std::uint32_t{ERROR_SHARING_VIOLATION});
}

TEST_F(native_file_test, finds_no_size_of_a_pipe) {
    const std::wstring name =
        L"\\\\.\\pipe\\vandrel-test-" + std::to_wstring(GetCurrentProcessId());
    const unique_handle server(
        CreateNamedPipeW(name.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr));
    ASSERT_NE(server.get(), INVALID_HANDLE_VALUE);
    const auto pipe = native_file::open_for_reading(context, name);
    ASSERT_TRUE(pipe) << native_last_error();
    EXPECT_FALSE(pipe->size());
    EXPECT_EQ(native_last_error(), std::uint32_t{ERROR_INVALID_FUNCTION});
}

} // namespace vandrel
