#include "launcher/platform_truth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vandrel {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(platform_truth, every_document_is_what_the_platform_makes_of_it) {
    const truth_result result = check_documents(VANDREL_TRUTH);
    EXPECT_GT(result.checked, 500U);
    EXPECT_THAT(result.differences, IsEmpty());
}

TEST(platform_truth, every_value_does_what_the_platforms_does) {
    const truth_result result = check_values();
    EXPECT_GT(result.checked, 25U);
    EXPECT_THAT(result.differences, IsEmpty());
}

/// A folder of documents that all are `<true/>`.
class folder_of_documents {
public:
    folder_of_documents() {
        std::filesystem::create_directories(root_ / "documents");
        std::filesystem::create_directories(root_ / "contents");
    }
    ~folder_of_documents() { std::filesystem::remove_all(root_); }
    folder_of_documents(const folder_of_documents&) = delete;
    folder_of_documents& operator=(const folder_of_documents&) = delete;

    std::string path() const { return root_.string(); }
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(root_ / name, std::ios::binary) << content;
    }

private:
    std::filesystem::path root_ = std::filesystem::temp_directory_path() /
                                  (std::string("vandrel-truth-") +
                                   testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST(platform_truth, each_difference_is_reported) {
    const folder_of_documents folder;
    for (const std::string name : {"a", "b", "c", "d"}) {
        folder.write("documents/" + name, name == "b" ? "<false>" : "<true/>");
    }
    folder.write("contents/d.xml", "another");
    folder.write("results.txt", "a refused\nb accepted\nc unwritable\nd accepted\n");
    const truth_result result = check_documents(folder.path());
    EXPECT_EQ(result.checked, 4U);
    EXPECT_THAT(result.differences,
                ElementsAre("a: accepted, and should be refused",
                            "b: refused, and should be accepted",
                            "c: has an XML form, and should have none",
                            testing::StartsWith("d: has another content: <?xml")));
}

TEST(platform_truth, a_folder_without_results_is_an_error) {
    const folder_of_documents folder;
    EXPECT_THROW(check_documents(folder.path()), std::runtime_error);
    folder.write("results.txt", "missing accepted\n");
    EXPECT_THROW(check_documents(folder.path()), std::runtime_error);
}

} // namespace

} // namespace vandrel
