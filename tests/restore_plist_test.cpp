/// `--restore-plist`: options from a file, and files that cannot be used.

#include "tests/file_content.h"
#include "tests/silent_pipe.h"
#include "tests/system_message.h"
#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <boost/filesystem/operations.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

namespace fs = boost::filesystem;
using namespace vandrel::testing;
using ::testing::ElementsAre;

constexpr auto some_ecid = "00000000000000AB";

/// One device, whose restore makes this one report.
dictionary restoring(int operation, int progress) {
    const dictionary report{
        {"Status", "Restoring"}, {"Operation", operation}, {"Progress", progress}};
    const dictionary step{{"After", 0}, {"Report", report}};
    return {{"Devices", array{recovery_device(
                            some_ecid, {{"Restore", dictionary{{"Reports", array{step}}}}})}}};
}

const dictionary restorable = restoring(0, 100);

const dictionary some_options{
    {"RestoreBundlePath", "C:\\Firmware\\x.ipsw"},
    {"Numbers", array{0, -1, std::int64_t{1} << 40, 0.5}},
    {"Nested",
     dictionary{{"Yes", true}, {"No", false}, {"Key", data{std::string("\0\x01\xFF", 3)}}}},
};

tool_call restore_with(const fs::path& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"--restore-plist", file.string(), "--ecid", some_ecid};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool_call(arguments).scenario(restorable);
}

/// The options that the restore was started with.
plist_value used_options(const tool_run& run) {
    const auto call = std::ranges::find_if(run.journal, [](const plist_value& entry) {
        return entry.at("Call") == plist_value("AMRestorableDeviceRestore");
    });
    return call == run.journal.end() ? "no restore" : call->at("Arguments").at("Options");
}

class restore_plist : public ::testing::Test {
protected:
    fs::path make(const fs::path& name, const std::string& content) const {
        write_file(folder.path() / name, content);
        return folder.path() / name;
    }

    /// The run ends with the one record of a file that could not be read, and no device is looked
    /// for.
    static void expect_read_error(const tool_run& run, const fs::path& file,
                                  const std::string& reason) {
        EXPECT_EQ(run.status, 8);
        EXPECT_THAT(run.records,
                    ElementsAre(tool_error_record(
                        8, "Read error", "Cannot open file '" + file.string() + "' - " + reason)));
        EXPECT_EQ(run.standard_error, "");
        EXPECT_EQ(run.calls("AMRestorableDeviceRegisterForNotifications"), 0);
    }

    static void expect_read_error(const fs::path& file, const std::string& reason) {
        expect_read_error(restore_with(file).run(), file, reason);
    }

    /// The reason for a file that cannot be opened, with that Windows error code.
    static std::string opening(const fs::path& file, std::uint32_t code) {
        return "when opening file '" + file.string() + "' for reading: " + system_message(code) +
               " [std:Win32 Error:" + std::to_string(code) + "]";
    }

    temporary_folder folder;
};

// --- files that are accepted

TEST_F(restore_plist, the_restore_is_started_with_the_files_options_and_no_others) {
    const tool_run run = restore_with(make("options.plist", to_xml(some_options))).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.records.size(), 1U);
    EXPECT_EQ(used_options(run), plist_value(some_options));
    EXPECT_EQ(run.calls("AMRestoreCreateDefaultOptions"), 0);
}

TEST_F(restore_plist, a_binary_file_is_accepted_like_an_xml_one) {
    // {"A": "one", "B": [1, true]}, as plutil writes it.
    const std::string binary("bplist00"
                             "\xD2\x01\x02\x03\x04"
                             "QAQBSone"
                             "\xA2\x05\x06"
                             "\x10\x01\x09"
                             "\x08\x0D\x0F\x11\x15\x18\x1A"
                             "\0\0\0\0\0\0\x01\x01"
                             "\0\0\0\0\0\0\0\x07"
                             "\0\0\0\0\0\0\0\0"
                             "\0\0\0\0\0\0\0\x1B",
                             66);
    const tool_run run = restore_with(make("options.plist", binary)).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(used_options(run), plist_value(dictionary{{"A", "one"}, {"B", array{1, true}}}));
}

TEST_F(restore_plist, an_empty_dictionary_is_accepted) {
    const tool_run run = restore_with(make("options.plist", to_xml(dictionary{}))).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(used_options(run), plist_value(dictionary{}));
}

TEST_F(restore_plist, the_files_name_may_be_of_any_script) {
    const fs::path file = make("Прошивка 固件 \xF0\x9F\x93\xB1.plist", to_xml(some_options));
    EXPECT_EQ(used_options(restore_with(file).run()), plist_value(some_options));
}

TEST_F(restore_plist, the_files_path_may_have_more_than_260_characters) {
    const fs::path file = folder.make_deep_folder() / "options.plist";
    write_file(file, to_xml(some_options));
    EXPECT_EQ(used_options(restore_with(file).run()), plist_value(some_options));
}

TEST_F(restore_plist, the_device_can_be_left_in_restore_mode) {
    const tool_run run =
        restore_with(make("options.plist", to_xml(some_options)), {"--enter-restore-mode"})
            .scenario(restoring(9, 1))
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(used_options(run), plist_value(some_options));
    EXPECT_EQ(run.records.size(), 1U);
}

// --- files that are refused

TEST_F(restore_plist, a_missing_file_is_a_read_error) {
    const fs::path file = folder.path() / "missing.plist";
    expect_read_error(file, opening(file, 2));
}

TEST_F(restore_plist, a_file_in_a_missing_folder_is_a_read_error) {
    const fs::path file = folder.path() / "missing" / "options.plist";
    expect_read_error(file, opening(file, 3));
}

TEST_F(restore_plist, a_file_without_a_name_is_a_read_error) {
    expect_read_error("", opening("", 3));
}

TEST_F(restore_plist, a_folder_is_a_read_error) {
    expect_read_error(folder.path(), opening(folder.path(), 5));
}

TEST_F(restore_plist, a_pipe_is_a_read_error_and_nothing_waits_for_it) {
    const silent_pipe pipe;
    expect_read_error(pipe.name(), "when getting size of file '" + pipe.name() +
                                       "': " + system_message(1) + " [std:Win32 Error:1]");
}

TEST_F(restore_plist, a_file_that_ends_before_its_size_is_a_read_error) {
    // The kernel reports a size of 4,096 bytes for this one.
    const fs::path file = "/sys/class/net/lo/mtu";
    if (!fs::exists(file)) {
        GTEST_SKIP() << "no such file on this host";
    }
    expect_read_error(file, "read: End of file [asio.misc:2]");
}

TEST_F(restore_plist, more_than_a_gibibyte_is_a_read_error_that_names_both_sizes) {
    const fs::path file = make("large.plist", "");
    fs::resize_file(file, 1'073'741'825);
    expect_read_error(file, "'" + file.string() +
                                "' is 1073741825 bytes (max size is 1073741824 bytes): File is "
                                "too large to fit into the buffer [Orv::file:1]");
}

TEST_F(restore_plist, more_than_four_gibibytes_are_reported_with_the_right_size) {
    const fs::path file = make("large.plist", "");
    fs::resize_file(file, 5'368'709'120);
    expect_read_error(file, "'" + file.string() +
                                "' is 5368709120 bytes (max size is 1073741824 bytes): File is "
                                "too large to fit into the buffer [Orv::file:1]");
}

TEST_F(restore_plist, an_empty_file_is_a_read_error) {
    expect_read_error(make("empty.plist", ""), "Empty file");
}

TEST_F(restore_plist, an_array_on_top_is_a_read_error) {
    expect_read_error(make("array.plist", to_xml(array{some_options})), "Invalid format");
}

TEST_F(restore_plist, half_a_file_is_a_read_error) {
    const std::string whole = to_xml(some_options);
    expect_read_error(make("half.plist", whole.substr(0, whole.size() / 2)), "Invalid format");
}

TEST_F(restore_plist, a_file_that_is_no_property_list_is_a_read_error) {
    expect_read_error(make("x.ipsw", "PK\x03\x04"), "Invalid format");
}

TEST_F(restore_plist, memory_that_cannot_be_had_is_a_read_error) {
    // The object around the file's bytes is the first that such a run makes.
    const fs::path file = make("options.plist", to_xml(some_options));
    expect_read_error(restore_with(file).fail_creation(1).run(), file, "Bad alloc");
}

} // namespace
