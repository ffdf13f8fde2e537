/// Several processes that share the devices of one bench.

#include "tests/file_content.h"
#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr auto some_ecid = "00000000000000AB";
constexpr auto other_ecid = "00000000000000CD";

dictionary report(int operation, int progress, double after = 0,
                  const std::string& status = "Restoring") {
    return {{"After", after},
            {"Report",
             dictionary{{"Status", status}, {"Operation", operation}, {"Progress", progress}}}};
}

dictionary restored_by(const array& reports, const dictionary& more = {}) {
    dictionary restore{{"Reports", reports}};
    restore.insert(more.begin(), more.end());
    return restore;
}

/// A restore that never ends.
const dictionary endless = restored_by({report(13, 1)});
const dictionary quick = restored_by({report(0, 100)});

plist_value device_list(const array& ecids) {
    return dictionary{{"Type", "DeviceList"}, {"Value", ecids}};
}

/// Two devices, of which the first is restored by `restore`.
dictionary two_devices(const dictionary& restore, const dictionary& more = {}) {
    dictionary device{{"Restore", restore}, {"State", "DFU"}};
    device.insert(more.begin(), more.end());
    return {{"Devices", array{recovery_device(some_ecid, device), recovery_device(other_ecid)}}};
}

class bench : public ::testing::Test {
protected:
    tool_call call(std::vector<std::string> arguments) const {
        return tool_call(std::move(arguments)).scenario(scenario).bench(path());
    }
    /// Enough time for the events of a busy machine.
    tool_run list() const { return call({"--list-devices", "--detect-timeout", "3"}).run(); }
    tool_call restore() const { return call({"--restore", "x.ipsw", "--ecid", some_ecid}); }
    /// A tool in the middle of a restore.
    running_tool begun_restore() const {
        running_tool tool = call({"--restore", "x.ipsw", "--ecid", some_ecid, "--debug"}).start();
        tool.wait_for_error_text("operation Restoring image");
        return tool;
    }

    // A path that is not ASCII.
    std::string path() const { return (folder.path() / "b\xC3\xA9nch").string(); }

    temporary_folder folder;
    dictionary scenario = two_devices(quick);
};

TEST_F(bench, a_restored_device_has_booted_and_is_away_for_all) {
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
    EXPECT_EQ(restore().run().status, 0);
    EXPECT_THAT(list().records, ElementsAre(device_list({other_ecid})));
    EXPECT_EQ(call({"--device-info", "--ecid", some_ecid, "--detect-timeout", "1"}).run().status,
              4);
}

TEST_F(bench, a_device_that_returns_is_back_in_recovery_mode) {
    scenario = two_devices(restored_by({report(0, 100)}, {{"ReturnsAfter", 0.1}}));
    EXPECT_EQ(restore().run().status, 0);
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
    EXPECT_EQ(call({"--exit-recovery", "--ecid", some_ecid}).run().status, 0);
    // As it was described it would be in DFU mode.
    const temporary_folder elsewhere;
    EXPECT_EQ(call({"--exit-recovery", "--ecid", some_ecid})
                  .bench(elsewhere.path().string())
                  .run()
                  .status,
              5);
}

TEST_F(bench, a_device_that_returns_after_long_is_away_until_then) {
    scenario = two_devices(restored_by({report(0, 100)}, {{"ReturnsAfter", 3600}}));
    EXPECT_EQ(restore().run().status, 0);
    EXPECT_THAT(list().records, ElementsAre(device_list({other_ecid})));
    // An hour has passed in less than a second.
    EXPECT_THAT(call({"--list-devices", "--detect-timeout", "3"}).speed(36'000).run().records,
                ElementsAre(device_list({other_ecid})));
}

TEST_F(bench, the_speed_applies_to_the_time_until_a_device_returns) {
    scenario = two_devices(restored_by({report(0, 100)}, {{"ReturnsAfter", 3600}}));
    EXPECT_EQ(restore().speed(36'000).run().status, 0);
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
}

TEST_F(bench, a_restore_that_fails_leaves_its_device_where_it_is) {
    scenario = two_devices(restored_by({report(0, 100, 0, "Failed")}));
    EXPECT_EQ(restore().run().status, 0);
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
}

TEST_F(bench, events_count_from_the_bench_s_start) {
    const auto arrival = dictionary{{"At", 3600}, {"Device", some_ecid}, {"Type", "connected"}};
    scenario["Events"] = array{arrival};
    EXPECT_THAT(list().records, ElementsAre(device_list({})));
    // The hour of the scenario has passed since the first run began, not since this one did.
    EXPECT_THAT(call({"--list-devices", "--detect-timeout", "0"}).speed(36'000).run().status, 0);
    EXPECT_THAT(call({"--device-info", "--ecid", some_ecid}).speed(36'000).run().status, 0);
}

TEST_F(bench, a_device_is_away_from_the_others_as_the_scenario_says) {
    scenario = two_devices(
        restored_by({report(13, 1)}, {{"Away", array{dictionary{{"From", 0}, {"Until", 3600}}}}}));
    running_tool tool = begun_restore();
    EXPECT_THAT(list().records, ElementsAre(device_list({other_ecid})));
}

TEST_F(bench, a_device_that_is_not_said_to_be_away_stays_in_the_list) {
    scenario = two_devices(restored_by(
        {report(13, 1)}, {{"Away", array{dictionary{{"From", 3600}, {"Until", 7200}}}}}));
    running_tool tool = begun_restore();
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
}

TEST_F(bench, a_killed_process_releases_its_device) {
    scenario = two_devices(
        restored_by({report(13, 1)}, {{"Away", array{dictionary{{"From", 0}, {"Until", 1e9}}}}}));
    {
        running_tool killed = begun_restore();
        EXPECT_THAT(list().records, ElementsAre(device_list({other_ecid})));
    }
    EXPECT_THAT(list().records, ElementsAre(device_list({some_ecid, other_ecid})));
}

TEST_F(bench, a_second_process_cannot_restore_a_device) {
    scenario = two_devices(endless);
    running_tool first = begun_restore();
    const tool_run second =
        call({"--restore", "x.ipsw", "--ecid", some_ecid, "--restore-timeout", "1"}).run();
    EXPECT_EQ(second.status, 0);
    EXPECT_THAT(second.records,
                ElementsAre(tool_error_record(7, "Restore did not complete before timeout expired",
                                              "Aborting, restore did not complete in 1 seconds")));
}

TEST_F(bench, each_restore_of_a_device_has_its_own_plan) {
    scenario =
        two_devices(restored_by({report(0, 100, 0, "Failed")}), {{"LaterRestores", array{quick}}});
    EXPECT_EQ(restore().run().records.at(0).at("Value").at("Status"), plist_value("Failed"));
    EXPECT_EQ(restore().run().records.at(0).at("Value").at("Status"), plist_value("Restoring"));
    EXPECT_THAT(list().records, ElementsAre(device_list({other_ecid})));
}

TEST_F(bench, a_device_that_another_process_has_restored_leaves_while_a_tool_looks_at_it) {
    running_tool watching =
        call({"--device-info", "--ecid", "00000000000000EF", "--detect-timeout", "3600", "--debug"})
            .start();
    watching.wait_for_error_text("Adding '00000000000000AB'");
    EXPECT_EQ(restore().run().status, 0);
    watching.wait_for_error_text("Removing '00000000000000AB'");
}

TEST_F(bench, many_processes_restore_as_many_devices_at_once) {
    array devices;
    std::vector<std::string> ecids;
    for (int i = 10; i < 22; ++i) {
        ecids.push_back("00000000000000" + std::to_string(i));
        devices.emplace_back(recovery_device(
            ecids.back(), {{"Restore", restored_by({report(13, 1), report(0, 100, 0.1)})}}));
    }
    scenario = {{"Devices", devices}};
    std::vector<running_tool> tools;
    for (const std::string& ecid : ecids) {
        tools.push_back(call({"--restore", "x.ipsw", "--ecid", ecid}).start());
    }
    for (running_tool& tool : tools) {
        const tool_run run = tool.wait();
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.records.size(), 2U);
    }
    EXPECT_THAT(list().records, ElementsAre(device_list({})));
}

TEST_F(bench, its_processes_share_a_journal) {
    program_call raw;
    raw.program =
        (boost::filesystem::path(program_folder()) / program_file_name("vandrel-sim")).string();
    // Without devices, each process makes the same four calls: none comes before the end.
    const auto no_devices = folder.path() / "scenario";
    write_file(no_devices, to_xml(dictionary{{"Devices", array{}}}));
    const auto journal = folder.path() / "journal";
    raw.arguments = {"--scenario",
                     no_devices.string(),
                     "--journal",
                     journal.string(),
                     "--bench",
                     path(),
                     "--",
                     "--list-devices",
                     "--detect-timeout",
                     "0"};
    EXPECT_EQ(run_program(raw).status, 0);
    EXPECT_EQ(run_program(raw).status, 0);
    EXPECT_EQ(split_documents(read_file(journal), "").size(), 8U);
}

TEST_F(bench, a_folder_that_cannot_be_used_ends_the_program_before_the_tool_starts) {
    const auto file = folder.path() / "file";
    write_file(file, "");
    program_call raw;
    raw.program =
        (boost::filesystem::path(program_folder()) / program_file_name("vandrel-sim")).string();
    raw.arguments = {"--bench", file.string(), "--", "--list-devices"};
    const program_result result = run_program(raw);
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(result.standard_error,
                HasSubstr("vandrel-sim: " + file.string() + ": folder: is unusable ("));
    EXPECT_THAT(result.standard_error, HasSubstr("); should be a folder that can be written"));
}

} // namespace
