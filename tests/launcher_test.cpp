/// The product itself on a machine without Apple's libraries.

#include "tests/program.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace vandrel::testing;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace fs = boost::filesystem;

/// Status 1, nothing on standard output, one line on standard error. Returns that line.
std::string expect_one_sentence(const program_result& result) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(result.standard_error, StartsWith("vandrel: "));
    EXPECT_EQ(std::ranges::count(result.standard_error, '\n'), 1);
    EXPECT_THAT(result.standard_error, EndsWith("\n"));
    return result.standard_error;
}

program_result run_launcher(const fs::path& folder, const std::vector<std::string>& arguments) {
    program_call call;
    call.program = (folder / program_file_name("vandrel")).string();
    call.arguments = arguments;
    return run_program(call);
}

/// A folder with the product in it, and nothing else.
class installed_product {
public:
    installed_product() {
        for (const std::string& name :
             {program_file_name("vandrel"), library_file_name("vandrel")}) {
            fs::copy_file(fs::path(program_folder()) / name, folder_.path() / name);
        }
    }

    program_result run(const std::vector<std::string>& arguments) const {
        return run_launcher(folder_.path(), arguments);
    }

private:
    temporary_folder folder_;
};

TEST(launcher, without_apples_libraries_every_command_says_so_and_ends_with_1) {
    const installed_product product;
    const std::vector<std::vector<std::string>> command_lines{
        {},
        {"--list-devices"},
        {"--restore", "x.ipsw", "--ecid", "0001A2B3C4D5E6F7"},
        {"--frobnicate"}};
    for (const auto& arguments : command_lines) {
        const std::string sentence = expect_one_sentence(product.run(arguments));
        EXPECT_THAT(sentence, HasSubstr("attached devices need Apple's"));
        EXPECT_THAT(sentence, HasSubstr("CoreFoundation"));
    }
}

TEST(launcher, without_apples_libraries_there_is_help) {
    const program_result result = installed_product().run({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(result.standard_error, StartsWith("Program options:\n"));
    EXPECT_THAT(result.standard_error, HasSubstr("--restore-plist arg"));
}

TEST(launcher, without_the_library_beside_it_the_launcher_says_so_and_ends_with_1) {
    const temporary_folder folder;
    const std::string program = program_file_name("vandrel");
    fs::copy_file(fs::path(program_folder()) / program, folder.path() / program);
    EXPECT_THAT(expect_one_sentence(run_launcher(folder.path(), {"--list-devices"})),
                HasSubstr(" could not be loaded: "));
}

} // namespace
