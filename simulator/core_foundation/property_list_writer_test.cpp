#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/string.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace simulator::test;

const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                         "<plist version=\"1.0\">\n";
const std::string tail = "</plist>\n";

handle<CFDataRef> data_of(CFTypeRef value, CFErrorRef* error = nullptr) {
    return handle<CFDataRef>(CFPropertyListCreateData(kCFAllocatorDefault, value,
                                                      kCFPropertyListXMLFormat_v1_0, 0, error));
}

/// The document without its first and last lines, which are always the same.
std::string written(CFTypeRef value) {
    const auto document = data_of(value);
    if (!document) {
        return "(nothing)";
    }
    const std::string text = text_of(document.get());
    if (!text.starts_with(head) || !text.ends_with(tail)) {
        return "(other frame) " + text;
    }
    return text.substr(head.size(), text.size() - head.size() - tail.size());
}

std::string refusal(CFTypeRef value, CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0) {
    CFErrorRef error = nullptr;
    const handle<CFDataRef> document(
        CFPropertyListCreateData(kCFAllocatorDefault, value, format, 0, &error));
    const handle<CFErrorRef> owned_error(error);
    if (document || !owned_error) {
        return "(not refused)";
    }
    const std::string prefix = "Error Domain=NSCocoaErrorDomain Code=3851 \"";
    const std::string text = description_of(error);
    return text.starts_with(prefix) ? text.substr(prefix.size(), text.size() - prefix.size() - 1)
                                    : "(other error) " + text;
}

TEST(property_list_writer, a_document_is_framed_and_ends_in_a_line_feed) {
    const auto record = make_dictionary(
        {{CFSTR("Type"), CFSTR("CommandSuccess")}, {CFSTR("Value"), kCFBooleanTrue}});
    EXPECT_EQ(text_of(data_of(record.get()).get()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<dict>\n"
              "\t<key>Type</key>\n"
              "\t<string>CommandSuccess</string>\n"
              "\t<key>Value</key>\n"
              "\t<true/>\n"
              "</dict>\n"
              "</plist>\n");
}

TEST(property_list_writer, scalars_stand_on_one_line) {
    EXPECT_EQ(written(CFSTR("text")), "<string>text</string>\n");
    EXPECT_EQ(written(CFSTR("")), "<string></string>\n");
    EXPECT_EQ(written(kCFBooleanFalse), "<false/>\n");
    EXPECT_EQ(written(make_date(86399).get()), "<date>2001-01-01T23:59:59Z</date>\n");
}

TEST(property_list_writer, integers_are_decimal) {
    EXPECT_EQ(written(make_number(-42).get()), "<integer>-42</integer>\n");
    const handle<CFNumberRef> large(
        simulator::create<__CFNumber>(std::uint64_t{18446744073709551615U}));
    EXPECT_EQ(written(large.get()), "<integer>18446744073709551615</integer>\n");
}

TEST(property_list_writer, reals_have_seventeen_significant_digits) {
    EXPECT_EQ(written(make_real(0.1).get()), "<real>0.10000000000000001</real>\n");
    EXPECT_EQ(written(make_real(2.0).get()), "<real>2</real>\n");
    EXPECT_EQ(written(make_real(-1e100).get()), "<real>-1e+100</real>\n");
    EXPECT_EQ(written(make_real(1.0 / 3).get()), "<real>0.33333333333333331</real>\n");
}

TEST(property_list_writer, real_zeros_have_a_fraction_and_no_sign) {
    EXPECT_EQ(written(make_real(0.0).get()), "<real>0.0</real>\n");
    EXPECT_EQ(written(make_real(-0.0).get()), "<real>0.0</real>\n");
    EXPECT_EQ(written(make_number(0).get()), "<integer>0</integer>\n");
}

TEST(property_list_writer, dates_of_any_year_are_written) {
    EXPECT_EQ(written(make_date(252423993600).get()), "<date>10000-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(written(make_date(-63180000001).get()), "<date>-002-11-27T23:59:59Z</date>\n");
}

TEST(property_list_writer, a_date_that_is_no_time_is_written_and_refused_when_read) {
    for (const double time : {static_cast<double>(NAN), HUGE_VAL, -HUGE_VAL}) {
        const auto document = data_of(make_date(time).get());
        ASSERT_TRUE(document);
        EXPECT_FALSE(handle<CFPropertyListRef>(CFPropertyListCreateWithData(
            kCFAllocatorDefault, document.get(), kCFPropertyListImmutable, nullptr, nullptr)));
    }
}

TEST(property_list_writer, a_text_stops_at_an_unpaired_surrogate) {
    const handle<CFStringRef> text(simulator::create<__CFString>("ab\xED\xA0\x80"
                                                                 "cd",
                                                                 5, false));
    EXPECT_EQ(written(text.get()), "<string>ab</string>\n");
    EXPECT_EQ(written(make_dictionary({{text.get(), kCFBooleanTrue}}).get()),
              "<dict>\n\t<key>ab</key>\n\t<true/>\n</dict>\n");
}

TEST(property_list_writer, control_characters_are_written_as_they_are) {
    EXPECT_EQ(written(make_string("a\x01\x1F\x7F\xEF\xBF\xBE\xEF\xBF\xBF\r").get()),
              "<string>a\x01\x1F\x7F\xEF\xBF\xBE\xEF\xBF\xBF\r</string>\n");
}

TEST(property_list_writer, reals_that_are_not_finite_have_names) {
    EXPECT_EQ(written(make_real(std::nan("")).get()), "<real>nan</real>\n");
    EXPECT_EQ(written(make_real(INFINITY).get()), "<real>+infinity</real>\n");
    EXPECT_EQ(written(make_real(-INFINITY).get()), "<real>-infinity</real>\n");
}

TEST(property_list_writer, only_three_characters_are_escaped) {
    const auto text = make_string("a&b<c>d\"e'f\t\xC3\xA4");
    EXPECT_EQ(written(text.get()), "<string>a&amp;b&lt;c&gt;d\"e'f\t\xC3\xA4</string>\n");
    EXPECT_EQ(written(make_dictionary({{CFSTR("<&>"), kCFBooleanTrue}}).get()),
              "<dict>\n\t<key>&lt;&amp;&gt;</key>\n\t<true/>\n</dict>\n");
}

TEST(property_list_writer, empty_containers_are_one_tag) {
    EXPECT_EQ(written(make_array().get()), "<array/>\n");
    EXPECT_EQ(written(make_dictionary().get()), "<dict/>\n");
}

TEST(property_list_writer, containers_indent_by_tabs) {
    const auto inner = make_dictionary({{CFSTR("k"), make_array({make_number(1).get()}).get()}});
    EXPECT_EQ(written(make_array({inner.get(), make_array().get()}).get()),
              "<array>\n"
              "\t<dict>\n"
              "\t\t<key>k</key>\n"
              "\t\t<array>\n"
              "\t\t\t<integer>1</integer>\n"
              "\t\t</array>\n"
              "\t</dict>\n"
              "\t<array/>\n"
              "</array>\n");
}

TEST(property_list_writer, keys_are_sorted) {
    const auto entries = make_dictionary({{CFSTR("b"), kCFBooleanTrue},
                                          {CFSTR("\xC3\xA4"), kCFBooleanTrue},
                                          {CFSTR("B"), kCFBooleanTrue},
                                          {CFSTR("a"), kCFBooleanTrue},
                                          {CFSTR(""), kCFBooleanTrue},
                                          {CFSTR("aa"), kCFBooleanTrue}});
    EXPECT_EQ(written(entries.get()), "<dict>\n"
                                      "\t<key></key>\n\t<true/>\n"
                                      "\t<key>B</key>\n\t<true/>\n"
                                      "\t<key>a</key>\n\t<true/>\n"
                                      "\t<key>aa</key>\n\t<true/>\n"
                                      "\t<key>b</key>\n\t<true/>\n"
                                      "\t<key>\xC3\xA4</key>\n\t<true/>\n"
                                      "</dict>\n");
}

TEST(property_list_writer, keys_are_sorted_by_utf_16_units) {
    const handle<CFStringRef> surrogate(simulator::create<__CFString>("\xED\xA1\x80", 1, false));
    const auto entries = make_dictionary({{CFSTR("\xEE\x80\x80"), make_number(1).get()},
                                          {CFSTR("\xF0\x9F\x98\x80"), make_number(2).get()},
                                          {CFSTR("\xEF\xBF\xBD"), make_number(3).get()},
                                          {CFSTR("\xED\x9F\xBF"), make_number(4).get()},
                                          {surrogate.get(), make_number(5).get()}});
    EXPECT_EQ(written(entries.get()), "<dict>\n"
                                      "\t<key>\xED\x9F\xBF</key>\n\t<integer>4</integer>\n"
                                      "\t<key>\xF0\x9F\x98\x80</key>\n\t<integer>2</integer>\n"
                                      "\t<key></key>\n\t<integer>5</integer>\n"
                                      "\t<key>\xEE\x80\x80</key>\n\t<integer>1</integer>\n"
                                      "\t<key>\xEF\xBF\xBD</key>\n\t<integer>3</integer>\n"
                                      "</dict>\n");
}

TEST(property_list_writer, data_of_every_last_group) {
    EXPECT_EQ(written(make_data("").get()), "<data>\n</data>\n");
    EXPECT_EQ(written(make_data("f").get()), "<data>\nZg==\n</data>\n");
    EXPECT_EQ(written(make_data("fo").get()), "<data>\nZm8=\n</data>\n");
    EXPECT_EQ(written(make_data("foo").get()), "<data>\nZm9v\n</data>\n");
    EXPECT_EQ(written(make_data("\xFB\xFF\xBF").get()), "<data>\n+/+/\n</data>\n");
}

TEST(property_list_writer, data_at_the_margin_has_lines_of_76_characters) {
    EXPECT_EQ(written(make_data(std::string(57, 'a')).get()),
              "<data>\n"
              "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh\n"
              "</data>\n");
    EXPECT_EQ(written(make_data(std::string(58, 'a')).get()),
              "<data>\n"
              "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh\n"
              "YQ==\n"
              "</data>\n");
}

TEST(property_list_writer, data_one_deep_has_lines_of_68_characters) {
    EXPECT_EQ(written(make_array({make_data(std::string(54, 'a')).get()}).get()),
              "<array>\n"
              "\t<data>\n"
              "\tYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh\n"
              "\tYWFh\n"
              "\t</data>\n"
              "</array>\n");
}

/// `value` in `depth` arrays.
handle<CFTypeRef> nested(CFTypeRef value, int depth) {
    handle<CFTypeRef> result(CFRetain(value));
    for (int i = 0; i < depth; ++i) {
        result = make_array({result.get()});
    }
    return result;
}

std::string tabs(std::size_t count) {
    return std::string(count, '\t');
}

TEST(property_list_writer, data_eight_deep_has_lines_of_twelve_characters) {
    EXPECT_NE(written(nested(make_data("123456789abc").get(), 8).get())
                  .find("\n" + tabs(8) + "<data>\n" + tabs(8) + "MTIzNDU2Nzg5\n" + tabs(8) +
                        "YWJj\n" + tabs(8) + "</data>\n"),
              std::string::npos);
}

TEST(property_list_writer, data_deeper_than_eight_keeps_its_lines_and_indents_the_tags) {
    EXPECT_NE(written(nested(make_data("123456789abc").get(), 11).get())
                  .find("\n" + tabs(11) + "<data>\n" + tabs(8) + "MTIzNDU2Nzg5\n" + tabs(8) +
                        "YWJj\n" + tabs(11) + "</data>\n"),
              std::string::npos);
}

TEST(property_list_writer, what_has_no_form_is_refused_with_an_error) {
    EXPECT_EQ(refusal(make_set().get()), "CFSet in a property list");
    EXPECT_EQ(refusal(make_array({kCFNull}).get()), "CFNull in a property list");
    EXPECT_EQ(refusal(make_dictionary({{make_number(1).get(), kCFBooleanTrue}}).get()),
              "CFNumber as a key in a property list");
}

TEST(property_list_writer, other_formats_are_refused_with_an_error) {
    EXPECT_EQ(refusal(CFSTR("a"), kCFPropertyListBinaryFormat_v1_0), "only XML can be written");
    EXPECT_EQ(refusal(CFSTR("a"), kCFPropertyListOpenStepFormat), "only XML can be written");
}

TEST(property_list_writer, a_refusal_needs_no_place_for_the_error) {
    EXPECT_FALSE(data_of(kCFNull));
}

TEST(property_list_writer, an_error_names_its_domain_and_code) {
    CFErrorRef error = nullptr;
    EXPECT_FALSE(data_of(kCFNull, &error));
    const handle<CFErrorRef> owned_error(error);
    ASSERT_TRUE(owned_error);
    EXPECT_EQ(text_of(CFErrorGetDomain(error)), "NSCocoaErrorDomain");
    EXPECT_EQ(CFErrorGetCode(error), 3851);
    EXPECT_EQ(CFErrorCopyDescription(error), nullptr);
}

TEST(property_list_writer, two_thousand_containers_may_nest) {
    const std::string text = written(nested(kCFBooleanTrue, 2'000).get());
    EXPECT_NE(text.find("\n" + tabs(2'000) + "<true/>\n"), std::string::npos);
    EXPECT_TRUE(text.starts_with("<array>\n\t<array>\n"));
    EXPECT_TRUE(text.ends_with("\n\t</array>\n</array>\n"));
}

TEST(property_list_writer, a_container_that_holds_itself_is_refused) {
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("self"), dictionary.get());
    EXPECT_EQ(refusal(dictionary.get()), "containers nested too deep");
    // Otherwise it would never be destroyed.
    CFDictionarySetValue(dictionary.get(), CFSTR("self"), kCFBooleanTrue);
}

TEST(property_list_writer, a_failing_creation_gives_no_error) {
    CFErrorRef error = nullptr;
    simulator::fail_creation(1);
    EXPECT_FALSE(data_of(kCFBooleanTrue, &error));
    EXPECT_EQ(error, nullptr);
}

TEST(property_list_writer, a_failing_creation_of_the_error_gives_no_error) {
    for (int n = 1; n <= 3; ++n) {
        CFErrorRef error = nullptr;
        simulator::fail_creation(n);
        EXPECT_FALSE(data_of(kCFNull, &error));
        EXPECT_EQ(error, nullptr);
    }
}

} // namespace
