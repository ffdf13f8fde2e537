#include "station/summary.h"
#include "station/text.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vandrel::station {

TEST(printable, controls_and_marks_of_direction_are_replaced) {
    EXPECT_EQ(printable("a\x1B[2J\n"), "a\xEF\xBF\xBD[2J\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xE2\x80\xAE"
                        "b\xC2\x9B"),
              "\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xD8\x9C"), "\xEF\xBF\xBD");
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

namespace {

const std::chrono::system_clock::time_point some_time{std::chrono::seconds(1'000'000'000)};

class one_summary : public testing::Test {
protected:
    static summary_facts facts() {
        summary_facts result;
        result.command = "restore";
        result.folder = "runs/night";
        result.started = some_time;
        return result;
    }

    static event_device device(const std::string& ecid) {
        event_device result;
        result.ecid = ecid;
        result.slot = "A4";
        return result;
    }

    void takes(event_body body, const std::optional<event_device>& whom = device("0A")) {
        event what;
        what.device = whom;
        what.body = std::move(body);
        made.take(what, some_time);
    }

    void ends(std::size_t chosen, int status) { takes(run_ended{{.chosen = chosen}, status}, {}); }

    bool text_has(const std::string& text) { return made.text().find(text) != std::string::npos; }

    summary made{facts()};
};

} // namespace

TEST_F(one_summary, of_a_failed_device_has_what_to_do_and_its_log) {
    device_properties properties;
    properties.serial_number = "F17Q2X9AHG7J";
    takes(device_found{properties});
    takes(try_started{});
    try_result last;
    last.reason = end_reason::device_error;
    last.error = error_details{"", 4005, ""};
    last.duration = std::chrono::minutes(12);
    takes(device_ended{final_state::failed, end_reason::device_error, 2, last});
    ends(1, 1);
    EXPECT_EQ(made.text(),
              "\nNOT RESTORED (1)\n"
              "  A4   0A F17Q2X9AHG7J error 4005, after 00:12:00, 2 tries\n"
              "       Put it into Recovery mode or DFU, and restore it again with another cable.\n"
              "       Log: " +
                  text_of(path_of("runs/night") / "0A-visit1-try2") +
                  "\n"
                  "\n0 of 1 device restored. Status 1.\nLogs: runs/night\n");
}

TEST_F(one_summary, names_the_log_of_the_visit) {
    takes(device_found{});
    takes(device_ended{final_state::failed, end_reason::silence, 1, try_result{}});
    takes(device_found{});
    takes(device_ended{final_state::failed, end_reason::silence, 1, try_result{}});
    EXPECT_TRUE(text_has("0A-visit1-try1\n"));
    EXPECT_TRUE(text_has("0A-visit2-try1\n"));
}

TEST_F(one_summary, has_who_was_left_alone_and_why) {
    takes(device_found{});
    takes(device_left_alone{end_reason::held, 4711});
    ends(1, 3);
    EXPECT_TRUE(text_has("Left alone (1)\n  A4   0A              "
                         "another station works on it: process 4711\n"));
    EXPECT_NE(made.json().find(R"("state":"left_alone","reason":"held")"), std::string::npos);
    EXPECT_NE(made.csv().find(",left_alone,held,"), std::string::npos);
}

TEST_F(one_summary, of_a_device_that_is_begun_after_all_has_no_end_yet) {
    takes(device_found{});
    takes(device_left_alone{end_reason::held, {}});
    takes(try_started{});
    EXPECT_EQ(made.json().find("left_alone"), std::string::npos);
}

TEST_F(one_summary, has_negative_numbers_as_they_are_and_no_text_that_is_a_formula) {
    takes(device_found{});
    try_result last;
    last.error = error_details{"-domain", -1, ""};
    last.last_operation = operation_progress{14, "=1+1", -2};
    takes(device_ended{final_state::failed, end_reason::device_error, 1, last});
    EXPECT_NE(made.csv().find(",-1,'-domain,'=1+1,-2,"), std::string::npos) << made.csv();
}

TEST_F(one_summary, of_other_commands_does_not_say_restored) {
    summary_facts what = facts();
    what.command = "recover_exit";
    made = summary(what);
    takes(device_ended{final_state::restored, end_reason::completed, 1, try_result{}});
    ends(1, 0);
    EXPECT_TRUE(text_has("Done (1)"));
    EXPECT_TRUE(text_has("1 device done. Status 0."));
}

TEST_F(one_summary, says_why_nothing_was_touched) {
    EXPECT_EQ(made.refusal_text(), "");
    ends(0, 4);
    EXPECT_EQ(made.refusal_text(), "the tool gave no list of devices; nothing was touched");
    ends(0, 3);
    EXPECT_EQ(made.refusal_text(), "there is no device to work on");
    ends(0, 1);
    EXPECT_EQ(made.refusal_text(), "");
    takes(device_left_alone{end_reason::not_begun, {}});
    ends(1, 2);
    EXPECT_EQ(made.refusal_text(), "nobody consented; nothing was touched");
    EXPECT_FALSE(text_has("Left alone"));
    takes(device_left_alone{end_reason::unfit, {}});
    ends(1, 3);
    EXPECT_EQ(made.refusal_text(), "the bundle is not for what was chosen; nothing was touched");
}

TEST_F(one_summary, says_how_many_devices_were_expected) {
    summary_facts what = facts();
    what.expected = 3;
    made = summary(what);
    takes(device_left_alone{end_reason::not_begun, {}});
    ends(1, 2);
    EXPECT_EQ(made.refusal_text(), "1 device is chosen, and --expect says 3; nothing was touched");
    takes(device_left_alone{end_reason::not_begun, {}}, device("0B"));
    takes(device_left_alone{end_reason::not_begun, {}}, device("0C"));
    EXPECT_EQ(made.refusal_text(), "nobody consented; nothing was touched");
}

} // namespace vandrel::station
