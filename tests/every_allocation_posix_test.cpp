/// Runs of each command, of --help and of refused command lines, each run in a process of its own.
/// Every allocation of the thread that parses and runs the command line fails in turn.

#include "device/RestorableDeviceHandler.h"
#include "driver/exception_error.h"
#include "driver/parse_arguments.h"
#include "driver/run_command.h"
#include "output/output_str_state.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/allocation_failure.h"
#include "tests/channel_capture.h"
#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <boost/filesystem/operations.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vandrel;
using namespace vandrel::testing;
using extent = allocation_failure::extent;

constexpr auto some_ecid = "00000000000000AB";

/// What the process of a run adds to the tool's exit status.
constexpr int objects_leaked = 32;
constexpr int all_allocations_succeeded = 64;
/// In place of a status.
constexpr int aborted = 16;
constexpr int ended_by_another_signal = 17;

/// The texts of CoreFoundation's strings and of Boost.Program_options' exceptions are copied where
/// nothing may be thrown: without memory for one of them the process aborts.
constexpr int most_aborts = 12;

simulator::scenario one_device() {
    simulator::scenario scenario;
    simulator::device_description device;
    device.name = "a device";
    device.ecid = 0xAB;
    device.state = 2;
    device.serial_number = "a serial number that needs memory of its own";
    // Completes an update, and entering restore mode.
    for (const auto& [operation, progress] : {std::pair{13, 50}, std::pair{0, 100}}) {
        cf_handle<CFMutableDictionaryRef> report(
            CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks));
        const auto set = [&report](CFStringRef key, std::int32_t value) {
            const cf_handle<CFNumberRef> number(
                CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
            CFDictionarySetValue(report.get(), key, number.get());
        };
        CFDictionarySetValue(report.get(), CFSTR("Status"), CFSTR("Restoring"));
        set(CFSTR("Operation"), operation);
        set(CFSTR("Progress"), progress);
        device.restore.reports.push_back({0, simulator::cf_handle<CFTypeRef>(report.release())});
    }
    scenario.devices.push_back(std::move(device));
    return scenario;
}

/// Does what the entry function does with a command line. The n-th allocation of this thread fails
/// meanwhile.
int run_tool(const std::vector<const char*>& arguments,
             const std::shared_ptr<output_str_state>& channel, std::size_t n, extent how_long) {
    const allocation_failure failure(n, how_long);
    const parse_result parsed =
        parse_arguments(static_cast<int>(arguments.size()), arguments.data());
    return parsed.status != 0 ? report_error(parsed.error.get(), *channel)
                              : run_command(parsed.options, parsed.description, channel);
}

/// The process of one run.
[[noreturn]] void run_and_exit(const std::vector<const char*>& arguments, std::size_t n,
                               extent how_long) {
    // A run that does not end by itself is ended by the alarm, and the test fails.
    alarm(60);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    const auto objects = simulator::live_object_count();
    simulator::start(one_device());
    auto channel = std::make_shared<output_str_state>(std::nullopt);
    std::thread writer([&channel] { channel->writer_loop(); });

    int status = run_tool(arguments, channel, n, how_long);

    channel->shutdown();
    writer.join();
    simulator::stop();
    status += simulator::live_object_count() != objects ? objects_leaked : 0;
    status += allocation_failure::has_failed() ? 0 : all_allocations_succeeded;
    _exit(status);
}

class every_allocation : public ::testing::Test {
public:
    ~every_allocation() override { unsetenv("TMPDIR"); }

protected:
    every_allocation() {
        setenv("TMPDIR", temporary_files.c_str(), 1);
        boost::filesystem::create_directory(temporary_files);
        write_file(options_file,
                   "<plist><dict><key>Key</key><string>value</string></dict></plist>");
    }

    /// The run's status with its flags, or `aborted`.
    static int run(const std::vector<const char*>& arguments, std::size_t n, extent how_long) {
        const pid_t process = fork();
        if (process == 0) {
            run_and_exit(arguments, n, how_long);
        }
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status)             ? WEXITSTATUS(status)
               : WTERMSIG(status) == SIGABRT ? aborted
                                             : ended_by_another_signal;
    }

    /// Fails the first allocation of a run, then the second, and so on, until a run makes fewer.
    void fail_each_of(std::vector<const char*> arguments, int status_without_failure) {
        arguments.insert(arguments.begin(), "vandrel");
        for (const extent how_long : {extent::once, extent::from_then_on}) {
            SCOPED_TRACE(how_long == extent::once ? "once" : "from then on");
            int status = 0;
            int aborts = 0;
            std::size_t n = 0;
            while ((status & all_allocations_succeeded) == 0) {
                status = run(arguments, ++n, how_long);
                aborts += status == aborted ? 1 : 0;
                const int tool_status = status & ~all_allocations_succeeded;
                ASSERT_TRUE(status == aborted || (tool_status >= 0 && tool_status <= 8))
                    << "status " << status << " when allocation " << n << " fails";
                check_temporary_files(n, status, how_long);
            }
            EXPECT_EQ(status, all_allocations_succeeded + status_without_failure);
            EXPECT_LE(aborts, most_aborts);
            // A run without allocations would test nothing.
            EXPECT_GT(n, 100U);
        }
    }

    /// No scratch folder remains, unless there was no memory to read its entries, or the process
    /// was aborted.
    void check_temporary_files(std::size_t n, int status, extent how_long) const {
        if (how_long == extent::once && status != aborted) {
            EXPECT_TRUE(boost::filesystem::is_empty(temporary_files)) << "allocation " << n;
        }
        boost::filesystem::remove_all(temporary_files);
        boost::filesystem::create_directory(temporary_files);
    }

    temporary_folder folder;
    const std::string temporary_files = (folder.path() / "temporary").string();
    const std::string options_file = (folder.path() / "options.plist").string();
};

TEST_F(every_allocation, of_a_refused_command_line_can_fail) {
    fail_each_of({"--ecid", some_ecid, "--frobnicate"}, 3);
}

TEST_F(every_allocation, of_a_refused_command_can_fail) {
    fail_each_of({"--list-devices", "--ecid", some_ecid}, 3);
}

TEST_F(every_allocation, of_help_can_fail) {
    fail_each_of({"--help"}, 0);
}

TEST_F(every_allocation, of_a_listing_can_fail) {
    fail_each_of({"--list-devices", "--detect-timeout", "0", "--debug"}, 0);
}

TEST_F(every_allocation, of_device_info_can_fail) {
    fail_each_of({"--device-info", "--ecid", some_ecid}, 0);
}

TEST_F(every_allocation, of_leaving_recovery_can_fail) {
    fail_each_of({"--exit-recovery", "--ecid", some_ecid}, 0);
}

TEST_F(every_allocation, of_staying_in_recovery_can_fail) {
    fail_each_of({"--no-exit-recovery", "--ecid", some_ecid}, 0);
}

TEST_F(every_allocation, of_a_restore_of_a_bundle_can_fail) {
    fail_each_of({"--restore", "x.ipsw", "--ecid", some_ecid, "--erase"}, 0);
}

TEST_F(every_allocation, of_a_restore_with_an_options_file_can_fail) {
    fail_each_of({"--restore-plist", options_file.c_str(), "--ecid", some_ecid}, 0);
}

TEST_F(every_allocation, of_entering_restore_mode_can_fail) {
    fail_each_of({"--restore", "x.ipsw", "--ecid", some_ecid, "--enter-restore-mode"}, 0);
}

TEST(scratch_directory, is_removed_without_a_word_whichever_allocation_fails) {
    const temporary_folder folder;
    const auto scratch = folder.path() / "scratch";
    std::size_t n = 0;
    bool has_failed = true;
    while (has_failed) {
        boost::filesystem::create_directories(scratch / "PRB" / "1");
        channel_capture capture;
        std::optional<device_notifier_state> session(std::in_place, capture.channel(), std::nullopt,
                                                     scratch);
        {
            const allocation_failure failure(++n, extent::once);
            session.reset();
            has_failed = allocation_failure::has_failed();
        }
        EXPECT_FALSE(boost::filesystem::exists(scratch)) << "allocation " << n;
        EXPECT_EQ(capture.finish().diagnostics.size(), 1U) << "allocation " << n;
    }
    // Without an allocation, nothing was tested.
    EXPECT_GT(n, 1U);
}

} // namespace
