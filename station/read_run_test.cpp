#include "station/read_run.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string ecid = "000000000000000A";

class a_folder_of_a_run : public ::testing::Test {
protected:
    void write(const std::string& name, const std::string& content) {
        std::filesystem::create_directories((folder / name).parent_path());
        std::ofstream(folder / name, std::ios::binary) << content;
    }
    std::string complaint() {
        try {
            read_run(folder);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }
    void write_summary(const std::string& state, const std::string& of = ecid) {
        write("summary.json", R"({"v":1,"devices":[{"ecid":")" + of + R"(","state":")" + state +
                                  R"(","reason":"device_error","tries":2}]})");
    }

    const vandrel::testing::temporary_folder parent;
    const std::filesystem::path folder = std::filesystem::path(parent.path().string()) / "run";
};

TEST_F(a_folder_of_a_run, is_read_also_without_events) {
    write_summary("failed");
    const run_record record = read_run(folder);
    ASSERT_THAT(record.visits, SizeIs(1));
    EXPECT_EQ(record.visits.at(0).state, "failed");
}

TEST_F(a_folder_of_a_run, must_have_the_summary_of_one) {
    EXPECT_TRUE(complaint().ends_with("is no folder of a run: there is no summary.json in it"))
        << complaint();
    for (const char* other : {"", "[]", "{}", R"({"v":2,"devices":[]})", R"({"v":1,"devices":7})",
                              R"({"v":1,"devices":[]} x)", "\xFF"}) {
        write("summary.json", other);
        EXPECT_TRUE(
            complaint().ends_with("is no folder of a run: its summary.json is not that of a run"))
            << other << ": " << complaint();
    }
    write("summary.json", R"({"v":1,"devices":[]})");
    EXPECT_EQ(complaint(), "none");
}

TEST_F(a_folder_of_a_run, has_no_summary_of_more_than_64_mib) {
    write("summary.json", R"({"v":1,"devices":[]})" + std::string(std::size_t{64} << 20U, ' '));
    EXPECT_TRUE(
        complaint().ends_with("is no folder of a run: its summary.json is not that of a run"))
        << complaint();
}

TEST_F(a_folder_of_a_run, gives_the_logs_of_the_first_hundred_failures) {
    std::string devices;
    for (int i = 100; i < 201; ++i) {
        const std::string number = "0000000000000" + std::to_string(i);
        devices += (devices.empty() ? "" : ",") + (R"({"ecid":")" + number) +
                   R"(","state":"failed","tries":1})";
        write(number + "-visit1-try1/diagnostics.txt", "one\n");
    }
    write("summary.json", R"({"v":1,"devices":[)" + devices + "]}");
    const auto visits = read_run(folder).visits;
    ASSERT_THAT(visits, SizeIs(101));
    EXPECT_THAT(visits.at(99).logs, SizeIs(1));
    EXPECT_THAT(visits.at(100).logs, IsEmpty());
}

TEST_F(a_folder_of_a_run, gives_the_logs_of_the_last_try_of_a_failed_device) {
    write_summary("failed");
    write(ecid + "-visit1-try1/diagnostics.txt", "the first try\n");
    write(ecid + "-visit1-try2/diagnostics.txt", "one\r\ntwo");
    write(ecid + "-visit1-try2/restore.log", "three\n");
    const auto logs = read_run(folder).visits.at(0).logs;
    ASSERT_THAT(logs, SizeIs(2));
    EXPECT_EQ(logs.at(0).name, ecid + "-visit1-try2/diagnostics.txt");
    EXPECT_THAT(logs.at(0).lines, ElementsAre("one", "two"));
    EXPECT_EQ(logs.at(1).name, ecid + "-visit1-try2/restore.log");
    EXPECT_THAT(logs.at(1).lines, ElementsAre("three"));
}

TEST_F(a_folder_of_a_run, gives_no_logs_of_a_restored_device) {
    write_summary("restored");
    write(ecid + "-visit1-try2/diagnostics.txt", "one\n");
    EXPECT_THAT(read_run(folder).visits.at(0).logs, IsEmpty());
}

TEST_F(a_folder_of_a_run, gives_no_logs_of_other_folders) {
    const std::string other = "../000000000000A";
    ASSERT_EQ(other.size(), 16U);
    write_summary("failed", other);
    write(other + "-visit1-try2/diagnostics.txt", "one\n");
    EXPECT_THAT(read_run(folder).visits.at(0).logs, IsEmpty());
}

TEST_F(a_folder_of_a_run, has_the_last_lines_of_a_log) {
    std::string content;
    for (int i = 0; i < 100; ++i) {
        content += "line " + std::to_string(i) + "\n";
    }
    write("log", content);
    EXPECT_THAT(last_lines(folder / "log", 3), ElementsAre("line 97", "line 98", "line 99"));
    write("log", "one\ntwo");
    EXPECT_THAT(last_lines(folder / "log", 3), ElementsAre("one", "two"));
    write("log", "");
    EXPECT_THAT(last_lines(folder / "log", 3), IsEmpty());
    EXPECT_THAT(last_lines(folder / "none", 3), IsEmpty());
    EXPECT_THAT(last_lines(folder, 3), IsEmpty());
}

TEST_F(a_folder_of_a_run, has_no_more_of_a_log_than_16_kib) {
    std::string content;
    for (int i = 0; i < 20; ++i) {
        content += std::to_string(i) + std::string(1000, 'x') + "\n";
    }
    write("log", content);
    const auto lines = last_lines(folder / "log", 40);
    EXPECT_THAT(lines, SizeIs(16));
    EXPECT_THAT(lines.front(), StartsWith("4xxx"));
}

} // namespace
} // namespace vandrel::station
