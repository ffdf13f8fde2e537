#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace simulator::test;

const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

handle<CFPropertyListRef> read_document(const std::string& document, CFErrorRef* error = nullptr) {
    return handle<CFPropertyListRef>(CFPropertyListCreateWithData(
        kCFAllocatorDefault, make_data(document).get(), kCFPropertyListImmutable, nullptr, error));
}

/// The value of a document of which only the content of <plist> is given.
handle<CFPropertyListRef> read(const std::string& content) {
    return read_document(head + "<plist version=\"1.0\">" + content + "</plist>");
}

/// What the error of a document says.
std::string refusal_of(const std::string& document) {
    CFErrorRef error = nullptr;
    const auto value = read_document(document, &error);
    const handle<CFErrorRef> owned_error(error);
    if (value || !owned_error) {
        return "(not refused)";
    }
    return text_of(handle<CFStringRef>(CFErrorCopyDescription(error)).get());
}

/// The same for the content of <plist>, which begins on line 1.
std::string refusal(const std::string& content) {
    return refusal_of("<plist>" + content + "</plist>");
}

std::string description(const std::string& content) {
    const auto value = read(content);
    return value ? content_of(value.get()) : "(nothing)";
}

std::string nested_arrays(int depth) {
    std::string result;
    for (int i = 0; i < depth; ++i) {
        result += "<array>";
    }
    for (int i = 0; i < depth; ++i) {
        result += "</array>";
    }
    return result;
}

/// More than is given to the parser at a time.
constexpr std::size_t several_pieces = 1'000'000;

TEST(property_list_xml_reader, a_long_text_is_read_whole) {
    const std::string text(several_pieces, 'x');
    EXPECT_EQ(description("<string>" + text + "</string>"), text);
}

TEST(property_list_xml_reader, a_long_comment_is_no_content) {
    const std::string comment = "<!--" + std::string(several_pieces, 'x') + "-->";
    EXPECT_EQ(description(comment + "<string>text</string>" + comment), "text");
}

TEST(property_list_xml_reader, a_long_document_is_read_to_its_end) {
    constexpr CFIndex count = several_pieces / 10;
    std::string content = "<array>";
    for (CFIndex i = 0; i < count; ++i) {
        content += "<integer>7</integer>";
    }
    const auto value = read(content + "</array>");
    ASSERT_TRUE(value);
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(value.get())), 100'000);
}

TEST(property_list_xml_reader, equal_keys_of_several_dictionaries_each_have_their_value) {
    const std::string entry = "<dict><key>a</key><integer>1</integer><key>b</key><true/></dict>";
    EXPECT_EQ(
        description("<array>" + entry + "<dict><key>b</key><false/></dict>" + entry + "</array>"),
        "("
        "{a = 1, b = true}, {b = false}, {a = 1, b = true}"
        ")");
}

TEST(property_list_xml_reader, a_document_becomes_its_value) {
    const auto value = read_document(head + "<plist version=\"1.0\">\n"
                                            "<dict>\n"
                                            "\t<key>Name</key>\n"
                                            "\t<string>a &amp; b</string>\n"
                                            "\t<key>List</key>\n"
                                            "\t<array>\n"
                                            "\t\t<integer>-1</integer>\n"
                                            "\t\t<true/>\n"
                                            "\t</array>\n"
                                            "</dict>\n"
                                            "</plist>\n");
    const auto expected = make_dictionary(
        {{CFSTR("Name"), CFSTR("a & b")},
         {CFSTR("List"), make_array({make_number(-1).get(), kCFBooleanTrue}).get()}});
    ASSERT_TRUE(value);
    EXPECT_TRUE(CFEqual(value.get(), expected.get()));
}

TEST(property_list_xml_reader, the_format_is_returned) {
    CFPropertyListFormat format = 0;
    const handle<CFPropertyListRef> value(
        CFPropertyListCreateWithData(kCFAllocatorDefault, make_data("<plist><true/></plist>").get(),
                                     kCFPropertyListImmutable, &format, nullptr));
    ASSERT_TRUE(value);
    EXPECT_EQ(format, 100);
}

TEST(property_list_xml_reader, strings_keep_all_their_characters) {
    EXPECT_EQ(description("<string> a\n\tb </string>"), " a\n\tb ");
    EXPECT_EQ(description("<string></string>"), "");
    EXPECT_EQ(description("<string/>"), "");
    EXPECT_EQ(description("<string>&lt;&#x1F4F1;&#228;&gt;&quot;&apos;</string>"),
              "<\xF0\x9F\x93\xB1\xC3\xA4>\"'");
    EXPECT_EQ(description("<string>a<![CDATA[<b>&]]>c</string>"), "a<b>&c");
}

TEST(property_list_xml_reader, numbers_are_read_after_white_space) {
    EXPECT_TRUE(CFEqual(read("<integer>\n -12</integer>").get(), make_number(-12).get()));
    EXPECT_TRUE(CFEqual(read("<integer>0x1F</integer>").get(), make_number(31).get()));
    EXPECT_TRUE(CFEqual(read("<real> \n0.1</real>").get(), make_real(0.1).get()));
    EXPECT_TRUE(CFEqual(read("<real>-infinity</real>").get(), make_real(-INFINITY).get()));
    EXPECT_EQ(description("<integer>18446744073709551615</integer>"), "18446744073709551615");
}

TEST(property_list_xml_reader, a_whole_real_stays_a_real) {
    const auto value = read("<real>2</real>");
    ASSERT_TRUE(value);
    const handle<CFDataRef> document(CFPropertyListCreateData(
        kCFAllocatorDefault, value.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    ASSERT_TRUE(document);
    EXPECT_NE(text_of(document.get()).find("<real>2</real>"), std::string::npos);
}

TEST(property_list_xml_reader, booleans_are_the_two_constants) {
    EXPECT_EQ(read("<true/>").get(), kCFBooleanTrue);
    EXPECT_EQ(read("<false></false>").get(), kCFBooleanFalse);
}

TEST(property_list_xml_reader, dates_and_data_are_read) {
    EXPECT_TRUE(CFEqual(read("<date>2001-01-01T00:00:10Z</date>").get(), make_date(10).get()));
    EXPECT_TRUE(CFEqual(read("<data>\n\tZm9v\n\tYg==\n\t</data>").get(), make_data("foob").get()));
    EXPECT_TRUE(CFEqual(read("<data></data>").get(), make_data("").get()));
}

TEST(property_list_xml_reader, empty_containers_are_read) {
    EXPECT_TRUE(CFEqual(read("<array/>").get(), make_array().get()));
    EXPECT_TRUE(CFEqual(read("<dict></dict>").get(), make_dictionary().get()));
}

TEST(property_list_xml_reader, of_two_equal_keys_the_last_wins) {
    EXPECT_EQ(description("<dict><key>a</key><integer>1</integer>"
                          "<key>a</key><integer>2</integer></dict>"),
              "{a = 2}");
}

TEST(property_list_xml_reader, comments_and_instructions_are_ignored) {
    EXPECT_EQ(description("<!-- a --><array><?b?><true/><!-- c --></array><!-- d -->"), "(true)");
}

TEST(property_list_xml_reader, utf16_is_read) {
    const std::string text = "<plist><string>\xE4</string></plist>";
    std::string document = "\xFF\xFE";
    for (const char c : text) {
        document += c;
        document += '\0';
    }
    const auto value = read_document(document);
    ASSERT_TRUE(value);
    EXPECT_EQ(content_of(value.get()), "\xC3\xA4");
}

/// ASCII text as UTF-16, without a mark.
std::string utf16(const std::string& text, bool is_big_endian) {
    std::string result;
    for (const char c : text) {
        result += is_big_endian ? std::string{'\0', c} : std::string{c, '\0'};
    }
    return result;
}

TEST(property_list_xml_reader, utf16_needs_a_mark) {
    const std::string document = "<plist><string>a\x01&#228;\r\n</string></plist>";
    for (const bool is_big_endian : {false, true}) {
        const std::string bytes = utf16(document, is_big_endian);
        const std::string mark = is_big_endian ? "\xFE\xFF" : "\xFF\xFE";
        const auto value = read_document(mark + bytes);
        ASSERT_TRUE(value);
        EXPECT_EQ(content_of(value.get()), "a\x01\xC3\xA4\r\n");
        EXPECT_EQ(refusal_of(bytes), "UTF-16 without a byte order mark");
    }
}

TEST(property_list_xml_reader, broken_utf16_is_refused) {
    const std::string mark = "\xFE\xFF";
    EXPECT_EQ(refusal_of(mark + utf16("<true/>", true) + "x"), "text that is not UTF-16");
    EXPECT_EQ(refusal_of(mark + utf16("<string>", true) + "\xD8\x3D" + utf16("</string>", true)),
              "text that is not UTF-16");
    EXPECT_EQ(refusal_of(mark + utf16("<?xml version=\"1.0\" encoding=\"UTF-8\"?><true/>", true)),
              "line 1: another encoding than the one that is declared");
}

TEST(property_list_xml_reader, utf8_may_begin_with_a_mark) {
    EXPECT_TRUE(read_document("\xEF\xBB\xBF<plist><true/></plist>"));
}

TEST(property_list_xml_reader, five_hundred_and_twelve_containers_may_nest) {
    EXPECT_TRUE(read(nested_arrays(512)));
    EXPECT_EQ(refusal(nested_arrays(513)), "line 1: containers nested too deep");
    EXPECT_EQ(refusal(nested_arrays(1'000'000)), "line 1: containers nested too deep");
}

TEST(property_list_xml_reader, a_scalar_may_stand_in_the_deepest_container) {
    std::string document = nested_arrays(512);
    document.insert(std::string("<array>").size() * 512, "<true/>");
    EXPECT_TRUE(read(document));
}

TEST(property_list_xml_reader, an_error_names_domain_code_and_line) {
    CFErrorRef error = nullptr;
    EXPECT_FALSE(read_document("<plist>\n<dict>\n<true/>\n</dict></plist>", &error));
    const handle<CFErrorRef> owned_error(error);
    ASSERT_TRUE(owned_error);
    EXPECT_EQ(text_of(CFErrorGetDomain(error)), "NSCocoaErrorDomain");
    EXPECT_EQ(CFErrorGetCode(error), 3840);
    EXPECT_EQ(text_of(handle<CFStringRef>(CFErrorCopyDescription(error)).get()),
              "line 3: value without a key");
}

TEST(property_list_xml_reader, what_is_not_xml_is_refused) {
    EXPECT_EQ(refusal_of(""), "line 1: no element found");
    EXPECT_EQ(refusal_of("\n{ a = b; }"), "line 2: not well-formed (invalid token)");
    EXPECT_EQ(refusal_of("<plist><true/>"), "line 1: no element found");
    EXPECT_EQ(refusal_of("<true/><true/>"), "line 1: junk after document element");
    EXPECT_EQ(refusal("<string>\xFF</string>"), "line 1: not well-formed (invalid token)");
    EXPECT_EQ(refusal("<string>&#0;</string>"), "line 1: reference to invalid character number");
}

TEST(property_list_xml_reader, other_elements_are_refused) {
    EXPECT_EQ(refusal("<null/>"), "line 1: unknown element <null>");
    EXPECT_EQ(refusal_of("<html><true/></html>"), "line 1: unknown element <html>");
    EXPECT_EQ(refusal("<plist><true/></plist>"), "line 1: <plist> inside another element");
    EXPECT_EQ(refusal("<string>a<true/></string>"), "line 1: element <true> inside a scalar");
}

TEST(property_list_xml_reader, there_is_exactly_one_value) {
    EXPECT_EQ(refusal(""), "no value");
    EXPECT_EQ(refusal("<true/><true/>"), "line 1: second value in <plist>");
}

TEST(property_list_xml_reader, keys_and_values_take_turns) {
    EXPECT_EQ(refusal("<dict><true/></dict>"), "line 1: value without a key");
    EXPECT_EQ(refusal("<dict><key>a</key></dict>"), "line 1: key without a value");
    EXPECT_EQ(refusal("<dict><key>a</key><key>b</key></dict>"),
              "line 1: key where a value must come");
    EXPECT_EQ(refusal("<array><key>a</key></array>"), "line 1: key where a value must come");
    EXPECT_EQ(refusal("<key>a</key>"), "line 1: key where a value must come");
}

TEST(property_list_xml_reader, text_outside_a_value_is_refused) {
    EXPECT_EQ(refusal("a<true/>"), "line 1: text outside a value");
    EXPECT_EQ(refusal("<array>a</array>"), "line 1: text outside a value");
    EXPECT_EQ(refusal("<array>&#32;</array>"), "line 1: text outside a value");
    EXPECT_EQ(refusal("<true>a</true>"), "line 1: text in a boolean");
    EXPECT_EQ(refusal("<true> </true>"), "line 1: text in a boolean");
}

TEST(property_list_xml_reader, broken_scalars_are_refused) {
    EXPECT_EQ(refusal("<integer>1.5</integer>"), "line 1: bad integer");
    EXPECT_EQ(refusal("<integer/>"), "line 1: bad integer");
    EXPECT_EQ(refusal("<real>one</real>"), "line 1: bad real");
    EXPECT_EQ(refusal("<date>2001-01-01</date>"), "line 1: bad date");
    EXPECT_EQ(refusal("<data>Zg</data>"), "line 1: bad data");
}

TEST(property_list_xml_reader, white_space_after_a_number_and_around_a_date_is_refused) {
    EXPECT_EQ(refusal("<integer>1 </integer>"), "line 1: bad integer");
    EXPECT_EQ(refusal("<real>1 </real>"), "line 1: bad real");
    EXPECT_EQ(refusal("<date> 2001-01-01T00:00:00Z</date>"), "line 1: bad date");
    EXPECT_EQ(refusal("<date>2001-01-01T00:00:00Z </date>"), "line 1: bad date");
}

TEST(property_list_xml_reader, comments_and_instructions_in_a_scalar_are_refused) {
    for (const std::string name : {"string", "integer", "real", "date", "data", "true"}) {
        EXPECT_EQ(refusal("<" + name + "><!-- a --></" + name + ">"),
                  "line 1: comment inside a scalar");
        EXPECT_EQ(refusal("<" + name + "><?a?></" + name + ">"),
                  "line 1: processing instruction inside a scalar");
    }
    EXPECT_EQ(refusal("<dict><key>a<!-- b --></key><true/></dict>"),
              "line 1: comment inside a scalar");
}

TEST(property_list_xml_reader, cdata_is_text_of_strings_keys_and_reals_only) {
    EXPECT_EQ(description("<dict><key><![CDATA[a]]></key><real><![CDATA[1.5]]></real></dict>"),
              "{a = 1.5}");
    const std::string refused = "line 1: CDATA where no text may be";
    EXPECT_EQ(refusal("<integer><![CDATA[1]]></integer>"), refused);
    EXPECT_EQ(refusal("<data><![CDATA[Zm9v]]></data>"), refused);
    EXPECT_EQ(refusal("<![CDATA[]]><true/>"), refused);
    EXPECT_EQ(refusal("<true><![CDATA[]]></true>"), refused);
}

TEST(property_list_xml_reader, references_in_integers_and_dates_are_refused) {
    EXPECT_EQ(refusal("<integer>&#49;</integer>"), "line 1: reference in a number or date");
    EXPECT_EQ(refusal("<date>&#50;001-01-01T00:00:00Z</date>"),
              "line 1: reference in a number or date");
    EXPECT_EQ(description("<real>&#49;.5</real>"), "1.5");
}

TEST(property_list_xml_reader, of_a_reference_in_data_the_digits_are_base64) {
    EXPECT_EQ(refusal("<data>Z&#74;9v</data>"), "line 1: bad data");
    EXPECT_TRUE(CFEqual(read("<data>Z&#74;v</data>").get(), read("<data>Z74v</data>").get()));
    EXPECT_TRUE(CFEqual(read("<data>&lt;AB</data>").get(), read("<data>ltAB</data>").get()));
}

TEST(property_list_xml_reader, data_needs_an_end_tag) {
    EXPECT_EQ(refusal("<data/>"), "line 1: data without an end tag");
}

TEST(property_list_xml_reader, the_frame_may_be_left_out) {
    EXPECT_EQ(read_document("<true/>").get(), kCFBooleanTrue);
    EXPECT_TRUE(CFEqual(read_document(head + "<array><true/></array>\n<!-- a -->\n").get(),
                        make_array({kCFBooleanTrue}).get()));
    EXPECT_TRUE(read_document(nested_arrays(512)));
    EXPECT_EQ(refusal_of(nested_arrays(513)), "line 1: containers nested too deep");
    EXPECT_EQ(refusal_of("<key>a</key>"), "line 1: key where a value must come");
}

TEST(property_list_xml_reader, white_space_may_precede_the_declaration) {
    EXPECT_TRUE(read_document(" \n\t\r\n" + head + "<plist><true/></plist>"));
    EXPECT_EQ(refusal_of("\n\n" + head + "<plist>\n<true></plist>"), "line 6: mismatched tag");
}

TEST(property_list_xml_reader, anything_may_follow_the_document) {
    for (const std::string rest : {"<plist/>", "text", "<", "\xFF", "&"}) {
        EXPECT_TRUE(read_document("<plist><true/></plist>" + rest)) << rest;
    }
}

TEST(property_list_xml_reader, strings_may_have_control_characters) {
    const std::string text("\x01\x08\x0B\x1F@\xEF\xBF\xBE\xEF\xBF\xBF\xF4\x8F\xBF\xBF_\0z", 18);
    const auto value = read("<string>" + text + "</string>");
    ASSERT_TRUE(value);
    EXPECT_TRUE(
        CFEqual(value.get(),
                handle<CFStringRef>(
                    CFStringCreateWithBytes(
                        kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(text.data()),
                        static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false))
                    .get()));
    EXPECT_EQ(description("<dict><key>a\x02</key><string>&#x10FFFF;A\x03</string></dict>"),
              "{a\x02 = \xF4\x8F\xBF\xBF"
              "A\x03}");
    EXPECT_EQ(description("<string><![CDATA[&\x04]]></string>"), "&\x04");
}

TEST(property_list_xml_reader, control_characters_elsewhere_are_refused) {
    EXPECT_EQ(refusal("\x01<true/>"), "line 1: text outside a value");
    EXPECT_EQ(refusal("<integer>1\x01</integer>"), "line 1: bad integer");
    EXPECT_EQ(refusal("<data>Zm9v\x01</data>"), "line 1: bad data");
    EXPECT_EQ(refusal("<string\x01>a</string>"), "line 1: not well-formed (invalid token)");
}

TEST(property_list_xml_reader, control_characters_need_utf_8_or_utf_16) {
    const std::string latin_1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    EXPECT_TRUE(read_document(latin_1 + "<plist><string>\xE4</string></plist>"));
    EXPECT_EQ(refusal_of(latin_1 + "<plist><string>\xE4\x01</string></plist>"),
              "line 1: another encoding than the one that is declared");
}

TEST(property_list_xml_reader, line_ends_are_kept_as_they_are) {
    EXPECT_EQ(description("<string>a\r\nb\rc\nd</string>"), "a\r\nb\rc\nd");
    EXPECT_EQ(description("<string><![CDATA[a\r\nb]]></string>"), "a\r\nb");
    EXPECT_EQ(description("<string>&#10;&#13;\r</string>"), "\n\r\r");
    EXPECT_EQ(description("<string>\x01\r\n\x02</string>"), "\x01\r\n\x02");
}

TEST(property_list_xml_reader, a_line_end_is_kept_where_a_piece_ends) {
    const std::string frame = "<plist><string>";
    for (std::size_t length = 65'536 - frame.size() - 2; length < 65'536 - frame.size() + 2;
         ++length) {
        const std::string text = std::string(length, 'x') + "\r\n\x01y";
        EXPECT_EQ(content_of(read_document(frame + text + "</string></plist>").get()), text);
    }
}

TEST(property_list_xml_reader, a_dictionary_of_one_unique_id_is_that) {
    EXPECT_EQ(description("<dict><key>CF$UID</key><integer>7</integer></dict>"),
              "<CFKeyedArchiverUID 7>");
    EXPECT_EQ(description("<dict><key>CF$UID</key><integer>4294967295</integer></dict>"),
              "<CFKeyedArchiverUID 4294967295>");
    for (const std::string value : {"<integer>-1</integer>", "<integer>4294967296</integer>",
                                    "<real>1.5</real>", "<string>1</string>"}) {
        EXPECT_TRUE(
            description("<dict><key>CF$UID</key>" + value + "</dict>").starts_with("{CF$UID"));
    }
    EXPECT_EQ(description("<dict><key>CF$UID</key><integer>1</integer>"
                          "<key>a</key><integer>2</integer></dict>"),
              "{CF$UID = 1, a = 2}");
}

TEST(property_list_xml_reader, entities_cannot_be_declared) {
    EXPECT_EQ(refusal_of("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\">]>"
                         "<plist><string>&a;</string></plist>"),
              "line 1: declarations in the document type");
    EXPECT_EQ(refusal_of("<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>"
                         "<plist><string>&a;</string></plist>"),
              "line 1: declarations in the document type");
}

TEST(property_list_xml_reader, entities_that_nobody_declared_are_refused) {
    EXPECT_EQ(refusal_of("<!DOCTYPE plist SYSTEM \"file:///somewhere\">"
                         "<plist><string>a&b;c</string></plist>"),
              "line 1: unknown entity &b;");
    EXPECT_EQ(refusal("<string>&b;</string>"), "line 1: undefined entity");
}

TEST(property_list_xml_reader, a_refusal_leaves_nothing_behind) {
    EXPECT_FALSE(read("<dict><key>a</key><array><string>b</string><true></array></dict>"));
    EXPECT_EQ(simulator::live_object_count(), 0);
}

TEST(property_list_xml_reader, any_of_its_creations_can_fail_without_an_error) {
    const auto document = make_data("<plist><dict><key>a</key><array><integer>1</integer>"
                                    "<string>b</string><data></data></array></dict></plist>");
    for (int n = 1; n <= 6; ++n) {
        CFErrorRef error = nullptr;
        simulator::fail_creation(n);
        const handle<CFPropertyListRef> value(CFPropertyListCreateWithData(
            kCFAllocatorDefault, document.get(), kCFPropertyListImmutable, nullptr, &error));
        EXPECT_FALSE(value) << n;
        EXPECT_EQ(error, nullptr);
    }
}

} // namespace
