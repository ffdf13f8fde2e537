#include "driver/parse_arguments.h"
#include "driver/tool_error.h"
#include "foundation/cf_text.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace vandrel;

parse_result parse(std::initializer_list<const char*> arguments) {
    std::vector<const char*> vector{"vandrel"};
    vector.insert(vector.end(), arguments);
    const int count = static_cast<int>(vector.size());
    vector.push_back(nullptr);
    return parse_arguments(count, vector.data());
}

/// The code and the failure reason of a refusal, as "3: reason"; "none" when there is no error.
std::string refusal(const parse_result& result) {
    if (!result.error) {
        return "none";
    }
    const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(result.error.get()));
    return std::to_string(CFErrorGetCode(result.error.get())) + ": " +
           cfstring_to_string(reason.get());
}

TEST(parse_arguments, no_arguments_set_nothing) {
    const auto result = parse({});
    EXPECT_EQ(refusal(result), "none");
    EXPECT_FALSE(result.options.debug);
    EXPECT_FALSE(result.options.help);
    EXPECT_FALSE(result.options.list_devices);
    EXPECT_EQ(result.options.ecid, std::nullopt);
    EXPECT_EQ(result.options.detect_timeout, std::nullopt);
    EXPECT_EQ(result.options.output_pipe, std::nullopt);
}

TEST(parse_arguments, an_argument_vector_without_even_a_program_name_is_a_length_error) {
    const char* const nothing = nullptr;
    const auto result = parse_arguments(0, &nothing);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(CFErrorGetCode(result.error.get()), 3);
}

TEST(parse_arguments, every_switch_reaches_its_field) {
    const auto result = parse({"--debug", "--debug-dump", "--help", "--no-cleanup",
                               "--list-devices", "--device-info", "--exit-recovery",
                               "--no-exit-recovery", "--erase", "--enter-restore-mode"});
    ASSERT_EQ(refusal(result), "none");
    EXPECT_TRUE(result.options.debug);
    EXPECT_TRUE(result.options.debug_dump);
    EXPECT_TRUE(result.options.help);
    EXPECT_TRUE(result.options.no_cleanup);
    EXPECT_TRUE(result.options.list_devices);
    EXPECT_TRUE(result.options.device_info);
    EXPECT_TRUE(result.options.exit_recovery);
    EXPECT_TRUE(result.options.no_exit_recovery);
    EXPECT_TRUE(result.options.erase);
    EXPECT_TRUE(result.options.enter_restore_mode);
}

TEST(parse_arguments, every_value_reaches_its_field) {
    const vandrel::testing::temporary_folder folder;
    const std::string log = (folder.path() / "restore.log").string();
    const auto result =
        parse({"--amr-logfile", log.c_str(), "--ecid", "00000000000000AB", "--detect-timeout",
               "4294967295", "--restore", "x.ipsw", "--restore-timeout", "1", "--restore-plist",
               "options.plist", "--output-pipe", "-9223372036854775808"});
    ASSERT_EQ(refusal(result), "none");
    EXPECT_EQ(result.options.amr_logfile, log);
    EXPECT_EQ(result.options.ecid, "00000000000000AB");
    EXPECT_EQ(result.options.detect_timeout, 4294967295);
    EXPECT_EQ(result.options.restore, "x.ipsw");
    EXPECT_EQ(result.options.restore_timeout, 1U);
    EXPECT_EQ(result.options.restore_plist, "options.plist");
    EXPECT_EQ(result.options.output_pipe, std::numeric_limits<std::int64_t>::min());
}

TEST(parse_arguments, a_value_may_follow_an_equals_sign) {
    EXPECT_EQ(parse({"--ecid=00000000000000AB"}).options.ecid, "00000000000000AB");
}

TEST(parse_arguments, a_value_may_hold_blanks_and_equals_signs) {
    EXPECT_EQ(parse({"--restore", "a b=c.ipsw"}).options.restore, "a b=c.ipsw");
}

TEST(parse_arguments, an_unambiguous_prefix_stands_for_its_option) {
    EXPECT_TRUE(parse({"--list"}).options.list_devices);
    EXPECT_EQ(parse({"--detect", "5"}).options.detect_timeout, 5U);
}

TEST(parse_arguments, a_full_name_is_never_ambiguous) {
    const auto result = parse({"--debug", "--restore", "x.ipsw"});
    EXPECT_EQ(refusal(result), "none");
    EXPECT_TRUE(result.options.debug);
    EXPECT_FALSE(result.options.debug_dump);
}

TEST(parse_arguments, an_ambiguous_prefix_is_an_unknown_error) {
    EXPECT_EQ(refusal(parse({"--de"})),
              "1: option '--de' is ambiguous and matches '--debug', '--debug-dump', "
              "'--detect-timeout', and '--device-info'");
}

TEST(parse_arguments, an_option_given_twice_is_refused) {
    EXPECT_EQ(refusal(parse({"--ecid", "00000000000000AB", "--ecid", "00000000000000AB"})),
              "3: Option '--ecid' may only be specified once");
}

TEST(parse_arguments, a_switch_given_twice_is_refused) {
    EXPECT_EQ(refusal(parse({"--erase", "--erase"})),
              "3: Option '--erase' may only be specified once");
}

TEST(parse_arguments, an_unknown_option_is_refused) {
    EXPECT_EQ(refusal(parse({"--frobnicate"})), "3: unrecognised option '--frobnicate'");
}

TEST(parse_arguments, there_are_no_short_options) {
    EXPECT_EQ(refusal(parse({"-h"})), "3: unrecognised option '-h'");
}

TEST(parse_arguments, a_timeout_that_is_no_number_is_an_invalid_argument) {
    EXPECT_EQ(refusal(parse({"--detect-timeout", "abc"})),
              "2: the argument ('abc') for option '--detect-timeout' is invalid");
}

TEST(parse_arguments, a_timeout_beyond_32_bits_is_an_invalid_argument) {
    EXPECT_EQ(refusal(parse({"--restore-timeout", "4294967296"})),
              "2: the argument ('4294967296') for option '--restore-timeout' is invalid");
}

TEST(parse_arguments, a_negative_timeout_wraps_around_as_the_library_reads_it) {
    EXPECT_EQ(parse({"--detect-timeout=-1"}).options.detect_timeout, 4294967295);
}

TEST(parse_arguments, a_missing_value_is_an_unknown_error) {
    EXPECT_EQ(refusal(parse({"--ecid"})),
              "1: the required argument for option '--ecid' is missing");
}

TEST(parse_arguments, a_value_for_a_switch_is_an_unknown_error) {
    EXPECT_EQ(refusal(parse({"--erase=yes"})), "1: option '--erase' does not take any arguments");
}

TEST(parse_arguments, words_that_are_no_options_are_ignored) {
    const auto result = parse({"restore", "--list-devices", "x.ipsw"});
    EXPECT_EQ(refusal(result), "none");
    EXPECT_TRUE(result.options.list_devices);
}

TEST(parse_arguments, an_argument_may_hold_what_the_library_replaces_in_its_messages) {
    EXPECT_EQ(refusal(parse({"--detect-timeout=%value%"})),
              "2: the argument ('%value%') for option '--detect-timeout' is invalid");
    EXPECT_EQ(refusal(parse({"--%original_token%"})),
              "3: unrecognised option '--%original_token%'");
    EXPECT_EQ(refusal(parse({"--x%canonical_option%"})),
              "3: unrecognised option '--x%canonical_option%'");
    EXPECT_EQ(refusal(parse({"--debug=%prefix%"})),
              "1: option '--debug' does not take any arguments");
}

TEST(parse_arguments, percent_signs_in_a_value_are_kept) {
    EXPECT_EQ(parse({"--restore", "100%/%value%"}).options.restore, "100%/%value%");
    EXPECT_EQ(parse({"--restore-plist", "%%\x01%\x01\x01"}).options.restore_plist,
              "%%\x01%\x01\x01");
}

TEST(parse_arguments, a_refused_command_line_leaves_the_options_as_they_were) {
    const auto result = parse({"--debug", "--ecid", "00000000000000AB", "--detect-timeout", "abc"});
    EXPECT_EQ(result.status, 2);
    EXPECT_FALSE(result.options.debug);
    EXPECT_EQ(result.options.ecid, std::nullopt);
}

TEST(parse_arguments, the_status_is_that_of_the_error) {
    EXPECT_EQ(parse({"--list-devices"}).status, 0);
    EXPECT_EQ(parse({"--ecid"}).status, 1);
    EXPECT_EQ(parse({"--frobnicate"}).status, 3);
}

TEST(parse_arguments, an_empty_value_is_a_value) {
    EXPECT_EQ(parse({"--restore", ""}).options.restore, "");
}

TEST(parse_arguments, nothing_behind_an_equals_sign_is_a_missing_value) {
    EXPECT_EQ(refusal(parse({"--restore="})),
              "1: the argument for option '--restore' should follow "
              "immediately after the equal sign");
}

TEST(parse_arguments, two_dashes_alone_end_the_options) {
    const auto result = parse({"--list-devices", "--", "--debug", "--frobnicate"});
    EXPECT_EQ(refusal(result), "none");
    EXPECT_TRUE(result.options.list_devices);
    EXPECT_FALSE(result.options.debug);
}

TEST(parse_arguments, one_dash_and_an_empty_argument_are_ignored) {
    const auto result = parse({"-", "", "--list-devices"});
    EXPECT_EQ(refusal(result), "none");
    EXPECT_TRUE(result.options.list_devices);
}

TEST(parse_arguments, blanks_do_not_belong_to_a_number) {
    EXPECT_EQ(refusal(parse({"--detect-timeout", " 5"})),
              "2: the argument (' 5') for option '--detect-timeout' is invalid");
    EXPECT_EQ(refusal(parse({"--detect-timeout", "5 "})),
              "2: the argument ('5 ') for option '--detect-timeout' is invalid");
    EXPECT_EQ(refusal(parse({"--output-pipe", "1 0"})),
              "2: the argument ('1 0') for option '--output-pipe' is invalid");
}

TEST(parse_arguments, a_negative_timeout_beyond_32_bits_is_an_invalid_argument) {
    EXPECT_EQ(parse({"--detect-timeout=-4294967295"}).options.detect_timeout, 1U);
    EXPECT_EQ(refusal(parse({"--detect-timeout=-4294967296"})),
              "2: the argument ('-4294967296') for option '--detect-timeout' is invalid");
}

TEST(parse_arguments, the_description_prints_the_table) {
    std::ostringstream text;
    {
        const auto result = parse({"--help"});
        text << result.description;
    }
    EXPECT_EQ(text.str(),
              "Program options:\n"
              "  --debug               Enable debugging output\n"
              "  --debug-dump          Dump mobiledevice implementations (debugging)\n"
              "  --help                Print this description\n"
              "  --no-cleanup          Disable auto temp file cleanup on exit\n"
              "  --amr-logfile arg     Specify logfile for AMRestore\n"
              "  --ecid arg            Device to perform operation on\n"
              "  --detect-timeout arg  How many seconds to wait for the selected device to be \n"
              "                        detected\n"
              "  --list-devices        List all detected Apple devices\n"
              "  --device-info         Output properties of specified Apple device\n"
              "  --exit-recovery       Attempt to reboot a recovery device into booted mode\n"
              "  --no-exit-recovery    Set a device to stay in recovery mode when it reboots\n"
              "  --restore arg         Start a device restore with specified IPSW bundle\n"
              "  --restore-timeout arg How many seconds to wait for a restore to complete \n"
              "                        before aborting\n"
              "  --erase               Use with --restore to force the device to be erased \n"
              "                        during the restore\n"
              "  --restore-plist arg   Start a device restore with options read from a plist \n"
              "                        file\n"
              "  --enter-restore-mode  Attempt to put a recovery mode device into restore mode\n"
              "  --output-pipe arg     Send formatted output to a specific pipe\n");
}

} // namespace
