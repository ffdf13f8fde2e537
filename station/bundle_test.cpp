#include "station/bundle.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace vandrel::station {
namespace {

restore_options_file read(const std::string& content) {
    const vandrel::testing::temporary_folder made;
    const std::filesystem::path file =
        std::filesystem::path(made.path().string()) / "options.plist";
    std::ofstream(file, std::ios::binary) << content;
    return read_restore_options(file);
}

restore_options_file read_dictionary(const std::string& content) {
    return read("<plist><dict>" + content + "</dict></plist>");
}

bool is_refused(const std::string& content) {
    try {
        read_dictionary(content);
        return false;
    } catch (const std::runtime_error&) {
        return true;
    }
}

const std::string behavior = "<key>AuthInstallRestoreBehavior</key>";
const std::string update = behavior + "<string>Update</string>";

TEST(restore_options, erase_unless_their_behavior_is_update) {
    EXPECT_FALSE(read_dictionary(update).erases);
    EXPECT_FALSE(read_dictionary(behavior + "<string><![CDATA[Update]]></string>").erases);
    EXPECT_TRUE(read_dictionary("").erases);
    EXPECT_TRUE(read_dictionary(behavior + "<string>Erase</string>").erases);
    EXPECT_TRUE(read_dictionary(behavior + "<string>update</string>").erases);
    EXPECT_TRUE(read_dictionary(behavior + "<string/>").erases);
    EXPECT_TRUE(read_dictionary(behavior + "<integer>1</integer>").erases);
}

TEST(restore_options, are_read_past_comments_between_keys_and_values) {
    EXPECT_FALSE(read_dictionary("<!-- a -->" + behavior +
                                 "<!-- b --><string>Update</string>"
                                 "<key>Other</key><array><string>Erase</string></array>")
                     .erases);
}

TEST(restore_options, have_their_content_as_it_was) {
    const std::string content = "<plist><dict>" + update + "</dict></plist>\r\n\xFF";
    EXPECT_EQ(read(content).content, content);
}

TEST(restore_options, have_a_bundle_only_when_it_is_a_text) {
    const std::string key = "<key>RestoreBundlePath</key>";
    EXPECT_EQ(read_dictionary(key + "<string>a b.ipsw</string>").bundle, path_of("a b.ipsw"));
    EXPECT_FALSE(read_dictionary(update).bundle);
    EXPECT_FALSE(read_dictionary(key + "<string/>").bundle);
    EXPECT_FALSE(read_dictionary(key + "<array><string>a.ipsw</string></array>").bundle);
}

TEST(restore_options, with_a_key_twice_are_refused) {
    EXPECT_TRUE(is_refused(update + behavior + "<string>Erase</string>"));
    EXPECT_TRUE(is_refused(update + update));
    EXPECT_TRUE(is_refused("<key>A</key><true/><key>A</key><true/>"));
}

TEST(restore_options, with_a_text_in_pieces_are_refused) {
    EXPECT_TRUE(is_refused(behavior + "<string>Update<![CDATA[x]]></string>"));
    EXPECT_TRUE(is_refused(behavior + "<string>Update<!-- --></string>"));
    EXPECT_TRUE(is_refused(behavior + "<string>Update<?x?></string>"));
    EXPECT_TRUE(is_refused(behavior + "<string>Update<b/></string>"));
    EXPECT_TRUE(is_refused(update + "<key>AuthInstall<![CDATA[RestoreBehavior]]></key>"
                                    "<string>Erase</string>"));
}

TEST(restore_options, whose_keys_and_values_do_not_alternate_are_refused) {
    EXPECT_TRUE(is_refused("<key>Other</key>" + update));
    EXPECT_TRUE(is_refused("<true/>" + update));
    EXPECT_TRUE(is_refused(update + "<key>Other</key>"));
}

TEST(restore_options, that_are_more_than_one_dictionary_are_refused) {
    const std::string dictionary = "<dict>" + update + "</dict>";
    EXPECT_NO_THROW(read("<plist>" + dictionary + "</plist>"));
    EXPECT_THROW(read("<plist>" + dictionary + "<dict/></plist>"), std::runtime_error);
    EXPECT_THROW(read("<plist><dict/>" + dictionary + "</plist>"), std::runtime_error);
    EXPECT_THROW(read("<plist><string/>" + dictionary + "</plist>"), std::runtime_error);
    EXPECT_THROW(read("<plist>" + dictionary + "</plist><plist/>"), std::runtime_error);
}

/// What is said of this file after its name.
std::string refusal_of(const std::filesystem::path& path) {
    try {
        read_restore_options(path);
        return "";
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        const std::string name = printable(text_of(path));
        EXPECT_TRUE(text.starts_with(name)) << text;
        return text.substr(name.size());
    }
}

TEST(restore_options, that_cannot_be_read_or_are_too_large_are_refused) {
    const vandrel::testing::temporary_folder made;
    const std::filesystem::path folder(made.path().string());
    const std::string options = "<plist><dict>" + update + "</dict></plist>";
    const std::string blanks(16U << 20U, ' ');
    std::ofstream(folder / "large", std::ios::binary) << options << blanks;
    EXPECT_EQ(refusal_of(folder / "large"), " is too large for restore options");
    EXPECT_EQ(refusal_of(folder), " cannot be read");
    EXPECT_EQ(refusal_of(folder / "missing"), " cannot be read");
}

TEST(restore_options, with_another_node_for_a_text_are_refused) {
    EXPECT_TRUE(is_refused(behavior + "<string><b/></string>"));
    EXPECT_TRUE(is_refused(behavior + "<string><!-- Update --></string>"));
}

TEST(restore_options, without_a_dictionary_are_refused) {
    const vandrel::testing::temporary_folder made;
    const std::filesystem::path file = std::filesystem::path(made.path().string()) / "options";
    for (const char* content : {"<plist><array/></plist>", "<plist><dict></dict></plist><"}) {
        std::ofstream(file, std::ios::binary) << content;
        EXPECT_EQ(refusal_of(file), " cannot be used: it is no property list with a dictionary")
            << content;
    }
}

} // namespace
} // namespace vandrel::station
