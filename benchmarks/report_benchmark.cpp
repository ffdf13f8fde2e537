/// Writes the records of a restore to a pipe: from the callback through the tool; the same records
/// with another library; and only their bytes.

#include "benchmarks/drained_pipe.h"
#include "benchmarks/reports.h"
#include "benchmarks/stopwatch.h"

#include <benchmark/benchmark.h>
#include <boost/asio/io_context.hpp>

#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <plist/plist.h>

namespace {

using namespace vandrel;
using namespace vandrel::benchmarks;

constexpr std::size_t sent = 100'000;

/// Times `send`, which gets the write end of the pipe and closes it.
template<class Send>
void time_sending(benchmark::State& state, std::size_t size_of_all, Send send) {
    for (auto _ : state) {
        drained_pipe pipe;
        state.SetIterationTime(send(pipe.write_end()));
        if (pipe.finish() != size_of_all) {
            state.SkipWithError("not all bytes came");
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(sent));
}

/// Sends all reports, repeatedly, and closes `descriptor`. Returns the seconds from the first
/// callback to the last byte.
double send_reports(const std::vector<cf_handle<CFDictionaryRef>>& reports, std::size_t count,
                    int descriptor) {
    boost::asio::io_context context;
    start_options options;
    options.output_pipe = descriptor;
    const auto channel = make_output_state(context, options);
    const auto session = make_session(channel);
    std::thread writer([&channel] { channel->writer_loop(); });
    const stopwatch watch;
    for (std::size_t i = 0; i < count; ++i) {
        device_notifier_state::restoreCallback(nullptr, reports[i % reports.size()].get(),
                                               session.get());
    }
    channel->shutdown();
    writer.join();
    return watch.seconds();
}

/// The record of each report.
std::vector<std::string> make_records() {
    std::vector<std::string> records;
    for (std::int64_t progress = 0; progress < report_count; ++progress) {
        records.push_back("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                          "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                          "<plist version=\"1.0\">\n<dict>\n"
                          "\t<key>Type</key>\n\t<string>RestoreStatus</string>\n"
                          "\t<key>Value</key>\n\t<dict>\n"
                          "\t\t<key>Operation</key>\n\t\t<integer>" +
                          std::to_string(report_operation) +
                          "</integer>\n"
                          "\t\t<key>Orv_OperationName</key>\n\t\t<string>" +
                          report_operation_name +
                          "</string>\n"
                          "\t\t<key>Progress</key>\n\t\t<integer>" +
                          std::to_string(progress) +
                          "</integer>\n"
                          "\t\t<key>Status</key>\n\t\t<string>" +
                          report_status + "</string>\n\t</dict>\n</dict>\n</plist>\n");
    }
    return records;
}

std::size_t size_of(const std::vector<std::string>& records) {
    return std::transform_reduce(records.begin(), records.end(), std::size_t{0}, std::plus<>(),
                                 [](const std::string& record) { return record.size(); }) *
           (sent / records.size());
}

void reports(benchmark::State& state) {
    const auto made = make_reports();
    time_sending(state, size_of(make_records()),
                 [&](int descriptor) { return send_reports(made, sent, descriptor); });
}

void bytes_alone(benchmark::State& state) {
    const auto records = make_records();
    time_sending(state, size_of(records), [&](int descriptor) {
        const stopwatch watch;
        for (std::size_t i = 0; i < sent; ++i) {
            write_all(descriptor, records[i % records.size()]);
        }
        const double seconds = watch.seconds();
        close(descriptor);
        return seconds;
    });
}

/// Makes the record of a report with libplist, and has it used.
template<class Use>
void with_libplist_record(std::int64_t progress, Use use) {
    plist_t value = plist_new_dict();
    plist_dict_set_item(value, "Operation", plist_new_uint(report_operation));
    plist_dict_set_item(value, "Orv_OperationName", plist_new_string(report_operation_name));
    plist_dict_set_item(value, "Progress", plist_new_uint(static_cast<std::uint64_t>(progress)));
    plist_dict_set_item(value, "Status", plist_new_string(report_status));
    plist_t record = plist_new_dict();
    plist_dict_set_item(record, "Type", plist_new_string("RestoreStatus"));
    plist_dict_set_item(record, "Value", value);
    char* xml = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(record, &xml, &size);
    use(std::string_view(xml, size));
    plist_to_xml_free(xml);
    plist_free(record);
}

void libplist(benchmark::State& state) {
    std::size_t size_of_round = 0;
    for (std::int64_t progress = 0; progress < report_count; ++progress) {
        with_libplist_record(progress,
                             [&](std::string_view record) { size_of_round += record.size(); });
    }
    time_sending(state, size_of_round * (sent / report_count), [](int descriptor) {
        const stopwatch watch;
        for (std::size_t i = 0; i < sent; ++i) {
            with_libplist_record(static_cast<std::int64_t>(i % report_count),
                                 [&](std::string_view record) { write_all(descriptor, record); });
        }
        const double seconds = watch.seconds();
        close(descriptor);
        return seconds;
    });
}

BENCHMARK(reports)->UseManualTime()->Iterations(1);
BENCHMARK(bytes_alone)->UseManualTime()->Iterations(1);
BENCHMARK(libplist)->UseManualTime()->Iterations(1);

} // namespace

BENCHMARK_MAIN();
