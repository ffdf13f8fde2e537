#include "driver/tool_error.h"
#include "foundation/cf_handle.h"
#include "output/output_str_state.h"
#include "simulator/core_foundation/accounting.h"
#include "tests/channel_capture.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace vandrel;
using vandrel::testing::channel_capture;

/// What the diagnostics of the two functions begin with.
const std::string print_value_says =
    "void __cdecl vandrel::output_str_state::print_value(const struct __CFString *,const void *): ";
const std::string print_formatted_error_says =
    "void __cdecl vandrel::output_str_state::print_formatted_error(struct __CFError *): ";

/// No record, and that one diagnostic.
void expect_diagnostic_only(channel_capture& capture, const std::string& diagnostic) {
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    EXPECT_EQ(written.diagnostics, std::vector<std::string>{diagnostic});
}

TEST(print_value, a_record_is_a_complete_property_list_document) {
    channel_capture capture;
    capture.channel()->print_value("CommandSuccess", kCFBooleanTrue);
    EXPECT_EQ(capture.finish().records, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                        "<plist version=\"1.0\">\n"
                                        "<dict>\n"
                                        "\t<key>Type</key>\n"
                                        "\t<string>CommandSuccess</string>\n"
                                        "\t<key>Value</key>\n"
                                        "\t<true/>\n"
                                        "</dict>\n"
                                        "</plist>\n"
                                        "\n");
}

TEST(print_value, two_records_are_separated_by_the_channels_line_feed) {
    channel_capture capture;
    capture.channel()->print_value("A", kCFBooleanTrue);
    capture.channel()->print_value("B", kCFBooleanTrue);
    const std::string records = capture.finish().records;
    EXPECT_NE(records.find("</plist>\n\n<?xml "), std::string::npos);
}

TEST(print_value, a_record_ends_at_a_zero_byte_in_a_string) {
    const std::string text("left\0right", 10);
    const cf_handle<CFStringRef> string(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(text.data()),
        static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    channel_capture capture;
    capture.channel()->print_value("DeviceInfo", string.get());
    const std::string records = capture.finish().records;
    EXPECT_TRUE(records.ends_with("\t<key>Value</key>\n\t<string>left\n")) << records;
}

TEST(print_value, a_set_is_refused_for_it_has_no_xml_form) {
    const cf_handle<CFMutableSetRef> set(
        CFSetCreateMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks));
    channel_capture capture;
    capture.channel()->print_value("DeviceInfo", set.get());
    expect_diagnostic_only(capture, print_value_says + "object not valid for XML plist");
}

TEST(print_value, nothing_is_made_for_a_value_that_is_refused) {
    const cf_handle<CFMutableSetRef> set(
        CFSetCreateMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks));
    channel_capture capture;
    const auto before = simulator::creation_count();
    capture.channel()->print_value(CFSTR("DeviceInfo"), set.get());
    EXPECT_EQ(simulator::creation_count(), before);
    EXPECT_EQ(capture.finish().records, "");
}

TEST(print_value, an_empty_type_is_refused) {
    channel_capture capture;
    capture.channel()->print_value("", kCFBooleanTrue);
    expect_diagnostic_only(capture, print_value_says + "invalid argument");
}

TEST(print_value, a_null_type_is_refused) {
    channel_capture capture;
    capture.channel()->print_value(static_cast<CFStringRef>(nullptr), kCFBooleanTrue);
    expect_diagnostic_only(capture, print_value_says + "invalid argument");
}

TEST(print_value, a_null_value_is_refused) {
    channel_capture capture;
    capture.channel()->print_value("DeviceInfo", nullptr);
    expect_diagnostic_only(capture, print_value_says + "invalid argument");
}

TEST(print_value, a_type_that_is_no_utf8_is_refused) {
    channel_capture capture;
    capture.channel()->print_value("broken \xFF", kCFBooleanTrue);
    expect_diagnostic_only(capture, print_value_says + "invalid argument");
}

TEST(print_value, a_record_that_cannot_be_serialised_is_a_diagnostic) {
    channel_capture capture;
    // The dictionary is the first object that the record needs, its data the second.
    simulator::fail_creation(2);
    capture.channel()->print_value(CFSTR("CommandSuccess"), kCFBooleanTrue);
    expect_diagnostic_only(capture, print_value_says + "CFPropertyListCreateData failed - unknown");
}

TEST(print_value, what_the_platform_cannot_write_is_a_diagnostic_with_its_reason) {
    channel_capture capture;
    cf_handle<CFTypeRef> too_deep(CFRetain(kCFBooleanTrue));
    for (int depth = 0; depth < 2'048; ++depth) {
        const cf_handle<CFMutableArrayRef> array(
            CFArrayCreateMutable(kCFAllocatorDefault, 1, &kCFTypeArrayCallBacks));
        CFArrayAppendValue(array.get(), too_deep.get());
        too_deep.reset(CFRetain(array.get()));
    }
    capture.channel()->print_value(CFSTR("DeviceInfo"), too_deep.get());
    expect_diagnostic_only(
        capture, print_value_says + "CFPropertyListCreateData failed - Error "
                                    "Domain=NSCocoaErrorDomain Code=3851 \"containers nested too "
                                    "deep\"");
}

TEST(print_value, a_document_that_cannot_become_text_is_a_diagnostic) {
    channel_capture capture;
    simulator::fail_creation(3);
    capture.channel()->print_value(CFSTR("CommandSuccess"), kCFBooleanTrue);
    expect_diagnostic_only(capture, print_value_says + "CFStringCreateWithBytes failed - unknown");
}

TEST(print_formatted_error, a_tool_error_of_code_3_carries_all_four_keys) {
    const auto error = make_tool_error(tool_error::bad_command, "Invalid command option");
    channel_capture capture;
    capture.channel()->print_formatted_error(error.get());
    EXPECT_EQ(capture.finish().records, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                        "<plist version=\"1.0\">\n"
                                        "<dict>\n"
                                        "\t<key>Type</key>\n"
                                        "\t<string>InternalError</string>\n"
                                        "\t<key>Value</key>\n"
                                        "\t<dict>\n"
                                        "\t\t<key>Code</key>\n"
                                        "\t\t<integer>3</integer>\n"
                                        "\t\t<key>Description</key>\n"
                                        "\t\t<string>Bad command</string>\n"
                                        "\t\t<key>Domain</key>\n"
                                        "\t\t<string>vandrel</string>\n"
                                        "\t\t<key>FailureReason</key>\n"
                                        "\t\t<string>Invalid command option</string>\n"
                                        "\t</dict>\n"
                                        "</dict>\n"
                                        "</plist>\n"
                                        "\n");
}

TEST(print_formatted_error, a_code_of_more_than_32_bits_is_written_whole) {
    const cf_error_handle error(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 0x1'0000'0005, nullptr));
    channel_capture capture;
    capture.channel()->print_formatted_error(error.get());
    EXPECT_NE(capture.finish().records.find("<key>Code</key>\n\t\t<integer>4294967301</integer>"),
              std::string::npos);
}

TEST(print_formatted_error, null_is_refused) {
    channel_capture capture;
    capture.channel()->print_formatted_error(nullptr);
    expect_diagnostic_only(capture, print_formatted_error_says + "invalid argument");
}

TEST(print_formatted_error, without_memory_for_the_dictionary_there_is_a_diagnostic) {
    const auto error = make_tool_error(tool_error::bad_command, "Invalid command option");
    channel_capture capture;
    simulator::fail_creation(1);
    capture.channel()->print_formatted_error(error.get());
    expect_diagnostic_only(capture, print_formatted_error_says + "could not create error dict");
}

} // namespace
