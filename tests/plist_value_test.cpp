#include "tests/plist_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace vandrel::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string first = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<plist version=\"1.0\">\n"
                          "<string>one</string>\n"
                          "</plist>\n";
const std::string second = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<plist version=\"1.0\">\n"
                           "<string>two</string>\n"
                           "</plist>\n";

plist_value from_element(const std::string& element) {
    return from_xml("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" +
                    element + "\n</plist>\n");
}

} // namespace

TEST(split_documents, nothing_holds_no_document) {
    EXPECT_THAT(split_documents("", ""), IsEmpty());
    EXPECT_THAT(split_documents("", "\n"), IsEmpty());
}

TEST(split_documents, documents_may_directly_follow_each_other) {
    EXPECT_THAT(split_documents(first + second, ""), ElementsAre(first, second));
}

TEST(split_documents, a_separator_follows_each_document) {
    EXPECT_THAT(split_documents(first + "\n" + second + "\n", "\n"), ElementsAre(first, second));
}

TEST(split_documents, a_missing_separator_is_refused) {
    EXPECT_THROW(split_documents(first + second + "\n", "\n"), std::runtime_error);
    EXPECT_THROW(split_documents(first + "\n" + second, "\n"), std::runtime_error);
}

TEST(split_documents, a_separator_where_none_belongs_is_refused) {
    EXPECT_THROW(split_documents(first + "\n" + second, ""), std::runtime_error);
    EXPECT_THROW(split_documents(first + "\n", ""), std::runtime_error);
}

TEST(split_documents, a_document_cut_short_is_refused) {
    EXPECT_THROW(split_documents(first + second.substr(0, second.size() - 2), ""),
                 std::runtime_error);
}

TEST(split_documents, anything_between_documents_is_refused) {
    EXPECT_THROW(split_documents("x" + first, ""), std::runtime_error);
    EXPECT_THROW(split_documents(first + "x" + second, ""), std::runtime_error);
}

TEST(split_documents, a_carriage_return_is_refused) {
    EXPECT_THROW(split_documents(first + "\r\n", "\n"), std::runtime_error);
}

TEST(plist_value, every_kind_of_value_is_read) {
    EXPECT_EQ(from_element("<string>a&amp;b</string>"), plist_value("a&b"));
    EXPECT_EQ(from_element("<integer>-7</integer>"), plist_value(-7));
    EXPECT_EQ(from_element("<real>0.5</real>"), plist_value(0.5));
    EXPECT_EQ(from_element("<true/>"), plist_value(true));
    EXPECT_EQ(from_element("<false/>"), plist_value(false));
    EXPECT_EQ(from_element("<data>AAEC</data>"), plist_value(data{std::string("\0\1\2", 3)}));
    EXPECT_EQ(from_element("<date>2001-01-01T00:01:00Z</date>"), plist_value(date{60}));
    EXPECT_EQ(from_element("<array><integer>1</integer><string>1</string></array>"),
              plist_value(array{1, "1"}));
    EXPECT_EQ(from_element("<dict><key>a</key><array/><key>b</key><dict/></dict>"),
              plist_value(dictionary{{"a", array{}}, {"b", dictionary{}}}));
}

TEST(plist_value, values_of_different_kinds_are_never_equal) {
    EXPECT_NE(from_element("<real>1</real>"), plist_value(1));
    EXPECT_NE(from_element("<integer>1</integer>"), plist_value(1.0));
    EXPECT_NE(from_element("<true/>"), plist_value(1));
    EXPECT_NE(from_element("<string>1</string>"), plist_value(1));
    EXPECT_NE(from_element("<data></data>"), plist_value(""));
}

TEST(plist_value, what_is_no_property_list_is_refused) {
    EXPECT_THROW(from_xml(""), std::runtime_error);
    EXPECT_THROW(from_xml("<plist"), std::runtime_error);
}

TEST(plist_value, what_is_written_down_is_a_document) {
    EXPECT_EQ(to_xml(dictionary{{"Type", "DeviceList"}, {"Value", array{"00000000000000AB", 7}}}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<dict>\n"
              "\t<key>Type</key>\n"
              "\t<string>DeviceList</string>\n"
              "\t<key>Value</key>\n"
              "\t<array>\n"
              "\t\t<string>00000000000000AB</string>\n"
              "\t\t<integer>7</integer>\n"
              "\t</array>\n"
              "</dict>\n"
              "</plist>\n");
}

} // namespace vandrel::testing
