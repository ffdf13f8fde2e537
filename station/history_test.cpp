#include "station/history.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>

namespace vandrel::station {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

restored_try a_try(const std::string& build, int length_ms) {
    return {{0x8110, 0x0C, build, true}, {{13, milliseconds(length_ms)}, {-1, milliseconds(0)}}};
}

class a_history : public ::testing::Test {
protected:
    void write(const std::string& content) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    std::string content() {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    const vandrel::testing::temporary_folder folder;
    const std::filesystem::path file =
        std::filesystem::path(folder.path().string()) / "new" / "history.jsonl";
};

TEST_F(a_history, has_a_line_of_json_for_each_try) {
    add_to_history(file, a_try("21B80", 1500));
    add_to_history(file, {{1, 2, "\xC3\xA9", false}, {}});
    EXPECT_EQ(content(),
              R"({"chip_id":33040,"board_id":12,"build":"21B80","erase":true,)"
              R"("operations_ms":[[13,1500],[-1,0]]})"
              "\n"
              R"({"chip_id":1,"board_id":2,"build":"\u00e9","erase":false,"operations_ms":[]})"
              "\n");
}

TEST_F(a_history, gives_back_what_was_added_the_oldest_first) {
    const restored_try first = a_try("21B80", 1500);
    const restored_try second{{1, 2, "\xC3\xA9", false}, {}};
    add_to_history(file, first);
    add_to_history(file, second);
    EXPECT_THAT(load_history(file), ElementsAre(first, second));
}

TEST_F(a_history, that_is_not_there_is_empty) {
    EXPECT_THAT(load_history(file), IsEmpty());
    EXPECT_THAT(load_history({}), IsEmpty());
}

TEST_F(a_history, leaves_out_broken_lines) {
    add_to_history(file, a_try("21B80", 1500));
    const std::string whole = content();
    const std::string of_bad_types =
        R"({"chip_id":-1,"board_id":12,"build":"B","erase":true,"operations_ms":[]})"
        "\n"
        R"({"chip_id":1,"board_id":12,"build":7,"erase":true,"operations_ms":[]})"
        "\n"
        R"({"chip_id":1,"board_id":12,"build":"B","erase":1,"operations_ms":[]})"
        "\n"
        R"({"chip_id":1,"board_id":12,"build":"B","erase":true,"operations_ms":[[1,-5]]})"
        "\n"
        R"({"chip_id":1,"board_id":12,"build":"B","erase":true,"operations_ms":[[1,9e99]]})"
        "\n"
        R"({"chip_id":1,"board_id":12,"build":"B","erase":true,"operations_ms":[[1]]})"
        "\n";
    write("[]\n\nnull\n" + whole.substr(0, whole.size() / 2) + "\n" + of_bad_types + whole +
          whole.substr(0, whole.size() - 2));
    EXPECT_THAT(load_history(file), ElementsAre(a_try("21B80", 1500)));
}

TEST_F(a_history, leaves_out_a_line_that_is_too_long) {
    add_to_history(file, a_try("21B80", 1500));
    write(content() + std::string(20'000, ' ') + content());
    EXPECT_THAT(load_history(file), ElementsAre(a_try("21B80", 1500)));
}

TEST_F(a_history, is_none_when_the_file_is_too_large) {
    add_to_history(file, a_try("21B80", 1500));
    std::filesystem::resize_file(file, 7'000'000);
    EXPECT_THAT(load_history(file), IsEmpty());
}

TEST_F(a_history, keeps_the_newest_twenty_of_a_kind) {
    add_to_history(file, a_try("another", 7));
    for (int i = 0; i < 25; ++i) {
        add_to_history(file, a_try("21B80", i));
    }
    const auto kept = load_history(file);
    ASSERT_THAT(kept, SizeIs(21));
    EXPECT_EQ(kept.front(), a_try("another", 7));
    EXPECT_EQ(kept.at(1), a_try("21B80", 5));
    EXPECT_EQ(kept.back(), a_try("21B80", 24));
}

TEST_F(a_history, keeps_the_newest_400_of_all_kinds) {
    add_to_history(file, a_try("0", 7));
    const std::string line = content();
    std::string lines;
    for (int i = 0; i < 450; ++i) {
        lines += line;
        lines.replace(lines.rfind("\"0\""), 3, "\"" + std::to_string(i) + "\"");
    }
    write(lines);
    add_to_history(file, a_try("newest", 7));
    const auto kept = load_history(file);
    ASSERT_THAT(kept, SizeIs(400));
    EXPECT_EQ(kept.front(), a_try("51", 7));
    EXPECT_EQ(kept.back(), a_try("newest", 7));
}

TEST_F(a_history, does_not_take_a_try_of_too_many_operations) {
    restored_try endless = a_try("21B80", 7);
    endless.operations.assign(5000, {13, milliseconds(1)});
    add_to_history(file, endless);
    EXPECT_THAT(load_history(file), IsEmpty());
}

TEST_F(a_history, that_cannot_be_written_is_no_error) {
    std::filesystem::create_directories(file);
    add_to_history(file, a_try("21B80", 7));
    EXPECT_THAT(load_history(file), IsEmpty());
    // Nothing is left of the attempt.
    const std::filesystem::directory_iterator content(file.parent_path());
    EXPECT_EQ(std::distance(begin(content), end(content)), 1);
}

} // namespace
} // namespace vandrel::station
