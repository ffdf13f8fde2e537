/// What the tool refuses before it looks for a device, and its help, with real command lines.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;

constexpr auto some_ecid = "0001A2B3C4D5E6F7";

/// The run ends with one record and that error's code, and no device is looked for.
void expect_refusal(const std::vector<std::string>& arguments, int code,
                    const std::string& description, const std::string& failure_reason) {
    const tool_run run = tool_call(arguments).run();
    EXPECT_EQ(run.status, code);
    EXPECT_THAT(run.records, ElementsAre(tool_error_record(code, description, failure_reason)));
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.calls("AMRestorableDeviceRegisterForNotifications"), 0);
}

void expect_bad_command(const std::vector<std::string>& arguments,
                        const std::string& failure_reason) {
    expect_refusal(arguments, 3, "Bad command", failure_reason);
}

void expect_invalid_argument(const std::vector<std::string>& arguments,
                             const std::string& failure_reason) {
    expect_refusal(arguments, 2, "Invalid argument", failure_reason);
}

// --- a command has to be chosen

TEST(command_line, without_a_command_is_a_bad_command) {
    expect_bad_command({}, "Invalid command option");
    expect_bad_command({"--ecid", some_ecid}, "Invalid command option");
}

TEST(command_line, enter_restore_mode_is_no_command_of_its_own) {
    expect_bad_command({"--enter-restore-mode"}, "Invalid command option");
    expect_bad_command({"--enter-restore-mode", "--ecid", some_ecid}, "Invalid command option");
}

TEST(command_line, words_that_are_no_options_are_no_command) {
    expect_bad_command({"list-devices"}, "Invalid command option");
}

// --- options have to go together

TEST(command_line, listing_devices_takes_no_ecid) {
    expect_bad_command({"--list-devices", "--ecid", some_ecid},
                       "Option --list-devices not compatible with --ecid");
}

TEST(command_line, every_command_for_a_device_requires_an_ecid) {
    expect_bad_command({"--device-info"}, "Option --device-info requires --ecid");
    expect_bad_command({"--exit-recovery"}, "Option --exit-recovery requires --ecid");
    expect_bad_command({"--no-exit-recovery"}, "Option --no-exit-recovery requires --ecid");
    expect_bad_command({"--restore", "x.ipsw"}, "Option --restore requires --ecid");
    expect_bad_command({"--restore-plist", "x.plist"}, "Option --restore-plist requires --ecid");
}

TEST(command_line, entering_restore_mode_requires_an_ecid_by_the_name_of_its_restore) {
    expect_bad_command({"--restore", "x.ipsw", "--enter-restore-mode"},
                       "Option --restore requires --ecid");
}

TEST(command_line, erase_without_restore_is_refused_whatever_command_is_given) {
    constexpr auto reason = "Option --erase only compatible with --restore";
    expect_bad_command({"--erase"}, reason);
    expect_bad_command({"--erase", "--list-devices"}, reason);
    expect_bad_command({"--erase", "--list-devices", "--ecid", some_ecid}, reason);
    expect_bad_command({"--erase", "--device-info"}, reason);
    expect_bad_command({"--erase", "--restore-plist", "x.plist", "--ecid", some_ecid}, reason);
}

TEST(command_line, a_restore_timeout_without_restore_is_refused) {
    constexpr auto reason = "Option --restore-timeout only compatible with --restore";
    expect_bad_command({"--restore-timeout", "5"}, reason);
    expect_bad_command({"--restore-timeout", "5", "--list-devices"}, reason);
}

TEST(command_line, a_restore_timeout_with_restore_plist_is_refused) {
    expect_bad_command(
        {"--restore-timeout", "5", "--restore-plist", "x.plist", "--ecid", some_ecid},
        "Option --restore-timeout only compatible with --restore");
}

TEST(command_line, erase_is_checked_before_the_restore_timeout) {
    expect_bad_command({"--restore-timeout", "5", "--erase"},
                       "Option --erase only compatible with --restore");
}

TEST(command_line, an_empty_restore_path_is_missing) {
    expect_bad_command({"--restore", "", "--ecid", some_ecid}, "Missing restore IPSW path");
}

TEST(command_line, an_empty_restore_path_is_refused_before_the_platform_makes_options) {
    const tool_run run = tool_call({"--restore", "", "--ecid", some_ecid}).run();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.calls("AMRestoreCreateDefaultOptions"), 0);
}

TEST(command_line, a_restore_without_ecid_is_refused_before_its_path_is_checked) {
    expect_bad_command({"--restore", ""}, "Option --restore requires --ecid");
}

// --- ECIDs

TEST(command_line, an_ecid_is_exactly_16_hexadecimal_digits) {
    constexpr auto reason = "Invalid ecid";
    expect_invalid_argument({"--device-info", "--ecid", "001A2B3C4D5E6F7"}, reason);
    expect_invalid_argument({"--device-info", "--ecid", "0x0001A2B3C4D5E6F7"}, reason);
    expect_invalid_argument({"--device-info", "--ecid", "0001A2B3C4D5E6FG"}, reason);
    expect_invalid_argument({"--device-info", "--ecid", " 001A2B3C4D5E6F7"}, reason);
    expect_invalid_argument({"--device-info", "--ecid", ""}, reason);
}

TEST(command_line, an_invalid_ecid_is_checked_before_any_command_rule) {
    constexpr auto reason = "Invalid ecid";
    expect_invalid_argument({"--ecid", "12AB"}, reason);
    expect_invalid_argument({"--ecid", "12AB", "--erase"}, reason);
    expect_invalid_argument({"--ecid", "12AB", "--restore-timeout", "5"}, reason);
    expect_invalid_argument({"--ecid", "12AB", "--list-devices"}, reason);
}

// --- what the command-line library refuses

TEST(command_line, an_option_given_twice_is_a_bad_command) {
    expect_bad_command({"--list-devices", "--ecid", some_ecid, "--ecid", some_ecid},
                       "Option '--ecid' may only be specified once");
    expect_bad_command({"--list-devices", "--list-devices"},
                       "Option '--list-devices' may only be specified once");
}

TEST(command_line, an_unknown_option_is_a_bad_command) {
    expect_bad_command({"--list-devices", "--frobnicate"}, "unrecognised option '--frobnicate'");
}

TEST(command_line, a_timeout_that_is_no_number_is_an_invalid_argument) {
    expect_invalid_argument({"--list-devices", "--detect-timeout", "abc"},
                            "the argument ('abc') for option '--detect-timeout' is invalid");
}

TEST(command_line, a_missing_value_is_an_unknown_error) {
    expect_refusal({"--list-devices", "--detect-timeout"}, 1, "Unknown error",
                   "the required argument for option '--detect-timeout' is missing");
}

TEST(command_line, nothing_behind_an_equals_sign_is_an_unknown_error) {
    expect_refusal({"--restore=", "--ecid", some_ecid}, 1, "Unknown error",
                   "the argument for option '--restore' should follow immediately after the equal "
                   "sign");
}

TEST(command_line, blanks_do_not_belong_to_a_number) {
    expect_invalid_argument({"--list-devices", "--detect-timeout", " 0"},
                            "the argument (' 0') for option '--detect-timeout' is invalid");
    expect_invalid_argument({"--list-devices", "--detect-timeout=0 "},
                            "the argument ('0 ') for option '--detect-timeout' is invalid");
}

TEST(command_line, a_negative_timeout_beyond_32_bits_is_an_invalid_argument) {
    expect_invalid_argument(
        {"--list-devices", "--detect-timeout=-4294967296"},
        "the argument ('-4294967296') for option '--detect-timeout' is invalid");
}

TEST(command_line, a_dash_an_empty_argument_and_all_behind_two_dashes_are_ignored) {
    expect_bad_command({"-", "", "--", "--list-devices", "--frobnicate"}, "Invalid command option");
}

TEST(command_line, an_ambiguous_prefix_is_an_unknown_error) {
    expect_refusal({"--re", "x"}, 1, "Unknown error",
                   "option '--re' is ambiguous and matches '--restore', '--restore-plist', and "
                   "'--restore-timeout'");
}

TEST(command_line, debugging_adds_nothing_to_a_refusal_by_the_library) {
    expect_bad_command({"--debug", "--frobnicate"}, "unrecognised option '--frobnicate'");
}

TEST(command_line, the_record_of_a_refusal_is_one_document_and_a_line_feed) {
    EXPECT_EQ(tool_call({"--ecid", "12AB"}).run().standard_output,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<dict>\n"
              "\t<key>Type</key>\n"
              "\t<string>InternalError</string>\n"
              "\t<key>Value</key>\n"
              "\t<dict>\n"
              "\t\t<key>Code</key>\n"
              "\t\t<integer>2</integer>\n"
              "\t\t<key>Description</key>\n"
              "\t\t<string>Invalid argument</string>\n"
              "\t\t<key>Domain</key>\n"
              "\t\t<string>vandrel</string>\n"
              "\t\t<key>FailureReason</key>\n"
              "\t\t<string>Invalid ecid</string>\n"
              "\t</dict>\n"
              "</dict>\n"
              "</plist>\n"
              "\n");
}

// --- help

void expect_help(const std::vector<std::string>& arguments) {
    const tool_run run = tool_call(arguments).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.diagnostics.front(), "Program options:");
    EXPECT_THAT(run.diagnostics,
                ::testing::Contains("  --ecid arg            Device to perform operation on"));
    // The library ends the table with a line feed, and the channel ends every text with one.
    EXPECT_EQ(run.diagnostics.size(), 23U);
    EXPECT_EQ(run.diagnostics.back(), "");
    EXPECT_EQ(run.calls("AMRestorableDeviceRegisterForNotifications"), 0);
}

TEST(command_line, help_is_the_option_table_on_standard_error) {
    expect_help({"--help"});
}

TEST(command_line, help_takes_precedence_over_every_other_option) {
    expect_help({"--help", "--list-devices"});
    expect_help({"--help", "--debug-dump"});
    expect_help({"--help", "--erase", "--ecid", "12AB"});
}

} // namespace
