#include "output/output_str_state.h"
#include "tests/numbered_records.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

namespace {

using namespace vandrel;
using vandrel::testing::make_numbered_records;

/// A named pipe that keeps messages apart, and has room for a few records only.
class message_pipe {
public:
    message_pipe() {
        const std::string name =
            R"(\\.\pipe\vandrel-output-test-)" + std::to_string(GetCurrentProcessId());
        constexpr DWORD little_room = 4096;
        reader_ = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND,
                                   PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1,
                                   little_room, little_room, 0, nullptr);
        writer_ = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OVERLAPPED, nullptr);
        EXPECT_NE(reader_, INVALID_HANDLE_VALUE);
        EXPECT_NE(writer_, INVALID_HANDLE_VALUE);
    }
    ~message_pipe() { CloseHandle(reader_); }
    message_pipe(const message_pipe&) = delete;
    message_pipe& operator=(const message_pipe&) = delete;

    /// For the channel, which closes it.
    std::int64_t to_write() const { return reinterpret_cast<std::intptr_t>(writer_); }

    /// The next message. Empty at the end.
    std::string read_message() {
        std::string bytes(300'000, '\0');
        DWORD size = 0;
        const bool is_whole =
            ReadFile(reader_, bytes.data(), static_cast<DWORD>(bytes.size()), &size, nullptr) != 0;
        bytes.resize(is_whole ? size : 0);
        return bytes;
    }

private:
    HANDLE reader_;
    HANDLE writer_;
};

/// The messages that records queued before the writer started arrive as.
std::vector<std::string> messages_of(const std::vector<std::string>& records, std::size_t bytes) {
    message_pipe pipe;
    std::vector<std::string> messages;
    {
        boost::asio::io_context context;
        output_str_state channel(native_pipe(context, pipe.to_write()));
        for (const std::string& record : records) {
            channel.push_output(record);
        }
        channel.shutdown();
        std::thread writer([&channel] { channel.writer_loop(); });
        for (std::size_t read = 0; read < bytes; read += messages.back().size()) {
            messages.push_back(pipe.read_message());
            if (messages.back().empty()) {
                ADD_FAILURE() << "the pipe ended early";
                break;
            }
        }
        writer.join();
    }
    EXPECT_EQ(pipe.read_message(), "");
    return messages;
}

TEST(output_channel, each_record_is_one_message_however_slow_the_reader_is) {
    const auto records = make_numbered_records();
    std::size_t bytes = 0;
    for (const std::string& record : records) {
        bytes += record.size();
    }
    EXPECT_EQ(messages_of(records, bytes), records);
}

TEST(output_channel, a_long_record_is_written_in_pieces_of_at_most_65536_bytes) {
    const std::string record = make_numbered_records().back() + std::string(200'000, 'x');
    const auto messages = messages_of({record}, record.size());
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_EQ(messages[0], record.substr(0, 65'536));
    EXPECT_EQ(messages[1], record.substr(65'536, 65'536));
    EXPECT_EQ(messages[2], record.substr(131'072, 65'536));
    EXPECT_EQ(messages[3], record.substr(196'608));
}

} // namespace
