#include "station/report_page.h"

#include <gmock/gmock.h>

#include <string>

namespace vandrel::station {
namespace {

using std::chrono::seconds;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::string page_of(const run_record& record) {
    return report_page(record, {"2026-11-22T10:00:00.000Z", "C:\\runs\\night", "1.2.3"});
}

recorded_visit a_failed_visit() {
    recorded_visit result;
    result.ecid = "000000000000000A";
    result.serial_number = "S1";
    result.slot = "A1";
    result.model = "iPhone14,2";
    result.state = "timed_out";
    result.reason = "time_limit";
    result.sentence = "the time limit has passed";
    result.operation = 13;
    result.operation_name = "Restoring image";
    result.progress = 42;
    result.duration = seconds(3723);
    result.tries = 2;
    result.has_ended = true;
    return result;
}

run_record a_run() {
    run_record record;
    record.run = "night";
    record.version = "1.2.3";
    record.command = "restore";
    record.erases = true;
    record.started = "2026-11-22T08:05:04.123Z";
    record.ended = "2026-11-22T09:05:04.123Z";
    record.totals = counts{1, 0, 0, 1, 0, 0, 0, 0};
    record.last = seconds(3600);
    record.visits = {a_failed_visit()};
    return record;
}

TEST(report_page, has_a_row_for_each_device) {
    EXPECT_THAT(page_of(a_run()),
                HasSubstr("<tr class=\"bad\"><td>A1</td><td>000000000000000A</td><td>S1</td>"
                          "<td>iPhone14,2</td><td>timed out</td><td>Restoring image at 42 %</td>"
                          "<td>01:02:03</td><td>2</td></tr>"));
}

TEST(report_page, has_the_run_and_its_counts) {
    const std::string page = page_of(a_run());
    EXPECT_THAT(page, AllOf(HasSubstr("<h1>Restore and erase</h1>"),
                            HasSubstr("<dt>Started</dt><dd>2026-11-22 08:05:04 UTC</dd>"),
                            HasSubstr("<li class=\"bad\"><b>1</b> timed out</li>"),
                            HasSubstr("<li class=\"none\"><b>0</b> restored</li>")));
    EXPECT_THAT(page, Not(HasSubstr("under way")));
    EXPECT_THAT(page, Not(HasSubstr("class=\"notice\"")));
}

TEST(report_page, has_each_failure_with_what_to_do_and_its_logs) {
    run_record record = a_run();
    record.visits.at(0).logs = {{"x-try2/restore.log", {"one\ttwo", "<three>"}}};
    EXPECT_THAT(page_of(record),
                HasSubstr("<h2>Not restored</h2>\n<article>\n<h3>A1 000000000000000A S1</h3>\n"
                          "<p>the time limit has passed</p>\n<p class=\"advice\">Put it into "
                          "Recovery mode or DFU, and restore it again with another cable.</p>\n"
                          "<h4>The end of x-try2/restore.log</h4>\n"
                          "<pre>one two\n&lt;three&gt;\n</pre>\n</article>"));
}

TEST(report_page, says_the_reason_of_a_device_without_a_sentence) {
    run_record record = a_run();
    record.visits.at(0).sentence.clear();
    EXPECT_THAT(page_of(record), HasSubstr("<p>time limit</p>"));
}

TEST(report_page, leaves_out_what_a_cut_off_run_does_not_know) {
    run_record record = a_run();
    record.visits.at(0).duration.reset();
    record.exit_status.reset();
    EXPECT_THAT(page_of(record),
                HasSubstr("<td>Restoring image at 42 %</td><td></td><td>2</td></tr>"));
    EXPECT_THAT(page_of(record), Not(HasSubstr("Exit status")));
    record.exit_status = 1;
    EXPECT_THAT(page_of(record), HasSubstr("<dt>Exit status</dt><dd>1</dd>"));
}

TEST(report_page, says_that_a_run_is_under_way_and_counts_its_devices) {
    run_record record = a_run();
    record.ended.clear();
    record.totals.reset();
    record.visits.emplace_back();
    record.visits.back().state = "running";
    EXPECT_THAT(
        page_of(record),
        AllOf(HasSubstr("<p class=\"notice\">This run was under way when the page was made, "
                        "or was cut off."),
              HasSubstr("<li class=\"open\"><b>1</b> running</li>"),
              HasSubstr("<li class=\"bad\"><b>1</b> timed out</li>")));
}

TEST(report_page, says_what_is_not_on_it) {
    run_record record = a_run();
    record.is_last_line_cut = true;
    record.unreadable_lines = 2;
    record.lost_operations = 3;
    EXPECT_THAT(page_of(record),
                AllOf(HasSubstr("The last line of events.jsonl is cut off and left out."),
                      HasSubstr("The page leaves out 2 lines of events.jsonl that cannot be read."),
                      HasSubstr("3 operations of this run had no room in the picture.")));
}

TEST(report_page, is_ordered_by_slots) {
    run_record record = a_run();
    const std::vector<std::string> places = {"B1", "A2", "", "A1"};
    record.visits.clear();
    for (const std::string& each : places) {
        record.visits.push_back(a_failed_visit());
        record.visits.back().slot = each;
        record.visits.back().location = "0x00000001";
    }
    const std::string page = page_of(record);
    const auto place_in = [&page](const std::string& text) {
        return page.find("<td>" + text + "</td><td>000000000000000A</td>");
    };
    EXPECT_LT(place_in("A1"), place_in("A2"));
    EXPECT_LT(place_in("A2"), place_in("B1"));
    EXPECT_LT(place_in("B1"), place_in("0x00000001"));
    EXPECT_NE(place_in("0x00000001"), std::string::npos);
}

TEST(report_page, has_no_markup_of_others) {
    const std::string hostile = "</pre></style><script src=\"http://x\" onload='y'>&\x1B\xFF";
    run_record record = a_run();
    recorded_visit& its = record.visits.at(0);
    for (std::string* each :
         {&record.run, &record.version, &record.started, &record.ended, &record.bundle,
          &record.bundle_version, &record.bundle_build, &its.ecid, &its.serial_number, &its.slot,
          &its.location, &its.model, &its.product_string, &its.reason, &its.sentence,
          &its.operation_name}) {
        *each = hostile;
    }
    record.tags = {{hostile, hostile}};
    record.remarks = {{hostile, hostile}};
    record.operation_names = {hostile};
    its.operations = {{0, seconds(0), seconds(3600), false}, {0, seconds(0), seconds(36), true}};
    its.logs = {{hostile, {hostile}}};
    record.visits.push_back(its);
    record.visits.back().state = hostile;
    record.visits.back().ecid.clear();
    run_record running = record;
    running.ended.clear();
    running.totals.reset();
    for (const run_record& each : {record, running}) {
        const std::string page = report_page(each, {"2026-11-22T10:00:00.000Z", hostile, hostile});
        for (const char* part :
             {"<script", "</pre></style>", "\"http:", "onload='", "\x1B", "\xFF"}) {
            EXPECT_THAT(page, Not(HasSubstr(part)));
        }
        EXPECT_THAT(page, HasSubstr("&lt;script src=&quot;http://x&quot;"));
    }
}

TEST(report_page, loads_nothing) {
    const std::string page = page_of(a_run());
    EXPECT_THAT(page, HasSubstr("<meta http-equiv=\"Content-Security-Policy\" "
                                "content=\"default-src 'none'; style-src 'unsafe-inline'\">"));
    for (const char* part :
         {"<script", "<link", "<img", "<a ", "url(", "@import", " src=", "http:", "https:"}) {
        EXPECT_THAT(page, Not(HasSubstr(part)));
    }
}

TEST(report_page, of_a_run_without_devices_says_so) {
    run_record record = a_run();
    record.visits.clear();
    EXPECT_THAT(page_of(record), AllOf(HasSubstr("There is no device in this run."),
                                       Not(HasSubstr("<table")), Not(HasSubstr("Not restored"))));
}

TEST(report_page, of_the_other_command_does_not_speak_of_restores) {
    run_record record = a_run();
    record.command = "recover_exit";
    record.totals->restored = 1;
    EXPECT_THAT(page_of(record),
                AllOf(HasSubstr("<h1>Recovery mode</h1>"), HasSubstr("<b>1</b> done</li>"),
                      HasSubstr("Not done"), Not(HasSubstr("Not restored"))));
}

} // namespace
} // namespace vandrel::station
