#include "station/event_json.h"
#include "station/text.h"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

namespace vandrel::station {

namespace {

using boost::json::object;

/// Characters of every kind, and bytes that are none.
const std::vector<std::string> texts = {"plain",
                                        "\"quoted\" \\ / & % < >",
                                        std::string("nothing \0 there", 15),
                                        "controls \x01\t\r\n\x1B[2J\x7F",
                                        "more controls \xC2\x80\xC2\x9B",
                                        "Latin \xC3\xA9, Cyrillic \xD0\x96",
                                        "Chinese \xE4\xB8\xAD\xE6\x96\x87",
                                        "emoji \xF0\x9F\x93\xB1, last \xF4\x8F\xBF\xBF",
                                        "turned around \xE2\x80\xAE, end of line \xE2\x80\xA8",
                                        "no characters \xEF\xBF\xBE\xEF\xBF\xBF",
                                        "half a pair \xED\xA0\x80",
                                        "no UTF-8 \xFF\xC0\xAF\xC3",
                                        "cut \xF0\x9F\x93"};

/// All kinds of events, with this text wherever a device, a file or a person gives one.
std::vector<event_body> bodies_with(const std::string& text) {
    const operation_progress where{14, text, 42};
    const error_details error{text, 7, text};
    try_result result;
    result.error = error;
    result.last_operation = where;
    device_properties properties;
    properties.serial_number = text;
    properties.product_string = text;
    properties.model = text;
    return {run_started{},
            device_found{properties},
            device_left_alone{end_reason::held, 1},
            try_started{},
            operation{where},
            progress{where},
            quiet{},
            quiet_over{},
            device_away{},
            device_back{},
            failure_reported{where, text, error},
            warning{warning_kind::error_in_report, where, error, 3},
            try_ended{result, true},
            device_ended{final_state::failed, end_reason::device_error, 1, result},
            list_failed{list_failure::broken, text},
            clock_gap{},
            log_incomplete{text},
            stopped_after{5},
            cancel{2, {"0000000000000001"}},
            run_ended{}};
}

event event_with(const event_body& body, const std::string& text) {
    event what;
    what.seq = 1;
    what.device = event_device{"0000000000000001", text, text, 0, 0};
    what.body = body;
    return what;
}

std::string line_of(const event_body& body, const std::string& text) {
    return json_line(event_with(body, text), {text, {{text, text}}},
                     std::chrono::system_clock::time_point());
}

TEST(json_line, is_one_line_of_ascii_whatever_a_text_has) {
    for (const std::string& text : texts) {
        for (const event_body& body : bodies_with(text)) {
            const std::string line = line_of(body, text);
            ASSERT_EQ(line.find('\n'), line.size() - 1) << line;
            for (const char c : line.substr(0, line.size() - 1)) {
                ASSERT_TRUE(c >= 0x20 && c < 0x7F) << line;
            }
        }
    }
}

TEST(json_line, gives_back_what_can_be_shown_of_each_text) {
    for (const std::string& text : texts) {
        const std::string shown = printable(text);
        for (const event_body& body : bodies_with(text)) {
            const object read = boost::json::parse(line_of(body, text)).as_object();
            EXPECT_EQ(read.at("run").as_string(), shown);
            EXPECT_EQ(read.at("slot").as_string(), shown);
            EXPECT_EQ(read.at("tags").as_object().at(shown).as_string(), shown);
            for (const char* key :
                 {"serial_number", "product_string", "model", "operation_name", "status", "text"}) {
                if (const auto* value = read.if_contains(key)) {
                    EXPECT_EQ(value->as_string(), shown) << key;
                }
            }
            if (const auto* error = read.if_contains("error")) {
                EXPECT_EQ(error->as_object(),
                          (object{{"domain", shown}, {"code", 7}, {"text", shown}}));
            }
        }
    }
}

TEST(json_line, has_the_keys_of_its_event) {
    const auto keys_of = [](const event_body& body) {
        const object read = boost::json::parse(line_of(body, "x")).as_object();
        std::string keys;
        for (const auto& each : read) {
            keys += std::string(each.key()) + " ";
        }
        return keys;
    };
    const std::string first = "v seq time t run event level ecid slot ";
    const std::string last = "message tags ";
    const std::vector<event_body> bodies = bodies_with("x");
    EXPECT_EQ(keys_of(try_started{}), first + last);
    EXPECT_EQ(keys_of(bodies.at(1)),
              first + "chip_id board_id serial_number product_string model " + last);
    EXPECT_EQ(keys_of(bodies.at(10)),
              first + "operation operation_name progress status error " + last);
    EXPECT_EQ(keys_of(bodies.at(11)),
              first + "kind operation operation_name progress error exit_status " + last);
    EXPECT_EQ(keys_of(bodies.at(12)),
              first +
                  "state reason ended_by duration_s error operation operation_name progress "
                  "unreadable_records will_retry " +
                  last);
    EXPECT_EQ(keys_of(bodies.at(19)), first + "counts exit_status " + last);
}

TEST(json_line, names_a_device_without_ecid_by_its_serial_number) {
    event missing;
    missing.device = event_device{"", "SERIAL", "", 0, 0};
    missing.body = device_ended{final_state::missing, end_reason::never_seen, 0, {}};
    const object read = boost::json::parse(json_line(missing, {}, {})).as_object();
    EXPECT_EQ(read.if_contains("ecid"), nullptr);
    EXPECT_EQ(read.at("serial_number").as_string(), "SERIAL");
}

TEST(ascii_json, escapes_every_character_that_is_not_ascii) {
    EXPECT_EQ(ascii_json("a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x93\xB1\x7F"),
              "\"a\\u00e9\\u4e2d\\ud83d\\udcf1\x7F\"");
}

} // namespace

} // namespace vandrel::station
