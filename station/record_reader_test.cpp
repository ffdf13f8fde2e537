#include "station/record_reader.h"

#include <gmock/gmock.h>

namespace vandrel::station {

namespace {

using testing::Contains;
using testing::ElementsAre;

const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"x\">\n";

std::string document(const std::string& type, const std::string& value) {
    return head + "<plist version=\"1.0\">\n<dict><key>Type</key><string>" + type +
           "</string><key>Value</key>" + value + "</dict>\n</plist>\n";
}

std::string report(const std::string& more = "") {
    return document("RestoreStatus", "<dict>" + more +
                                         "<key>Operation</key><integer>14</integer>"
                                         "<key>Progress</key><integer>42</integer>"
                                         "<key>Status</key><string>Restoring</string></dict>");
}

/// The index of the alternative of each record: 0 a report, 5 one of an unknown type, 6 unreadable.
std::vector<std::size_t> kinds_in(const std::string& stream, std::size_t piece) {
    std::vector<std::size_t> kinds;
    record_reader reader;
    const auto note = [&kinds](const record& each) { kinds.push_back(each.index()); };
    for (std::size_t i = 0; i < stream.size(); i += piece) {
        reader.take(std::string_view(stream).substr(i, piece), note);
    }
    reader.finish(note);
    return kinds;
}

error_value error_in(const std::string& xml) {
    const auto read = read_record(report("<key>Error</key>" + xml));
    return std::get<restore_report>(read).error;
}

} // namespace

TEST(record_reader, takes_a_stream_in_pieces_of_any_size) {
    const std::string stream = report() + "\n" + report() + document("News", "<true/>");
    for (const std::size_t piece : {1U, 2U, 7U, 8U, 9U, 300U, 100000U}) {
        EXPECT_THAT(kinds_in(stream, piece), ElementsAre(0, 0, 5)) << piece;
    }
}

TEST(record_reader, half_a_record_at_the_end_is_unreadable) {
    EXPECT_THAT(kinds_in(report() + report().substr(0, 200), 64), ElementsAre(0, 6));
}

TEST(record_reader, half_a_record_does_not_spoil_the_next) {
    EXPECT_THAT(kinds_in(report().substr(0, 200) + report(), 64), ElementsAre(6, 0));
}

TEST(record_reader, rubbish_does_not_spoil_the_next_record) {
    EXPECT_THAT(kinds_in("some library's words\n" + report(), 64), ElementsAre(6, 0));
}

TEST(record_reader, blanks_alone_are_nothing) {
    EXPECT_THAT(kinds_in("\n \n", 1), ElementsAre());
}

TEST(record_reader, a_record_that_is_too_large_is_passed_over) {
    const std::string large =
        report("<key>Text</key><string>" + std::string(5'000'000, 'x') + "</string>");
    EXPECT_THAT(kinds_in(report() + large + report(), 65536), ElementsAre(0, 6, 0));
}

TEST(record_reader, many_large_records_at_once_are_passed_over_when_they_take_too_much_memory) {
    const std::string large =
        report("<key>Text</key><string>" + std::string(3'000'000, 'x') + "</string>");
    std::vector<std::size_t> kinds;
    const auto note = [&kinds](const record& each) { kinds.push_back(each.index()); };
    std::vector<record_reader> readers(10);
    for (std::size_t i = 0; i < large.size(); i += 50'000) {
        for (record_reader& each : readers) {
            each.take(std::string_view(large).substr(i, 50'000), note);
        }
    }
    EXPECT_EQ(kinds.size(), 10);
    EXPECT_THAT(kinds, Contains(0));
    EXPECT_THAT(kinds, Contains(6));

    // The next ones find room again, and small ones always do.
    kinds.clear();
    readers[0].take(large, note);
    EXPECT_THAT(kinds, ElementsAre(0));
}

TEST(record_reader, a_small_record_is_read_whatever_the_others_take) {
    const auto ignore = [](const record&) {};
    std::vector<record_reader> others(10);
    for (record_reader& each : others) {
        each.take(std::string(3'000'000, 'x'), ignore);
    }
    EXPECT_THAT(kinds_in(report(), 64), ElementsAre(0));
}

TEST(record_reader, a_reader_that_has_gone_takes_no_memory) {
    const auto ignore = [](const record&) {};
    for (int i = 0; i < 10; ++i) {
        record_reader().take(std::string(3'000'000, 'x'), ignore);
    }
    const std::string large =
        report("<key>Text</key><string>" + std::string(3'000'000, 'x') + "</string>");
    EXPECT_THAT(kinds_in(large, 65536), ElementsAre(0));
}

TEST(record_reader, characters_that_xml_forbids_are_replaced) {
    const std::string with_control = report("<key>Text</key><string>a\x02"
                                            "b\xFF</string>");
    EXPECT_THAT(kinds_in(with_control, 64), ElementsAre(0));
}

TEST(record_reader, a_report_has_its_values) {
    const auto read = std::get<restore_report>(
        read_record(report("<key>Orv_OperationName</key><string>Restoring image</string>")));
    EXPECT_EQ(read.operation, 14);
    EXPECT_EQ(read.progress, 42);
    EXPECT_EQ(read.status, "Restoring");
    EXPECT_EQ(read.operation_name, "Restoring image");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(read.error));
}

TEST(record_reader, a_report_without_progress_is_unreadable) {
    const auto read =
        read_record(document("RestoreStatus", "<dict><key>Operation</key><integer>1</integer>"
                                              "<key>Status</key><string>s</string></dict>"));
    EXPECT_TRUE(std::holds_alternative<unreadable_record>(read));
}

TEST(record_reader, a_whole_real_is_an_operation_or_a_progress) {
    const auto read_with = [](const std::string& operation, const std::string& progress) {
        return read_record(
            document("RestoreStatus", "<dict><key>Operation</key><real>" + operation +
                                          "</real><key>Progress</key><real>" + progress +
                                          "</real><key>Status</key>"
                                          "<string>s</string></dict>"));
    };
    const auto read = std::get<restore_report>(read_with("14.0", "1e2"));
    EXPECT_EQ(read.operation, 14);
    EXPECT_EQ(read.progress, 100);
    for (const char* progress : {"99.5", "nan", "+infinity", "1e300"}) {
        EXPECT_TRUE(std::holds_alternative<unreadable_record>(read_with("0", progress)))
            << progress;
    }
}

TEST(record_reader, an_error_keeps_its_type) {
    EXPECT_EQ(error_in("<integer>-3</integer>"), error_value(std::int64_t{-3}));
    EXPECT_EQ(error_in("<real>1.5</real>"), error_value(1.5));
    EXPECT_EQ(error_in("<string>why</string>"), error_value(std::string("why")));
    EXPECT_EQ(error_in("<true/>"), error_value(other_error{"true"}));
    EXPECT_EQ(
        error_in("<dict><key>Code</key><integer>9</integer><key>Domain</key><string>d</string>"
                 "<key>Description</key><string>t</string></dict>"),
        error_value(error_dictionary{9, "d", "t"}));
}

TEST(record_reader, a_report_without_an_operation_or_a_status_is_unreadable) {
    const std::string progress = "<key>Progress</key><integer>42</integer>";
    const std::string operation = "<key>Operation</key><integer>14</integer>";
    const std::string status = "<key>Status</key><string>Restoring</string>";
    const auto kind = [](const std::string& keys) {
        return read_record(document("RestoreStatus", "<dict>" + keys + "</dict>")).index();
    };
    EXPECT_EQ(kind(operation + progress + status), 0U);
    EXPECT_EQ(kind(progress + status), 6U);
    EXPECT_EQ(kind(operation + progress), 6U);
    EXPECT_EQ(kind(operation + progress + "<key>Status</key><integer>1</integer>"), 6U);
}

TEST(record_reader, a_list_that_is_no_array_of_texts_is_unreadable) {
    const auto kind = [](const std::string& value) {
        return read_record(document("DeviceList", value)).index();
    };
    EXPECT_NE(kind("<array><string>000A11B22C330001</string></array>"), 6U);
    EXPECT_EQ(kind("<dict/>"), 6U);
    EXPECT_EQ(kind("<array><string>000A11B22C330001</string><integer>1</integer></array>"), 6U);
}

TEST(record_reader, an_error_of_the_tool_without_a_code_is_unreadable) {
    const auto kind = [](const std::string& keys) {
        return read_record(document("InternalError", "<dict>" + keys + "</dict>")).index();
    };
    EXPECT_NE(kind("<key>Code</key><integer>4</integer>"), 6U);
    EXPECT_EQ(kind("<key>Domain</key><string>vandrel</string>"), 6U);
}

TEST(record_reader, numbers_of_a_device_are_unsigned) {
    const auto read = read_record(document(
        "DeviceInfo", "<dict><key>ChipID</key><integer>-1</integer><key>BoardID</key>"
                      "<integer>12</integer><key>LocationID</key><integer>7</integer></dict>"));
    EXPECT_EQ(std::get<device_info_record>(read).properties.chip_id, 0xFFFFFFFF);
}

TEST(record_reader, a_number_that_is_not_only_digits_is_none) {
    for (const char* number : {"", "12x", "9223372036854775808"}) {
        EXPECT_TRUE(std::holds_alternative<other_error>(
            error_in("<integer>" + std::string(number) + "</integer>")))
            << number;
    }
}

TEST(record_reader, a_large_record_that_ends_in_blanks_is_unreadable_when_it_is_cut_short) {
    EXPECT_THAT(kinds_in(report().substr(0, 200) + std::string(5'000'000, ' '), 65536),
                ElementsAre(6));
}

} // namespace vandrel::station
