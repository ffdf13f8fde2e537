#include "station/run_reader.h"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

#include <sstream>
#include <string>

namespace vandrel::station {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

run_record read(const std::string& lines, const std::string& summary = "{}") {
    run_reader reader;
    std::istringstream stream(lines);
    reader.take_lines(stream);
    reader.take_summary(boost::json::parse(summary).as_object());
    return reader.finish();
}

/// An event of the device 1, at this time.
std::string line(const std::string& t, const std::string& event, const std::string& keys = "",
                 const std::string& ecid = "0000000000000001") {
    return R"({"v":1,"t":)" + t + R"(,"time":"2026-11-22T08:05:04.000Z","event":")" + event +
           R"(","ecid":")" + ecid + '"' + (keys.empty() ? "" : "," + keys) + "}\n";
}

const std::string a_failed_try =
    line("0.5", "device_found", R"("serial_number":"S1","model":"iPhone14,2","slot":"A1")") +
    line("1", "try_started", R"("try":1,"bundle_version":"17.1","bundle_build":"21B80")") +
    line("2", "operation", R"("operation":201,"operation_name":"Unzipping IPSW","progress":0)") +
    line("4.5", "operation", R"("operation":13,"operation_name":"Restoring","progress":0)") +
    line("6", "progress", R"("operation":13,"operation_name":"Restoring","progress":42)") +
    line("7", "failure_reported", R"("operation":13,"progress":42)") +
    line("9", "try_ended",
         R"("state":"failed","reason":"device_error","duration_s":8,"operation":13,)"
         R"("operation_name":"Restoring","progress":42,"will_retry":false)");
const std::string its_end =
    line("9", "device_ended",
         R"("state":"failed","reason":"device_error","duration_s":8,"tries":1,"operation":13,)"
         R"("operation_name":"Restoring","progress":42,"message":"FAILED: error 4005: so")");

TEST(run_reader, has_a_piece_for_each_operation) {
    const run_record record = read(a_failed_try + its_end);
    ASSERT_THAT(record.visits, SizeIs(1));
    EXPECT_THAT(record.operation_names, ElementsAre("Unzipping IPSW", "Restoring"));
    EXPECT_THAT(record.visits.at(0).operations,
                ElementsAre(recorded_operation{0, seconds(2), milliseconds(4500), false},
                            recorded_operation{1, milliseconds(4500), seconds(9), true}));
    EXPECT_THAT(record.visits.at(0).ends, ElementsAre(recorded_end_of_try{seconds(9), false}));
    EXPECT_EQ(record.last, seconds(9));
}

TEST(run_reader, has_what_became_of_a_device) {
    const recorded_visit its = read(a_failed_try + its_end).visits.at(0);
    EXPECT_EQ(its.ecid, "0000000000000001");
    EXPECT_EQ(its.serial_number, "S1");
    EXPECT_EQ(its.slot, "A1");
    EXPECT_EQ(its.model, "iPhone14,2");
    EXPECT_EQ(its.bundle_build, "21B80");
    EXPECT_EQ(its.state, "failed");
    EXPECT_EQ(its.reason, "device_error");
    EXPECT_EQ(its.sentence, "error 4005: so");
    EXPECT_EQ(its.operation_name, "Restoring");
    EXPECT_EQ(its.progress, 42);
    EXPECT_EQ(its.duration, seconds(8));
    EXPECT_EQ(its.tries, 1);
    EXPECT_TRUE(is_failure(its));
}

TEST(run_reader, has_what_a_running_device_does) {
    const recorded_visit its = read(a_failed_try.substr(0, a_failed_try.find(R"({"v":1,"t":7)")) +
                                    line("8.25", "device_away"))
                                   .visits.at(0);
    EXPECT_EQ(its.state, "running");
    EXPECT_EQ(its.duration, milliseconds(7250));
    EXPECT_EQ(its.operations.back(),
              (recorded_operation{1, milliseconds(4500), milliseconds(8250), false}));
    EXPECT_THAT(its.ends, IsEmpty());
    EXPECT_FALSE(is_failure(its));
}

TEST(run_reader, has_the_state_of_each_device_that_has_not_ended) {
    const auto state = [](const std::string& lines) { return read(lines).visits.at(0).state; };
    const std::string found = line("1", "device_found");
    EXPECT_EQ(state(found), "waiting");
    const std::string started = found + line("2", "try_started", R"("try":1)");
    EXPECT_EQ(state(started), "running");
    EXPECT_EQ(state(started + line("3", "quiet")), "quiet");
    EXPECT_EQ(state(started + line("3", "quiet") + line("4", "quiet_over")), "running");
    EXPECT_EQ(state(started + line("3", "failure_reported")), "failing");
    EXPECT_EQ(state(started + line("3", "failure_reported") + line("4", "quiet")), "failing");
    EXPECT_EQ(state(started + line("3", "failure_reported") + line("4", "quiet_over")), "failing");
    EXPECT_EQ(state(started + line("3", "try_ended", R"("state":"failed")")), "waiting");
}

TEST(run_reader, has_the_duration_of_a_device_whose_try_has_no_end) {
    const recorded_visit its =
        read(line("1", "try_started", R"("try":1)") +
             line("5", "device_ended", R"("state":"failed","duration_s":3,"tries":1)") +
             line("9", "device_found", "", "0000000000000002"))
            .visits.at(0);
    EXPECT_EQ(its.duration, seconds(3));
}

TEST(run_reader, counts_the_visits_of_a_device) {
    const run_record record =
        read(a_failed_try + its_end + line("20", "device_found") +
             line("21", "try_started", R"("try":1)") +
             line("30", "try_ended", R"("state":"restored","duration_s":9)") +
             line("30", "device_ended", R"("state":"restored","reason":"completed","tries":1)"));
    ASSERT_THAT(record.visits, SizeIs(2));
    EXPECT_EQ(record.visits.at(0).state, "failed");
    EXPECT_EQ(record.visits.at(1).state, "restored");
    EXPECT_EQ(record.visits.at(1).visit, 2);
    EXPECT_THAT(record.visits.at(1).ends, ElementsAre(recorded_end_of_try{seconds(30), true}));
}

TEST(run_reader, forgets_that_a_device_was_left_alone_when_it_is_begun) {
    const std::string left =
        line("1", "device_found") +
        line("1", "device_left_alone",
             R"("reason":"held","message":"LEFT: another station works on it")");
    EXPECT_EQ(read(left).visits.at(0).state, "left_alone");
    EXPECT_EQ(read(left).visits.at(0).sentence, "another station works on it");
    const std::string begun = left + line("2", "try_started", R"("try":1)");
    // The summary is as old as the last end of a device.
    const std::string older = R"({"devices":[{"ecid":"0000000000000001","state":"left_alone"}]})";
    EXPECT_EQ(read(begun, older).visits.at(0).state, "running");
    EXPECT_THAT(read(begun, older).visits, SizeIs(1));
}

TEST(run_reader, takes_what_the_log_lacks_from_the_summary) {
    const std::string summary =
        R"({"state":"ended","run":"R","version":"1.2.3","command":"restore","erase":true,)"
        R"("bundle":"a.ipsw","bundle_version":"17.1","bundle_build":"21B80","started":"S",)"
        R"("ended":"E","exit_status":1,"tags":{"job":"7"},"counts":{"chosen":2,"restored":1,)"
        R"("failed":1,"timed_out":0,"stalled":0,"cancelled":0,"missing":0,"left_alone":0},)"
        R"("devices":[{"ecid":"0000000000000001","state":"failed","reason":"device_error",)"
        R"("tries":2,"duration_s":8.5,"serial_number":"S1"},)"
        R"({"ecid":"0000000000000002","state":"restored","reason":"completed","tries":1},)"
        R"({"serial_number":"S3","state":"missing","reason":"never_seen","tries":0}]})";
    const run_record record = read(line("1", "device_found"), summary);
    EXPECT_EQ(record.run, "R");
    EXPECT_EQ(record.version, "1.2.3");
    EXPECT_EQ(record.command, "restore");
    EXPECT_TRUE(record.erases);
    EXPECT_EQ(record.bundle_build, "21B80");
    EXPECT_EQ(record.ended, "E");
    EXPECT_EQ(record.exit_status, 1);
    EXPECT_THAT(record.tags, ElementsAre(std::pair("job", "7")));
    EXPECT_EQ(record.totals, (counts{2, 1, 1, 0, 0, 0, 0, 0}));
    ASSERT_THAT(record.visits, SizeIs(3));
    EXPECT_EQ(record.visits.at(0).state, "failed");
    EXPECT_EQ(record.visits.at(0).duration, milliseconds(8500));
    EXPECT_EQ(record.visits.at(0).tries, 2);
    EXPECT_EQ(record.visits.at(1).ecid, "0000000000000002");
    EXPECT_EQ(record.visits.at(2).serial_number, "S3");
    EXPECT_EQ(record.visits.at(2).state, "missing");
}

TEST(run_reader, has_an_end_with_the_event_of_it) {
    const run_record record =
        read(R"({"t":5,"time":"T","event":"run_ended","exit_status":3,"counts":{"missing":1}})"
             "\n",
             R"({"state":"running"})");
    EXPECT_EQ(record.ended, "T");
    EXPECT_EQ(record.exit_status, 3);
    EXPECT_EQ(record.totals, (counts{0, 0, 0, 0, 0, 0, 1, 0}));
}

TEST(run_reader, leaves_out_a_last_line_that_is_cut) {
    const run_record whole = read(line("1", "device_found"));
    EXPECT_FALSE(whole.is_last_line_cut);
    const std::string second = line("2", "device_found", "", "0000000000000002");
    for (std::size_t size = 1; size < second.size(); ++size) {
        const run_record cut = read(line("1", "device_found") + second.substr(0, size));
        EXPECT_TRUE(cut.is_last_line_cut);
        EXPECT_EQ(cut.unreadable_lines, 0U);
        EXPECT_THAT(cut.visits, SizeIs(1));
    }
}

TEST(run_reader, leaves_out_lines_that_are_no_events) {
    const run_record record =
        read("{\n[]\n{\"t\":1}\n{\"event\":7}\n\n\xFF\n" + line("1", "device_found") +
             std::string(2'000'000, 'x') + "\n" + line("2", "try_started"));
    // It would be an event without what is too much.
    const std::string event = line("3", "quiet");
    const std::string long_one = event.substr(0, event.size() - 1) + std::string(2'000'000, ' ');
    EXPECT_EQ(read(long_one + "\n").unreadable_lines, 1U);
    EXPECT_EQ(record.unreadable_lines, 7U);
    ASSERT_THAT(record.visits, SizeIs(1));
    EXPECT_EQ(record.visits.at(0).state, "running");
}

TEST(run_reader, survives_keys_of_any_type) {
    for (const char* value : {"7", "-1", "1e300", "\"x\"", "null", "[]", "{}", "true"}) {
        std::string keys;
        for (const char* key : {"t", "try", "state", "reason", "operation", "operation_name",
                                "progress", "duration_s", "tries", "message", "slot", "level"}) {
            keys += (keys.empty() ? "\"" : ",\"") + std::string(key) + "\":" + value;
        }
        std::string lines;
        for (const char* name : {"device_found", "try_started", "operation", "progress", "quiet",
                                 "try_ended", "device_ended", "run_ended", "unheard_of"}) {
            lines += R"({"event":")" + std::string(name) + R"(","ecid":"1",)" + keys + "}\n";
            lines += R"({"event":")" + std::string(name) + R"(",)" + keys + "}\n";
        }
        const run_record record = read(lines, R"({"devices":[1,{"ecid":"1",)" + keys +
                                                  R"(}],"tags":{"x":)" + value + "}}");
        EXPECT_EQ(record.unreadable_lines, 0U);
        EXPECT_THAT(record.visits, SizeIs(1));
    }
}

TEST(run_reader, has_the_remarks_about_the_run) {
    std::string lines;
    for (int i = 0; i < 25; ++i) {
        lines += R"({"t":1,"time":"T","event":"list_failed","level":"warning","message":"M)" +
                 std::to_string(i) + "\"}\n";
    }
    const run_record record =
        read(R"({"t":1,"event":"run_started","level":"info","message":"run: restore"})"
             "\n" +
             lines);
    ASSERT_THAT(record.remarks, SizeIs(20));
    EXPECT_EQ(record.remarks.front(), (recorded_remark{"T", "M0"}));
    EXPECT_EQ(record.lost_remarks, 5U);
}

TEST(run_reader, shortens_long_texts_between_two_characters) {
    std::string text = std::string(999, 'x') + "\xC3\xA9 and more";
    const run_record record = read(line("1", "device_found", R"("serial_number":")" + text + '"'));
    EXPECT_EQ(record.visits.at(0).serial_number, std::string(999, 'x') + "...");
}

} // namespace
} // namespace vandrel::station
