#include "foundation/file.h"
#include "foundation/win32_error_category.h"
#include "tests/file_content.h"
#include "tests/silent_pipe.h"
#include "tests/system_message.h"
#include "tests/temporary_folder.h"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>
#include <thread>
#include <vector>

namespace Orv {

namespace {

namespace fs = boost::filesystem;
using boost::system::error_code;
using vandrel::testing::read_file;
using vandrel::testing::system_message;
using vandrel::testing::temporary_folder;

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

class file_test : public testing::Test {
protected:
    fs::path make_file(const fs::path& name, const std::string& content) const {
        fs::path path = folder.path() / name;
        vandrel::testing::write_file(path, content);
        return path;
    }

    temporary_folder folder;
    std::vector<std::uint8_t> bytes{1, 2, 3};
};

std::vector<std::uint8_t> bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

/// What `call` throws, or "nothing".
template<class Call>
boost::system::system_error error_of(const Call& call) {
    try {
        call();
    } catch (const boost::system::system_error& error) {
        return error;
    }
    return {error_code(), "nothing"};
}

int windows_code(const boost::system::error_code& error) {
    const std::error_code wrapped = error;
    return wrapped.category() == vandrel::win32_error_category::instance() ? wrapped.value() : -1;
}

/// What is said of Windows' code, and how error codes are shown.
std::string windows_reason(std::uint32_t code) {
    return system_message(code) + " [std:Win32 Error:" + std::to_string(code) + "]";
}

} // namespace

// --- reading

TEST_F(file_test, reads_every_byte_of_a_file) {
    std::string all(256, '\0');
    std::iota(all.begin(), all.end(), '\0');
    EXPECT_EQ(file(make_file("bytes", all)).read_whole(bytes, no_limit), bytes_of(all));
}

TEST_F(file_test, reads_a_file_of_many_pieces) {
    std::string large;
    while (large.size() < 1'000'003) {
        large += std::to_string(large.size()) + ' ';
    }
    EXPECT_EQ(file(make_file("large", large)).read_whole(bytes, no_limit), bytes_of(large));
}

TEST_F(file_test, reads_an_empty_file_as_nothing_and_without_an_error) {
    EXPECT_TRUE(file(make_file("empty", "")).read_whole(bytes, no_limit).empty());
}

TEST_F(file_test, reads_the_same_again) {
    file opened(make_file("again", "abc"));
    EXPECT_EQ(opened.read_whole(bytes, no_limit), bytes_of("abc"));
    EXPECT_EQ(opened.size(), 3U);
    EXPECT_EQ(opened.read_whole(bytes, no_limit), bytes_of("abc"));
}

TEST_F(file_test, opens_names_with_characters_of_any_script) {
    const fs::path path = make_file("Прошивка 固件 \xF0\x9F\x93\xB1 e\xCC\x81.plist", "content");
    EXPECT_EQ(file(path).read_whole(bytes, no_limit), bytes_of("content"));
}

TEST_F(file_test, leaves_the_file_to_others_to_read) {
    const fs::path path = make_file("shared", "abc");
    const file first(path);
    EXPECT_EQ(file(path).read_whole(bytes, no_limit), bytes_of("abc"));
}

// --- the limit

TEST_F(file_test, reads_a_file_of_exactly_the_largest_size) {
    EXPECT_EQ(file(make_file("five", "12345")).read_whole(bytes, 5), bytes_of("12345"));
}

TEST_F(file_test, refuses_one_byte_more_and_names_both_sizes) {
    const fs::path path = make_file("six", "123456");
    const auto error = error_of([&] { file(path).read_whole(bytes, 5); });
    EXPECT_EQ(error.code(), error_code(1, file_error_category::instance()));
    EXPECT_EQ(error.what(), "'" + path.string() +
                                "' is 6 bytes (max size is 5 bytes): File is too large to fit "
                                "into the buffer [Orv::file:1]");
}

TEST_F(file_test, stores_that_a_file_is_too_large_in_the_error_code_when_there_is_one) {
    error_code error;
    EXPECT_TRUE(file(make_file("six", "123456")).read_whole(bytes, 5, &error).empty());
    EXPECT_EQ(error, error_code(1, file_error_category::instance()));
}

TEST_F(file_test, measures_files_beyond_four_gibibytes) {
    const fs::path path = make_file("sparse", "");
    fs::resize_file(path, 0x1'4000'0001);
    EXPECT_EQ(file(path).size(), 0x1'4000'0001U);
}

TEST_F(file_test, reads_nothing_from_a_file_without_a_size) {
    const vandrel::testing::silent_pipe pipe;
    file opened{fs::path(pipe.name())};
    error_code error;
    EXPECT_TRUE(opened.read_whole(bytes, no_limit, &error).empty());
    EXPECT_EQ(windows_code(error), 1);

    bytes = {1, 2, 3};
    const auto thrown = error_of([&] { opened.read_whole(bytes, no_limit); });
    EXPECT_EQ(thrown.what(),
              "when getting size of file '" + pipe.name() + "': " + windows_reason(1));
    EXPECT_TRUE(bytes.empty());
}

// --- what ends too early

TEST_F(file_test, gives_nothing_of_a_file_that_ends_before_its_size) {
    // The kernel says that this one has 4,096 bytes.
    const fs::path path = "/sys/class/net/lo/mtu";
    if (!fs::exists(path)) {
        GTEST_SKIP() << "no such file on this host";
    }
    error_code error;
    EXPECT_TRUE(file(path).read_whole(bytes, no_limit, &error).empty());
    EXPECT_EQ(error, boost::asio::error::eof);

    const auto thrown = error_of([&] { file(path).read_whole(bytes, no_limit); });
    EXPECT_STREQ(thrown.what(), "read: End of file [asio.misc:2]");
    EXPECT_TRUE(bytes.empty());
}

// --- what cannot be opened

TEST_F(file_test, does_not_find_a_missing_file) {
    const fs::path path = folder.path() / "missing";
    const auto error = error_of([&] { const file opened(path); });
    EXPECT_EQ(windows_code(error.code()), 2);
    EXPECT_TRUE(std::error_code(error.code()) == std::errc::no_such_file_or_directory);
    EXPECT_EQ(error.what(),
              "when opening file '" + path.string() + "' for reading: " + windows_reason(2));
}

TEST_F(file_test, does_not_find_a_file_in_a_missing_folder) {
    const fs::path path = folder.path() / "missing" / "file";
    EXPECT_EQ(windows_code(error_of([&] { const file opened(path); }).code()), 3);
}

TEST_F(file_test, does_not_find_a_file_without_a_name) {
    EXPECT_EQ(windows_code(error_of([&] { const file opened(""); }).code()), 3);
}

TEST_F(file_test, does_not_open_a_folder) {
    const auto error = error_of([&] { const file opened(folder.path()); });
    EXPECT_EQ(windows_code(error.code()), 5);
    EXPECT_EQ(error.what(), "when opening file '" + folder.path().string() +
                                "' for reading: " + windows_reason(5));
}

// --- making files

TEST_F(file_test, makes_a_new_file_and_writes_at_its_end) {
    const fs::path path = folder.path() / "new";
    const std::string more(200'000, 'x');
    {
        auto created = file::create(path);
        created->append("first ");
        created->append(more);
        created->append("");
    }
    EXPECT_EQ(read_file(path), "first " + more);
}

TEST_F(file_test, never_overwrites_a_file) {
    const fs::path path = make_file("existing", "precious");
    const auto error = error_of([&] { file::create(path); });
    EXPECT_EQ(windows_code(error.code()), 80);
    EXPECT_EQ(error.what(),
              "when creating new file '" + path.string() + "' for writing: " + windows_reason(80));
    EXPECT_EQ(read_file(path), "precious");
}

TEST_F(file_test, stores_that_a_file_exists_in_the_error_code_when_there_is_one) {
    error_code error;
    EXPECT_FALSE(file::create(make_file("existing", ""), &error));
    EXPECT_EQ(windows_code(error), 80);
}

TEST_F(file_test, clears_the_error_code_on_success) {
    error_code error(5, file_error_category::instance());
    EXPECT_TRUE(file::create(folder.path() / "new", &error));
    EXPECT_FALSE(error);

    error.assign(5, file_error_category::instance());
    file(make_file("other", "abc")).read_whole(bytes, no_limit, &error);
    EXPECT_FALSE(error);
    EXPECT_EQ(bytes, bytes_of("abc"));
}

TEST_F(file_test, is_used_by_several_threads_at_once_each_with_its_own) {
    std::vector<std::thread> threads;
    std::vector<std::vector<std::uint8_t>> contents(8);
    for (std::size_t i = 0; i < contents.size(); ++i) {
        const fs::path path =
            make_file(std::to_string(i), std::string(100'000, 'a') + std::to_string(i));
        threads.emplace_back(
            [&content = contents[i], path] { file(path).read_whole(content, no_limit); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < contents.size(); ++i) {
        EXPECT_EQ(contents[i], bytes_of(std::string(100'000, 'a') + std::to_string(i)));
    }
}

// --- the category

TEST(file_error_category, is_named_for_the_reader) {
    EXPECT_STREQ(file_error_category::instance().name(), "Orv::file");
}

TEST(file_error_category, has_a_message_for_each_of_its_codes) {
    const auto& category = file_error_category::instance();
    EXPECT_EQ(category.message(0), "Success");
    EXPECT_EQ(category.message(1), "File is too large to fit into the buffer");
    EXPECT_EQ(category.message(2), "Could not allocate buffer for file");
    EXPECT_EQ(category.message(3), "Could not obtain file lock");
}

TEST(file_error_category, shows_the_numbers_of_unknown_codes) {
    EXPECT_EQ(file_error_category::instance().message(4), "Unknown error 4");
    EXPECT_EQ(file_error_category::instance().message(-1), "Unknown error -1");
}

TEST(file_error_category, counts_a_file_that_is_too_large_as_too_little_memory) {
    namespace errc = boost::system::errc;
    const auto& category = file_error_category::instance();
    EXPECT_EQ(category.default_error_condition(1), errc::not_enough_memory);
    EXPECT_EQ(category.default_error_condition(2), errc::not_enough_memory);
    EXPECT_EQ(category.default_error_condition(3), errc::operation_would_block);
    EXPECT_EQ(category.default_error_condition(0), boost::system::error_condition(0, category));
    EXPECT_EQ(category.default_error_condition(4), boost::system::error_condition(4, category));
}

} // namespace Orv
