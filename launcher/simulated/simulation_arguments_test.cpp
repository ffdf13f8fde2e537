#include "launcher/simulated/simulation_arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel {

namespace {

using ::testing::ElementsAre;
using ::testing::IsNull;
using ::testing::StrEq;

simulation_arguments parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "vandrel-sim");
    return parse_simulation_arguments(static_cast<int>(arguments.size()), arguments.data());
}

/// The error text for `arguments`; empty if they are accepted.
std::string error_text(const std::vector<const char*>& arguments) {
    try {
        parse(arguments);
    } catch (const simulation_arguments_error& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(simulation_arguments, are_all_the_tools_without_a_double_dash) {
    const auto parsed = parse({"--scenario", "x.plist"});
    EXPECT_THAT(parsed.tool_arguments,
                ElementsAre(StrEq("vandrel-sim"), StrEq("--scenario"), StrEq("x.plist"), IsNull()));
    EXPECT_EQ(parsed.scenario_file, std::nullopt);
}

TEST(simulation_arguments, can_be_missing) {
    const auto parsed = parse({});
    EXPECT_THAT(parsed.tool_arguments, ElementsAre(StrEq("vandrel-sim"), IsNull()));
    EXPECT_EQ(parsed.options.journal, std::nullopt);
    EXPECT_EQ(parsed.options.speed, 1);
    EXPECT_EQ(parsed.failing_creation, 0);
}

TEST(simulation_arguments, accept_a_command_line_without_a_program_name) {
    EXPECT_THAT(parse_simulation_arguments(0, nullptr).tool_arguments, ElementsAre(IsNull()));
}

TEST(simulation_arguments, are_split_at_the_double_dash) {
    const auto parsed = parse({"--scenario", "a.plist", "--journal", "b.plist", "--speed", "10",
                               "--", "--list-devices", "--debug"});
    EXPECT_EQ(parsed.scenario_file, "a.plist");
    EXPECT_EQ(parsed.options.journal, "b.plist");
    EXPECT_EQ(parsed.options.speed, 10);
    EXPECT_THAT(parsed.tool_arguments, ElementsAre(StrEq("vandrel-sim"), StrEq("--list-devices"),
                                                   StrEq("--debug"), IsNull()));
}

TEST(simulation_arguments, accept_values_after_an_equals_sign) {
    const auto parsed = parse({"--scenario=a=b.plist", "--speed=0.5", "--"});
    EXPECT_EQ(parsed.scenario_file, "a=b.plist");
    EXPECT_EQ(parsed.options.speed, 0.5);
}

TEST(simulation_arguments, leave_a_second_double_dash_to_the_tool) {
    EXPECT_THAT(parse({"--", "--help", "--"}).tool_arguments,
                ElementsAre(StrEq("vandrel-sim"), StrEq("--help"), StrEq("--"), IsNull()));
}

TEST(simulation_arguments, accept_a_file_that_begins_with_a_dash) {
    EXPECT_EQ(parse({"--scenario", "-x", "--"}).scenario_file, "-x");
}

TEST(simulation_arguments, take_a_speed_with_an_exponent) {
    EXPECT_EQ(parse({"--speed", "1e3", "--"}).options.speed, 1000);
}

TEST(simulation_arguments, take_the_folder_of_a_bench) {
    EXPECT_EQ(parse({"--bench", "a bench", "--"}).options.bench, "a bench");
    EXPECT_EQ(parse({"--"}).options.bench, std::nullopt);
    EXPECT_EQ(error_text({"--bench=", "--"}),
              "--bench: is without a value; should be followed by a folder's name");
}

TEST(simulation_arguments, refuse_an_unknown_option) {
    EXPECT_EQ(error_text({"--fast", "--"}),
              "--fast: unknown option; expected --scenario, --journal, "
              "--bench, --speed or --fail-creation, or place it after --");
}

TEST(simulation_arguments, refuse_a_word_that_is_no_option) {
    EXPECT_EQ(error_text({"demo.plist", "--"}),
              "demo.plist: unknown option; expected --scenario, --journal, "
              "--bench, --speed or --fail-creation, or place it after --");
}

TEST(simulation_arguments, refuse_an_abbreviated_option) {
    EXPECT_NE(error_text({"--scen", "a.plist", "--"}), "");
}

TEST(simulation_arguments, refuse_a_missing_file) {
    EXPECT_EQ(error_text({"--journal", "--", "--list-devices"}),
              "--journal: is without a value; should be followed by a file's name");
}

TEST(simulation_arguments, refuse_an_empty_file_name) {
    EXPECT_EQ(error_text({"--scenario=", "--"}),
              "--scenario: is without a value; should be followed by a file's name");
}

TEST(simulation_arguments, refuse_a_missing_speed) {
    EXPECT_EQ(error_text({"--speed", "--"}),
              "--speed: is without a value; should be followed by a number");
}

TEST(simulation_arguments, refuse_an_option_given_twice) {
    EXPECT_EQ(error_text({"--speed", "1", "--speed=2", "--"}),
              "--speed: is given twice; should be given once");
}

TEST(simulation_arguments, take_the_number_of_the_creation_that_fails) {
    EXPECT_EQ(parse({"--fail-creation", "12", "--"}).failing_creation, 12);
}

TEST(simulation_arguments, refuse_a_creation_that_is_no_number_above_0) {
    for (const char* const text : {"0", "-1", "1.5", "one", "99999999999999999999"}) {
        EXPECT_EQ(error_text({"--fail-creation", text, "--"}),
                  std::string("--fail-creation: is \"") + text +
                      "\"; should be a whole number above 0");
    }
}

class wrong_speed : public ::testing::TestWithParam<const char*> {};

TEST_P(wrong_speed, is_refused) {
    EXPECT_EQ(error_text({"--speed", GetParam(), "--"}),
              std::string("--speed: is \"") + GetParam() +
                  "\"; should be a number above 0, such as 10 or 0.5");
}

INSTANTIATE_TEST_SUITE_P(simulation_arguments, wrong_speed,
                         ::testing::Values("0", "-1", "fast", "10x", "1,5", "inf", "nan", " 1",
                                           "1e999"));

} // namespace vandrel
