/// quick_jobs JOB [ARGUMENT]: runs one job whose instructions are counted, on one thread, so that
/// the count is the same in every run.
///
///     dump             what --debug-dump writes
///     reports          5,000 reports of a restore, to their records
///     options FILE     an options file, to the dictionary
///     connect COUNT    1,000 devices that connect and disconnect, with COUNT in the table

#include "benchmarks/devices.h"
#include "benchmarks/reports.h"
#include "debug/MobileDeviceDebug.h"
#include "device/restore_options.h"

#include <boost/asio/io_context.hpp>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include <fcntl.h>

namespace {

using namespace vandrel;
using namespace vandrel::benchmarks;

/// The part that is counted.
[[gnu::noinline]] void counted(const std::function<void()>& job) {
    job();
}

/// Writes the queue: after a shutdown the writer returns when that is done.
void write_queued(output_str_state& channel) {
    channel.shutdown();
    channel.writer_loop();
}

void dump(const std::shared_ptr<output_str_state>& channel) {
    counted([&] {
        channel->set_debug(true);
        print_imp_AMRLocalizedCopyStringForAMROperation(channel);
        print_imp_AMRLocalizedCopyStringForAMRError(channel);
        write_queued(*channel);
    });
}

void report(const std::shared_ptr<output_str_state>& channel) {
    const auto reports = make_reports();
    const auto session = make_session(channel);
    counted([&] {
        for (std::size_t i = 0; i < 5'000; ++i) {
            device_notifier_state::restoreCallback(nullptr, reports[i % reports.size()].get(),
                                                   session.get());
            write_queued(*channel);
        }
    });
}

void connect(const std::shared_ptr<output_str_state>& channel, std::int64_t count) {
    const auto there = make_devices(1, count);
    const auto coming = make_devices(1U << 30, 1'000);
    const auto session = make_session(channel);
    for (const auto& device : there) {
        notify(*session, device, notification_type::connected);
        write_queued(*channel);
    }
    counted([&] {
        for (const auto& device : coming) {
            notify(*session, device, notification_type::connected);
            notify(*session, device, notification_type::disconnected);
            write_queued(*channel);
        }
    });
}

void read_options(const std::string& file) {
    counted([&] { read_restore_plist(file); });
}

} // namespace

int main(int argument_count, char** arguments) {
    const std::string job = argument_count > 1 ? arguments[1] : "";
    const std::string argument = argument_count > 2 ? arguments[2] : "";
    boost::asio::io_context context;
    start_options options;
    options.output_pipe = open("/dev/null", O_WRONLY);
    const auto channel = make_output_state(context, options);
    if (job == "dump") {
        dump(channel);
    } else if (job == "reports") {
        report(channel);
    } else if (job == "connect") {
        connect(channel, std::stoll(argument));
    } else if (job == "options") {
        read_options(argument);
    } else {
        std::fputs("usage: quick_jobs dump|reports|options FILE|connect COUNT\n", stderr);
        return EXIT_FAILURE;
    }
}
