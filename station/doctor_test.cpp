#include "station/doctor.h"
#include "station/doctor_run.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace vandrel::station {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

constexpr std::uint64_t gigabyte = 1'000'000'000;
const std::chrono::system_clock::time_point today =
    std::chrono::sys_days{std::chrono::year{2026} / std::chrono::March / 1};

[[noreturn]] void fail() {
    throw std::runtime_error("access\x1b denied");
}

/// A computer on which nothing is wrong, unless a test says otherwise.
class computer final : public doctor_host {
public:
    tool_answer tool{tool_answer::outcome::listed,
                     {"vandrel", "1.2.3.0"},
                     2,
                     {{"CoreFoundation.dll", "5.0.0.1"}, {"MobileDevice.dll", ""}},
                     "",
                     0};
    std::optional<std::vector<usb_device>> usb = std::vector<usb_device>{};
    std::uint64_t free = 500 * gigabyte;
    bundle_room folder{3, 0, 7 * gigabyte, false};
    std::optional<minutes> sleep = minutes(0);
    std::vector<std::string> restart;
    std::vector<left_folder> left;
    std::vector<running_tool> tools;
    /// No answer to anything.
    bool fails = false;
    bool removing_fails = false;
    std::vector<std::filesystem::path> removed;

    tool_answer ask_tool() override { return answer(tool); }
    std::optional<std::vector<usb_device>> apple_devices() override { return answer(usb); }
    scratch_room room() override { return answer(scratch_room{"scratch", free}); }
    bundle_room bundles() override { return answer(folder); }
    std::optional<minutes> sleeps_after() override { return answer(sleep); }
    std::vector<std::string> pending_restart() override { return answer(restart); }
    std::filesystem::path temporary_folder() override { return "tmp"; }
    std::vector<left_folder> left_folders() override { return answer(left); }
    std::vector<running_tool> running_tools() override { return answer(tools); }
    void remove(const std::filesystem::path& path) override {
        if (removing_fails) {
            fail();
        }
        removed.push_back(path);
    }
    std::chrono::system_clock::time_point now() override { return today; }

private:
    template<class Answer>
    Answer answer(Answer value) const {
        if (fails) {
            fail();
        }
        return value;
    }
};

class doctor : public ::testing::Test {
protected:
    std::vector<finding> examined() {
        options_.version = "1.2.3";
        return examine(host_, options_).findings;
    }

    finding said_of(const std::string& check) {
        for (const finding& each : examined()) {
            if (each.check == check) {
                return each;
            }
        }
        return {};
    }

    /// Left by a tool two days ago, as far as the doctor can know.
    static left_folder left(const std::string& name) {
        left_folder result;
        result.path = name;
        result.changed = today - hours(48);
        result.size = 3 * gigabyte;
        return result;
    }

    /// What becomes of one folder that is like one that is left but for `change`.
    std::string fate_of(const std::function<void(left_folder&)>& change) {
        options_.clean = true;
        left_folder folder = left("vandrel.0a1b2c");
        change(folder);
        host_->left = {folder};
        host_->removed.clear();
        const finding found = said_of("leftovers");
        const bool is_removed = !host_->removed.empty();
        return found.details.at(0) + (is_removed ? " [removed]" : " [not removed]");
    }

    std::shared_ptr<computer> host_ = std::make_shared<computer>();
    doctor_options options_;
};

TEST_F(doctor, finds_nothing_wrong_where_nothing_is) {
    options_.has_bundles = true;
    EXPECT_THAT(
        examined(),
        ElementsAre(
            finding{"tool", health::ok, "vandrel, version 1.2.3.0", "", {}},
            finding{
                "libraries",
                health::ok,
                "all functions that the tool needs are there",
                "",
                {"CoreFoundation.dll, version 5.0.0.1", "MobileDevice.dll, which has no version"}},
            finding{"usb",
                    health::ok,
                    "the system sees 0 devices in DFU or Recovery mode, the tool lists 2 devices",
                    "",
                    {}},
            finding{"bundles", health::ok, "the folder has 3 bundles that can be used", "", {}},
            finding{"room",
                    health::ok,
                    "scratch has 500.0 GB free, and a restore of the largest bundle needs 7.0 GB",
                    "",
                    {}},
            finding{"sleep",
                    health::ok,
                    "on mains power the computer does not go to sleep by itself",
                    "",
                    {}},
            finding{"restart", health::ok, "no restart of the computer is pending", "", {}},
            finding{"leftovers", health::ok, "no tool has left a scratch folder in tmp", "", {}}));
}

TEST_F(doctor, has_no_answer_where_the_system_has_none) {
    options_.has_bundles = true;
    host_->fails = true;
    const std::string why = "not known: access\xEF\xBF\xBD denied";
    EXPECT_THAT(examined(), ElementsAre(finding{"tool", health::problem, why, "", {}},
                                        finding{"bundles", health::problem, why, "", {}},
                                        finding{"room", health::problem, why, "", {}},
                                        finding{"sleep", health::warning, why, "", {}},
                                        finding{"restart", health::warning, why, "", {}},
                                        finding{"leftovers", health::warning, why, "", {}}));
}

TEST_F(doctor, names_a_tool_that_cannot_be_started) {
    host_->tool.how = tool_answer::outcome::not_started;
    host_->tool.text = "No such file\nor folder";
    EXPECT_EQ(said_of("tool"),
              (finding{"tool",
                       health::problem,
                       "vandrel cannot be started: No such file\xEF\xBF\xBDor folder",
                       "Unpack vandrel again, or name the tool with --tool.",
                       {}}));
    EXPECT_EQ(
        said_of("libraries"),
        (finding{"libraries", health::problem, "not known: the tool cannot be started", "", {}}));
}

TEST_F(doctor, warns_of_a_tool_of_another_version) {
    host_->tool.program.version = "1.2.4.0";
    EXPECT_EQ(said_of("tool"),
              (finding{"tool",
                       health::warning,
                       "vandrel, version 1.2.4.0, and the station has version 1.2.3",
                       "Use the tool and the station of one release.",
                       {}}));
}

TEST_F(doctor, takes_a_tool_without_a_version) {
    host_->tool.program.version = "";
    EXPECT_EQ(said_of("tool"),
              (finding{"tool", health::ok, "vandrel, which has no version", "", {}}));
}

TEST_F(doctor, repeats_what_the_tool_says_of_the_libraries) {
    host_->tool.how = tool_answer::outcome::no_list;
    host_->tool.text = "vandrel: Apple's libraries on this machine do not have CFRetain";
    EXPECT_EQ(said_of("libraries"),
              (finding{"libraries",
                       health::problem,
                       "the tool says: vandrel: Apple's libraries on this machine do not have "
                       "CFRetain",
                       "Install or update the Apple Devices app or iTunes, in their 64-bit form.",
                       {}}));
    host_->tool.text = "vandrel: its library cannot be loaded";
    EXPECT_EQ(said_of("libraries").advice, "Unpack vandrel again, or name the tool with --tool.");
}

TEST_F(doctor, names_the_status_of_a_tool_that_says_nothing) {
    host_->tool.how = tool_answer::outcome::no_list;
    host_->tool.exit_status = -1073741819;
    EXPECT_EQ(said_of("libraries").found,
              "the tool gave no list of devices, and ended with status -1073741819");
}

TEST_F(doctor, names_a_tool_that_gives_no_list_in_time) {
    host_->tool.how = tool_answer::outcome::timed_out;
    EXPECT_EQ(said_of("libraries"),
              (finding{"libraries",
                       health::problem,
                       "the tool gave no list of devices in time",
                       "Restart the Apple Mobile Device Service, or the computer.",
                       {}}));
}

TEST_F(doctor, warns_of_a_tool_that_needs_no_libraries) {
    host_->tool.libraries.clear();
    EXPECT_EQ(
        said_of("libraries"),
        (finding{"libraries",
                 health::warning,
                 "the tool lists devices, but none of Apple's libraries was seen in its process",
                 "If its devices are not meant to be simulated, name another tool with --tool.",
                 {}}));
}

TEST_F(doctor, warns_of_devices_in_dfu_or_recovery_mode_that_the_tool_does_not_list) {
    host_->usb = {
        {0x1227, "DFU"}, {0x1280, "\x1b[31m"}, {0x1283, "R"}, {0x1284, ""}, {0x12A8, "P"}};
    EXPECT_EQ(said_of("usb"),
              (finding{"usb",
                       health::warning,
                       "the system sees 3 devices in DFU or Recovery mode, the tool lists 2 "
                       "devices: at least 1 is missing",
                       "Close iTunes and Apple Devices, look in the Device Manager whether the "
                       "device has Apple's driver, and plug it in anew.",
                       {"05AC:1227 DFU (DFU or Recovery mode)",
                        "05AC:1280 \xEF\xBF\xBD[31m (DFU or Recovery mode)",
                        "05AC:1283 R (DFU or Recovery mode)",
                        "05AC:1284  (another mode, or no device to restore)",
                        "05AC:12A8 P (another mode, or no device to restore)"}}));
    host_->tool.devices = 3;
    EXPECT_EQ(said_of("usb").level, health::ok);
    host_->tool.devices = 1;
    EXPECT_EQ(said_of("usb").found, "the system sees 3 devices in DFU or Recovery mode, the tool "
                                    "lists 1 device: at least 2 are missing");
}

TEST_F(doctor, compares_no_devices_without_a_list) {
    host_->usb = {{0x1227, "DFU"}};
    host_->tool.how = tool_answer::outcome::no_list;
    EXPECT_THAT(said_of("usb"),
                AllOf(Field(&finding::level, health::ok),
                      Field(&finding::found, "the system sees 1 device in DFU or Recovery mode; "
                                             "the tool has no list to compare with")));
    host_->usb.reset();
    EXPECT_EQ(
        said_of("usb"),
        (finding{"usb", health::ok, "not known: this system does not list USB devices", "", {}}));
}

TEST_F(doctor, wants_room_for_the_largest_bundle) {
    options_.has_bundles = true;
    host_->free = 7 * gigabyte;
    EXPECT_EQ(said_of("room").level, health::ok);
    host_->free = 7 * gigabyte - 1;
    EXPECT_EQ(said_of("room"),
              (finding{"room",
                       health::problem,
                       "scratch has 7.0 GB free, and a restore of the largest bundle needs 7.0 GB",
                       "Make room, or give a folder with more room, with --scratch.",
                       {}}));
}

TEST_F(doctor, warns_of_less_than_20_gb_without_bundles) {
    host_->free = 20 * gigabyte;
    EXPECT_EQ(said_of("room").level, health::ok);
    host_->free = 20 * gigabyte - 1;
    EXPECT_EQ(said_of("room"),
              (finding{"room",
                       health::warning,
                       "scratch has 20.0 GB free, and a restore is assumed to need 20.0 GB",
                       "Make room, or give a folder with more room, with --scratch.",
                       {}}));
    EXPECT_EQ(said_of("bundles"), finding{});
}

TEST_F(doctor, warns_of_files_that_are_no_bundles_and_of_a_network_drive) {
    options_.has_bundles = true;
    host_->folder = {1, 2, 0, true};
    EXPECT_EQ(
        said_of("bundles"),
        (finding{"bundles",
                 health::warning,
                 "the folder has 1 bundle that can be used, and 2 files that cannot; it is on a "
                 "network drive",
                 "The command \"bundles\" says why. Copy the bundles to a disk of this computer, "
                 "so that no restore depends on the network.",
                 {}}));
    host_->folder = {1, 0, 0, true};
    EXPECT_EQ(said_of("bundles").level, health::warning);
    host_->folder = {1, 1, 0, false};
    EXPECT_EQ(said_of("bundles").level, health::warning);
    host_->folder = {0, 0, 0, true};
    EXPECT_EQ(said_of("bundles").level, health::problem);
}

TEST_F(doctor, warns_of_a_computer_that_goes_to_sleep) {
    host_->sleep = minutes(1);
    EXPECT_EQ(said_of("sleep"),
              (finding{"sleep",
                       health::warning,
                       "on mains power the computer goes to sleep after 1 minute without input",
                       "Set Windows not to sleep while devices are restored. The station keeps the "
                       "computer awake only while it works on devices.",
                       {}}));
    host_->sleep.reset();
    EXPECT_EQ(
        said_of("sleep"),
        (finding{
            "sleep", health::ok, "not applicable: only Windows' settings are looked at", "", {}}));
}

TEST_F(doctor, warns_of_a_pending_restart) {
    host_->restart = {"one reason", "another"};
    EXPECT_EQ(said_of("restart"),
              (finding{"restart",
                       health::warning,
                       "a restart of the computer is pending: one reason and another",
                       "Restart the computer before a long run.",
                       {}}));
}

TEST_F(doctor, names_what_killed_tools_have_left_and_removes_nothing_unasked) {
    host_->left = {left("vandrel.0a1b2c"), left("vandrel.ffffff")};
    host_->left[1].is_own = false;
    EXPECT_EQ(said_of("leftovers"),
              (finding{"leftovers",
                       health::warning,
                       "2 scratch folders of tools in tmp, 1 left by tools that are gone, 3.0 GB",
                       "doctor --clean removes what is left by tools that are gone.",
                       {"vandrel.0a1b2c, 3.0 GB: left by a tool that is gone",
                        "vandrel.ffffff, 3.0 GB: stays: it is another user's, or has something of "
                        "another user in it"}}));
    EXPECT_THAT(host_->removed, IsEmpty());
}

TEST_F(doctor, removes_what_is_certain_to_be_left) {
    EXPECT_EQ(fate_of([](left_folder&) {}), "vandrel.0a1b2c, 3.0 GB: removed [removed]");
    EXPECT_EQ(said_of("leftovers").found, "1 scratch folder of tools in tmp, 1 removed");
    EXPECT_EQ(said_of("leftovers").level, health::ok);
}

TEST_F(doctor, removes_nothing_that_is_a_link) {
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.has_link = true; }),
              "vandrel.0a1b2c, 3.0 GB: stays: it is a link, or has one in it [not removed]");
}

TEST_F(doctor, removes_nothing_of_another_user) {
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.is_own = false; }),
              "vandrel.0a1b2c, 3.0 GB: stays: it is another user's, or has something of another "
              "user in it [not removed]");
}

TEST_F(doctor, removes_nothing_that_it_cannot_look_into) {
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.problem = "denied"; }),
              "vandrel.0a1b2c, 3.0 GB: stays: not all of it can be looked at: denied "
              "[not removed]");
}

TEST_F(doctor, removes_nothing_that_is_younger_than_a_day) {
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.changed = today - hours(24); }),
              "vandrel.0a1b2c, 3.0 GB: removed [removed]");
    const std::string young =
        "vandrel.0a1b2c, 3.0 GB: stays: it was changed less than a day ago [not removed]";
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.changed = today - minutes(24 * 60 - 1); }),
              young);
    // By a clock that was wrong.
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.changed = today + hours(48); }), young);
}

TEST_F(doctor, removes_nothing_in_which_a_program_has_something_open) {
    EXPECT_EQ(fate_of([](left_folder& folder) { folder.is_open = true; }),
              "vandrel.0a1b2c, 3.0 GB: stays: a program has something in it open [not removed]");
}

TEST_F(doctor, removes_nothing_that_can_be_of_a_tool_that_runs) {
    const std::string stays = "vandrel.0a1b2c, 3.0 GB: stays: it can be that of process 17 (tool), "
                              "which runs [not removed]";
    host_->tools = {{17, "tool", today - hours(49)}};
    EXPECT_EQ(fate_of([](left_folder&) {}), stays);
    host_->tools = {{17, "tool", {}}};
    EXPECT_EQ(fate_of([](left_folder&) {}), stays);
    // It began when the folder was there already.
    host_->tools = {{17, "tool", today - hours(47)}};
    EXPECT_EQ(fate_of([](left_folder&) {}), "vandrel.0a1b2c, 3.0 GB: removed [removed]");
}

TEST_F(doctor, says_what_cannot_be_removed) {
    host_->removing_fails = true;
    EXPECT_EQ(fate_of([](left_folder&) {}),
              "vandrel.0a1b2c, 3.0 GB: cannot be removed: access\xEF\xBF\xBD denied "
              "[not removed]");
    const finding found = said_of("leftovers");
    EXPECT_EQ(found.level, health::warning);
    EXPECT_EQ(found.found, "1 scratch folder of tools in tmp, 0 removed, 1 left by tools that are "
                           "gone, 3.0 GB");
    EXPECT_EQ(found.advice, "Close the programs that use them, and run this again.");
}

/// A computer with a disk that never answers.
class hanging_computer final : public doctor_host {
public:
    tool_answer ask_tool() override { throw std::runtime_error("none"); }
    std::optional<std::vector<usb_device>> apple_devices() override { return {}; }
    scratch_room room() override {
        std::unique_lock lock(mutex_);
        released_.wait(lock, [this] { return is_released_; });
        is_done_ = true;
        done_.notify_all();
        return {};
    }
    bundle_room bundles() override { return {}; }
    std::optional<minutes> sleeps_after() override { return {}; }
    std::vector<std::string> pending_restart() override { return {}; }
    std::filesystem::path temporary_folder() override { return "tmp"; }
    std::vector<left_folder> left_folders() override { return {}; }
    std::vector<running_tool> running_tools() override { return {}; }
    void remove(const std::filesystem::path&) override {}
    std::chrono::system_clock::time_point now() override { return today; }

    void release() {
        std::unique_lock lock(mutex_);
        is_released_ = true;
        released_.notify_all();
        done_.wait(lock, [this] { return is_done_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable released_;
    std::condition_variable done_;
    bool is_released_ = false;
    bool is_done_ = false;
};

TEST(doctor_limit, ends_a_check_that_has_no_answer_and_goes_on) {
    const auto host = std::make_shared<hanging_computer>();
    doctor_options options;
    options.limit = std::chrono::seconds(2);
    const diagnosis result = examine(host, options);
    host->release();
    EXPECT_TRUE(result.is_incomplete);
    EXPECT_THAT(result.findings,
                ElementsAre(Field(&finding::check, "tool"),
                            finding{"room",
                                    health::problem,
                                    "the check has no answer in time",
                                    "Look whether a disk or a network drive hangs.",
                                    {}},
                            Field(&finding::check, "sleep"), Field(&finding::check, "restart"),
                            Field(&finding::check, "leftovers")));
}

const diagnosis three_findings{
    {{"tool", health::ok, "found \xC3\xA4", "", {}},
     {"libraries", health::warning, "found", "Do this.", {"one", "other"}},
     {"room", health::problem, "found", "Do that.", {}}},
    false};

TEST(doctor_text, has_a_line_for_each_check_and_what_to_do_below_it) {
    EXPECT_EQ(doctor_text(three_findings), "  ok       tool       found \xC3\xA4\n"
                                           "  WARNING  libraries  found\n"
                                           "                        one\n"
                                           "                        other\n"
                                           "                      > Do this.\n"
                                           "  PROBLEM  room       found\n"
                                           "                      > Do that.\n"
                                           "1 problem, 1 warning.\n");
}

TEST(doctor_json, is_one_object_in_ascii) {
    const std::string text = doctor_json(three_findings);
    EXPECT_TRUE(text.starts_with("{\"v\":1,\"version\":\"")) << text;
    EXPECT_EQ(text.substr(text.find(",\"level\"")),
              ",\"level\":\"problem\",\"checks\":["
              "{\"check\":\"tool\",\"level\":\"ok\",\"found\":\"found \\u00e4\"},"
              "{\"check\":\"libraries\",\"level\":\"warning\",\"found\":\"found\","
              "\"details\":[\"one\",\"other\"],\"advice\":\"Do this.\"},"
              "{\"check\":\"room\",\"level\":\"problem\",\"found\":\"found\","
              "\"advice\":\"Do that.\"}]}\n");
}

TEST(doctor_levels, of_several_findings_are_the_worst) {
    EXPECT_EQ(worst({}), health::ok);
    EXPECT_EQ(worst({{"a", health::warning, "", "", {}}, {"b", health::ok, "", "", {}}}),
              health::warning);
    EXPECT_EQ(worst(three_findings.findings), health::problem);
}

TEST(scratch_name, is_the_tools_word_and_six_hexadecimal_digits) {
    EXPECT_TRUE(is_scratch_name("vandrel.0a1b2c"));
    for (const char* const other :
         {"vandrel.0a1b2", "vandrel.0a1b2c3", "vandrel.config", "vandrel.0A1B2C", "Vandrel.0a1b2c",
          "vandrel-0a1b2c", "vandrel.0a1b2c.bak", "vandrel."}) {
        EXPECT_FALSE(is_scratch_name(other)) << other;
    }
}

} // namespace
} // namespace vandrel::station
