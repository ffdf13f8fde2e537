#include "station/event_json.h"
#include "station/summary.h"
#include "station/text.h"

#include <gtest/gtest.h>

namespace vandrel::station {

TEST(event_json, a_line_is_ascii_and_has_no_null) {
    event found{3, awake_time(1500), event_level::info, event_device{"00000000000000AB", "", 0, 0},
                device_found{device_properties{1, 2, 0, "S\xC3\xA9\xF0\x9F\x98\x80", "", "", ""}}};
    const auto epoch = std::chrono::system_clock::time_point{};
    EXPECT_EQ(json_line(found, {"r", {}}, epoch),
              "{\"v\":1,\"seq\":3,\"time\":\"1970-01-01T00:00:00.000Z\",\"t\":1.5E0,\"run\":\"r\","
              "\"event\":\"device_found\",\"level\":\"info\",\"ecid\":\"00000000000000AB\","
              "\"chip_id\":1,\"board_id\":2,\"serial_number\":\"S\\u00e9\\ud83d\\ude00\","
              "\"message\":\"found: S\\u00e9\\ud83d\\ude00\"}\n");
}

TEST(printable, controls_and_marks_of_direction_are_replaced) {
    EXPECT_EQ(printable("a\x1B[2J\n"), "a\xEF\xBF\xBD[2J\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xE2\x80\xAE"
                        "b\xC2\x9B"),
              "\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

TEST(printable, bytes_of_no_character_are_replaced) {
    EXPECT_EQ(printable("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xC3"), "\xEF\xBF\xBD");
}

TEST(csv_field, is_quoted_where_it_has_to_be) {
    EXPECT_EQ(csv_field("iPhone14,2"), "\"iPhone14,2\"");
    EXPECT_EQ(csv_field("a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(csv_field("plain"), "plain");
}

TEST(csv_field, is_no_formula) {
    EXPECT_EQ(csv_field("=1+1"), "'=1+1");
    EXPECT_EQ(csv_field("-2"), "'-2");
}

} // namespace vandrel::station
