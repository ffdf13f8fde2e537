#include "station/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace vandrel::station {
namespace {

std::variant<station_arguments, command_line_end> parse(std::vector<const char*> words) {
    words.insert(words.begin(), "vandrel-station");
    return parse_command_line(static_cast<int>(words.size()), words.data());
}

/// What is wrong with it, without the name of the program and the end of the line.
std::string wrong_with(const std::vector<const char*>& words) {
    const auto parsed = parse(words);
    const auto* end = std::get_if<command_line_end>(&parsed);
    if (end == nullptr) {
        return "nothing";
    }
    EXPECT_EQ(end->status, 2);
    EXPECT_EQ(end->output, "");
    const std::string begin = "vandrel-station: ";
    EXPECT_TRUE(end->error.starts_with(begin) && end->error.ends_with('\n')) << end->error;
    return end->error.substr(begin.size(), end->error.size() - begin.size() - 1);
}

std::string wrong_with_time(const char* text) {
    return wrong_with({"restore", "--bundle", "x", "--all", "--poll", text});
}

TEST(command_line, refuses_what_is_no_time) {
    for (const std::string text : {"soon", "s", "1e999", "-1", "nan", "8785h", "1 h"}) {
        EXPECT_EQ(wrong_with_time(text.c_str()),
                  '"' + text + "\" is no time; times look like 90, 0.5, 30m or 2h");
    }
    EXPECT_EQ(wrong_with_time("8784h"), "nothing");
}

TEST(command_line, refuses_the_time_of_a_rule_that_is_not_there) {
    EXPECT_EQ(wrong_with({"list", "--rule-time", "lunch=1h"}), "no time is called \"lunch\"");
}

TEST(command_line, refuses_a_tag_without_a_key) {
    EXPECT_EQ(wrong_with({"restore", "--bundle", "x", "--all", "--tag", "=x"}),
              "\"=x\" is not of the form KEY=VALUE");
}

TEST(command_line, refuses_any_bundle_with_a_file_of_devices) {
    EXPECT_EQ(wrong_with({"restore", "--bundle", "x", "--only", "x", "--any-bundle"}),
              "--any-bundle goes with --ecid only");
}

TEST(command_line, refuses_the_time_of_a_watch_without_one) {
    EXPECT_EQ(wrong_with({"restore", "--bundle", "x", "--all", "--for", "2h"}),
              "--count and --for go with --watch only");
}

TEST(command_line, says_in_one_line_what_is_wrong_with_a_word_of_two_lines) {
    EXPECT_EQ(wrong_with({"list", "--two\nlines"}),
              "The following argument was not expected: --two lines");
}

} // namespace
} // namespace vandrel::station
