#include "platform/native_error.h"
#include "platform/native_file.h"
#include "tests/refused_call_posix.h"
#include "tests/temporary_folder.h"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace vandrel {

namespace {

class native_file_test : public ::testing::Test {
protected:
    std::string path_of(const std::string& name) const { return (folder.path() / name).string(); }

    std::string make_file(const std::string& name, mode_t mode = 0600) const {
        std::string path = path_of(name);
        const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
        EXPECT_EQ(write(descriptor, "content", 7), 7);
        fchmod(descriptor, mode);
        close(descriptor);
        return path;
    }

    /// How many system calls of this process have written something.
    static int calls_that_write() {
        std::ifstream counts("/proc/self/io");
        std::string name;
        int count = 0;
        while (counts >> name >> count && name != "syscw:") {
        }
        return count;
    }

    /// The error of opening for reading; 0 when the file could be opened.
    std::uint32_t reading_error(const std::string& path) {
        return native_file::open_for_reading(context, path) ? 0 : native_last_error();
    }

    std::uint32_t creation_error(const std::string& path) {
        return native_file::create_for_writing(context, path) ? 0 : native_last_error();
    }

    testing::temporary_folder folder;
    boost::asio::io_context context;
};

/// While one lives, a test that root runs has no more rights than anybody.
class without_privileges {
public:
    without_privileges() { EXPECT_EQ(seteuid(geteuid() == 0 ? nobody : geteuid()), 0); }
    ~without_privileges() { EXPECT_EQ(seteuid(getuid()), 0); }
    without_privileges(const without_privileges&) = delete;
    without_privileges& operator=(const without_privileges&) = delete;

private:
    static constexpr uid_t nobody = 65534;
};

} // namespace

TEST_F(native_file_test, reports_a_missing_file_as_windows_does) {
    EXPECT_EQ(reading_error(path_of("missing")), 2U);
}

TEST_F(native_file_test, reports_a_missing_folder_as_windows_does) {
    EXPECT_EQ(reading_error(path_of("missing/file")), 3U);
    EXPECT_EQ(reading_error(make_file("file") + "/below"), 3U);
    EXPECT_EQ(creation_error(path_of("missing/file")), 3U);
}

TEST_F(native_file_test, reports_a_missing_name_without_a_folder_as_windows_does) {
    EXPECT_EQ(reading_error("no-file-of-the-working-folder"), 2U);
    EXPECT_EQ(reading_error(""), 3U);
}

TEST_F(native_file_test, reports_a_missing_permission_as_windows_does) {
    const std::string path = make_file("forbidden", 0);
    chmod(folder.path().c_str(), 0755);
    const without_privileges guard;
    EXPECT_EQ(reading_error(path), 5U);
    EXPECT_EQ(creation_error(path_of("new")), 5U);
}

TEST_F(native_file_test, reports_a_folder_as_windows_does) {
    EXPECT_EQ(reading_error(folder.path().string()), 5U);
}

TEST_F(native_file_test, reports_an_existing_file_as_windows_does) {
    EXPECT_EQ(creation_error(make_file("existing")), 80U);
}

TEST_F(native_file_test, reports_a_name_that_is_too_long_as_windows_does) {
    EXPECT_EQ(reading_error(path_of(std::string(300, 'x'))), 206U);
}

TEST_F(native_file_test, reports_a_circle_of_links_as_windows_does) {
    ASSERT_EQ(symlink("circle", path_of("circle").c_str()), 0);
    EXPECT_EQ(reading_error(path_of("circle")), 1921U);
}

TEST_F(native_file_test, reports_too_many_open_files_as_windows_does) {
    const std::string path = make_file("file");
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit none{0, usual.rlim_max};
    boost::asio::io_context own_context;
    // Nothing but the call itself in between: sanitizers need files for their own checks.
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool is_open = native_file::open_for_reading(own_context, path).has_value();
    const std::uint32_t error = native_last_error();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_FALSE(is_open);
    EXPECT_EQ(error, 4U);
}

TEST_F(native_file_test, reports_what_rarely_fails_as_windows_does) {
    const std::string path = make_file("file");
    const auto error_of = [&](std::uint32_t number) {
        std::uint32_t error = 0;
        std::thread([&] {
            testing::refuse_call(SYS_openat, number);
            error = reading_error(path);
        }).join();
        return error;
    };
    EXPECT_EQ(error_of(ENFILE), 4U);
    EXPECT_EQ(error_of(EPERM), 5U);
    EXPECT_EQ(error_of(ENOMEM), 8U);
    EXPECT_EQ(error_of(EROFS), 19U);
    EXPECT_EQ(error_of(ENODEV), 21U);
    EXPECT_EQ(error_of(EINVAL), 87U);
    EXPECT_EQ(error_of(ENOSPC), 112U);
    EXPECT_EQ(error_of(EDQUOT), 112U);
}

TEST_F(native_file_test, a_file_that_asio_cannot_take_is_closed_again) {
    const std::string path = make_file("file");
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    std::thread([this, &path] {
        testing::refuse_call(SYS_epoll_ctl, ENOMEM);
        try {
            native_file::open_for_reading(context, path);
            ADD_FAILURE() << "is open";
        } catch (const boost::system::system_error& failure) {
            EXPECT_EQ(failure.code().value(), ENOMEM);
            EXPECT_STREQ(failure.what(), "assign: Cannot allocate memory [system:12]");
        }
    }).join();
    const int next_afterwards = open("/dev/null", O_RDONLY);
    EXPECT_EQ(next_afterwards, next);
    close(next_afterwards);
}

TEST_F(native_file_test, a_file_may_have_the_number_of_a_closed_standard_input) {
    const std::string path = make_file("file");
    const int standard_input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        const auto file = native_file::open_for_reading(context, path);
        ASSERT_TRUE(file);
        EXPECT_EQ(file->size(), 7U);
    }
    EXPECT_EQ(dup2(standard_input, STDIN_FILENO), STDIN_FILENO);
    close(standard_input);
}

TEST_F(native_file_test, reports_a_device_that_cannot_be_opened_as_windows_does) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = path_of("socket");
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(reading_error(path), 21U);
    close(descriptor);
}

TEST_F(native_file_test, makes_a_file_that_its_owner_may_change_and_others_may_read) {
    const mode_t usual = umask(0);
    const auto file = native_file::create_for_writing(context, path_of("new"));
    umask(usual);
    ASSERT_TRUE(file);
    struct stat status {};
    ASSERT_EQ(stat(path_of("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(native_file_test, opens_a_pipe_without_waiting_and_finds_no_size) {
    ASSERT_EQ(mkfifo(path_of("pipe").c_str(), 0600), 0);
    const auto pipe = native_file::open_for_reading(context, path_of("pipe"));
    ASSERT_TRUE(pipe);
    EXPECT_FALSE(pipe->size());
    EXPECT_EQ(native_last_error(), 1U);
}

TEST_F(native_file_test, reports_what_windows_has_no_code_for_as_a_general_failure) {
    // The lowest free number is the one that the file will get.
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    const auto file = native_file::open_for_reading(context, make_file("file"));
    ASSERT_TRUE(file);
    close(descriptor);
    EXPECT_EQ(file->size(), std::nullopt);
    EXPECT_EQ(native_last_error(), 31U);
}

TEST_F(native_file_test, notices_a_file_that_has_become_shorter) {
    const std::string path = make_file("file");
    auto file = native_file::open_for_reading(context, path);
    const std::uint64_t size = file->size().value();
    ASSERT_EQ(truncate(path.c_str(), 3), 0);
    std::vector<std::uint8_t> bytes(size);
    boost::system::error_code error;
    file->read(bytes, error);
    EXPECT_EQ(error, boost::asio::error::eof);
}

TEST_F(native_file_test, opens_a_file_that_somebody_else_writes_for_this_host_excludes_nobody) {
    auto writer = native_file::create_for_writing(context, path_of("file"));
    auto reader = native_file::open_for_reading(context, path_of("file"));
    ASSERT_TRUE(reader);
    writer->append("written later");
    EXPECT_EQ(reader->size(), 13U);
}

TEST_F(native_file_test, appends_a_long_text_in_pieces_of_at_most_65536_bytes) {
    auto file = native_file::create_for_writing(context, path_of("file"));
    const auto calls_for = [&file](const std::string& text) {
        const int before = calls_that_write();
        file->append(text);
        return calls_that_write() - before;
    };
    // A sanitizer writes something of its own the first time.
    static_cast<void>(calls_for("x"));
    EXPECT_EQ(calls_for(std::string(65'536, 'x')), 1);
    EXPECT_EQ(calls_for(std::string(2 * 65'536 + 1, 'x')), 3);
    EXPECT_EQ(file->size(), 196'610U);
}

TEST_F(native_file_test, lets_others_delete_a_file_that_it_reads) {
    const std::string path = make_file("file");
    auto reader = native_file::open_for_reading(context, path);
    ASSERT_EQ(unlink(path.c_str()), 0);
    std::vector<std::uint8_t> bytes(7);
    boost::system::error_code error;
    reader->read(bytes, error);
    EXPECT_FALSE(error);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "content");
}

TEST_F(native_file_test, leaves_no_descriptor_to_programs_that_are_started) {
    const auto file = native_file::open_for_reading(context, make_file("file"));
    const int next = open("/dev/null", O_RDONLY);
    EXPECT_EQ(fcntl(next - 1, F_GETFD), FD_CLOEXEC);
    close(next);
}

} // namespace vandrel
