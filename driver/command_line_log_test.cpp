#include "driver/command_line_log.h"
#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using namespace vandrel;
using vandrel::testing::read_file;
using vandrel::testing::temporary_folder;
using vandrel::testing::write_file;

class command_line_log : public ::testing::Test {
protected:
    temporary_folder folder;
    const boost::filesystem::path path = folder.path() / "log";
};

TEST_F(command_line_log, is_the_whole_command_line_in_one_line) {
    const std::array arguments{
        "C:\\Tools\\vandrel.exe", "--ecid", "0001", "--restore", "a b.ipsw", ""};
    log_command_line(path.string(), 6, arguments.data());
    EXPECT_EQ(read_file(path), "C:\\Tools\\vandrel.exe --ecid 0001 --restore a b.ipsw \n");
}

TEST_F(command_line_log, is_the_programs_name_alone_without_arguments) {
    const std::array arguments{"vandrel"};
    log_command_line(path.string(), 1, arguments.data());
    EXPECT_EQ(read_file(path), "vandrel\n");
}

TEST_F(command_line_log, is_whole_however_long_the_command_line_is) {
    const std::string longest(200'000, 'x');
    const std::array arguments{"vandrel", longest.c_str()};
    log_command_line(path.string(), 2, arguments.data());
    EXPECT_EQ(read_file(path), "vandrel " + longest + "\n");
}

TEST_F(command_line_log, is_not_made_without_the_programs_name) {
    const std::array<const char*, 2> arguments{nullptr, "--help"};
    log_command_line(path.string(), 2, arguments.data());
    log_command_line(path.string(), 0, arguments.data());
    EXPECT_FALSE(boost::filesystem::exists(path));
}

TEST_F(command_line_log, leaves_a_file_that_exists_alone) {
    write_file(path, "earlier\n");
    const std::array arguments{"vandrel"};
    log_command_line(path.string(), 1, arguments.data());
    EXPECT_EQ(read_file(path), "earlier\n");
}

TEST_F(command_line_log, does_without_a_file_that_cannot_be_made) {
    const std::array arguments{"vandrel"};
    log_command_line((folder.path() / "missing" / "log").string(), 1, arguments.data());
    EXPECT_TRUE(boost::filesystem::is_empty(folder.path()));
}

} // namespace
