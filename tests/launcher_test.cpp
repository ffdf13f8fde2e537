/// The product itself on a machine without Apple's libraries.

#include "tests/file_content.h"
#include "tests/program.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>

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
    fs::path library() const { return folder_.path() / library_file_name("vandrel"); }

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

/// The same library, for another kind of processor.
std::string for_another_architecture(std::string library) {
    const bool is_windows = library.starts_with("MZ");
    // In the header of a Windows library, the kind is after the signature, whose place is a number
    // of two bytes. The numbers of a 32-bit x86 are 0x14C and 3.
    const std::size_t kind = is_windows ? static_cast<std::uint8_t>(library.at(0x3C)) +
                                              256U * static_cast<std::uint8_t>(library.at(0x3D)) + 4
                                        : 18;
    library.at(kind) = is_windows ? '\x4C' : '\x03';
    library.at(kind + 1) = is_windows ? '\x01' : '\x00';
    return library;
}

/// The headers of an ELF library as a file of 120 bytes, with one part, of which so many bytes are
/// in the file.
std::string headers_alone(const std::string& library, char bytes_of_part) {
    std::string result = library.substr(0, 64) + std::string(56, '\0');
    // The place of the parts' headers, and their number.
    result.at(32) = 64;
    std::fill(result.begin() + 33, result.begin() + 40, '\0');
    result.at(56) = 1;
    result.at(57) = 0;
    // A part that has to be in memory, from the first byte of the file.
    result.at(64) = 1;
    result.at(64 + 32) = bytes_of_part;
    result.at(64 + 40) = bytes_of_part;
    return result;
}

TEST(launcher, misses_the_end_of_its_library_from_the_first_byte_on) {
    const installed_product product;
    const std::string whole = read_file(product.library());
    if (whole.starts_with("MZ")) {
        GTEST_SKIP() << "Windows libraries have other headers.";
    }
    const std::string incomplete = "it is damaged: its end is missing";
    const std::string no_library = "object file has no dynamic section";
    const std::vector<std::pair<std::string, std::string>> contents{
        {headers_alone(whole, 120), no_library},
        {headers_alone(whole, 121), incomplete},
        {headers_alone(whole, 120).substr(0, 119), incomplete}};
    for (const auto& [content, reason] : contents) {
        write_file(product.library(), content);
        EXPECT_THAT(expect_one_sentence(product.run({"--list-devices"})), HasSubstr(": " + reason));
    }
}

TEST(launcher, says_what_is_wrong_with_its_library) {
    const installed_product product;
    const std::string whole = read_file(product.library());
    const std::string another = "it is for another architecture than x64";
    const std::string no_library = "it is damaged, or is not a library";
    const std::string incomplete = "it is damaged: its end is missing";
    const std::vector<std::pair<std::string, std::string>> contents{
        {for_another_architecture(whole), another}, {"This is a text.\n", no_library},
        {std::string(100'000, 'x'), no_library},    {"", no_library},
        {whole.substr(0, 16), no_library},          {whole.substr(0, 10'000), incomplete},
        {whole.substr(0, 100'000), incomplete}};
    for (const auto& [content, reason] : contents) {
        write_file(product.library(), content);
        const std::string sentence = expect_one_sentence(product.run({"--list-devices"}));
        EXPECT_THAT(sentence, StartsWith("vandrel: its library "));
        EXPECT_THAT(sentence,
                    HasSubstr(library_file_name("vandrel") + " could not be loaded: " + reason));
    }
}

} // namespace
