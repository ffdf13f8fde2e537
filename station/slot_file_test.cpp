#include "station/slot_file.h"
#include "station/slots_run.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace vandrel::station {
namespace {

TEST(slot_line, has_a_location_and_a_name) {
    const auto line = read_slot_line(" 0x14110000\tleft side \r\n");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->location, 0x14110000U);
    EXPECT_EQ(line->name, "left side");
    EXPECT_EQ(read_slot_line("336592896 A1")->location, 0x14100000U);
    for (const char* const other : {"", "0x14110000", "A1 0x14110000", "0x1411000g A1", "0x A1",
                                    "0x114110000 A1", "# 0x14110000 A1"}) {
        EXPECT_FALSE(read_slot_line(other)) << other;
    }
}

TEST(slot_content, gets_a_line_at_its_end_and_keeps_the_others) {
    EXPECT_EQ(with_slot("", {0x14110000, "A1"}), "0x14110000 A1\n");
    EXPECT_EQ(with_slot("# ports\n\n 0X14110000  A1\nno line", {0x14120000, "A2"}),
              "# ports\n\n 0X14110000  A1\nno line\n0x14120000 A2\n");
}

TEST(slot_content, loses_the_lines_with_the_location_or_the_name) {
    EXPECT_EQ(with_slot("0x14110000 A1\n0x14120000 A2\n0x14130000 A3\n", {0x14120000, "A3"}),
              "0x14110000 A1\n0x14120000 A3\n");
    EXPECT_EQ(with_slot("\xEF\xBB\xBF"
                        "0x14110000 A1\n",
                        {0x14110000, "B1"}),
              "0x14110000 B1\n");
}

TEST(slot_content, keeps_the_ends_of_its_lines) {
    EXPECT_EQ(with_slot("0x14110000 A1\r\n0x14120000 A2", {0x14130000, "A3"}),
              "0x14110000 A1\r\n0x14120000 A2\r\n0x14130000 A3\r\n");
}

TEST(next_slot_name, is_one_more_and_free) {
    EXPECT_EQ(next_slot_name("A1", {}), "A2");
    EXPECT_EQ(next_slot_name("A9", {"A10"}), "A11");
    EXPECT_EQ(next_slot_name("B09", {}), "B10");
    EXPECT_EQ(next_slot_name("99", {}), "100");
}

TEST(next_slot_name, of_a_name_without_a_number_is_the_first_that_is_free) {
    EXPECT_EQ(next_slot_name("", {}), "A1");
    EXPECT_EQ(next_slot_name("", {"A1", "A2"}), "A3");
    EXPECT_EQ(next_slot_name("left", {}), "A1");
}

TEST(slot_order, is_by_letters_and_then_by_number) {
    EXPECT_TRUE(is_before("A2", "A10"));
    EXPECT_FALSE(is_before("A10", "A2"));
    EXPECT_TRUE(is_before("A10", "B1"));
    EXPECT_TRUE(is_before("A02", "A3"));
    EXPECT_FALSE(is_before("A1", "A1"));
}

class slot_file : public ::testing::Test {
protected:
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(path_, std::ios::binary).rdbuf();
        return text.str();
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    const std::filesystem::path path_ = folder_ / "slots.txt";
};

TEST_F(slot_file, is_made_and_replaced) {
    replace_slot_file(path_, "one\n");
    EXPECT_EQ(content(), "one\n");
    replace_slot_file(path_, "two\r\n");
    EXPECT_EQ(content(), "two\r\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1);
}

TEST_F(slot_file, that_cannot_be_written_is_named) {
    const std::filesystem::path nowhere = folder_ / "none" / "slots.txt";
    try {
        replace_slot_file(nowhere, "one\n");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::string(error.what()).ends_with("slots.txt cannot be written"))
            << error.what();
    }
    // A folder in its place.
    EXPECT_THROW(replace_slot_file(folder_, "one\n"), std::runtime_error);
}

TEST_F(slot_file, that_cannot_be_replaced_is_named_with_the_reason) {
    const std::filesystem::path folder = folder_ / "slots.txt";
    std::filesystem::create_directory(folder);
    try {
        replace_slot_file(folder, "one\n");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("slots.txt cannot be written: "),
                  std::string::npos)
            << error.what();
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1);
}

TEST_F(slot_file, takes_the_place_of_a_link_that_leads_to_itself) {
    std::error_code error;
    std::filesystem::create_symlink("slots.txt", path_, error);
    if (error) {
        GTEST_SKIP() << "links cannot be made here";
    }
    replace_slot_file(path_, "one\n");
    EXPECT_EQ(content(), "one\n");
    EXPECT_FALSE(std::filesystem::is_symlink(path_));
}

listed_device at(std::uint32_t location, const std::string& ecid) {
    device_properties properties;
    properties.location_id = location;
    properties.serial_number = "S\x1b" + ecid;
    properties.product_string = "Phone";
    return {ecid, properties};
}

TEST(slot_table, has_each_slot_with_its_device_and_the_others_below) {
    EXPECT_EQ(slot_table({{0x14100000, "A10"}, {0x14200000, "A2"}, {0x14300000, "A1"}},
                         {at(0x14100000, "AA"), at(0x14400000, "BB"), {"CC", {}}}),
              "  SLOT  LOCATION    ECID  SERIAL  DEVICE\n"
              "  A1    0x14300000  -\n"
              "  A2    0x14200000  -\n"
              "  A10   0x14100000  AA    S\xEF\xBF\xBD"
              "AA    Phone\n"
              "  -     0x14400000  BB    S\xEF\xBF\xBD"
              "BB    Phone\n"
              "  -     -           CC    -       -\n");
}

} // namespace
} // namespace vandrel::station
