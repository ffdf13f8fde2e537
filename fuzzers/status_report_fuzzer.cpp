/// restoreCallback with reports of any content (object_graph.h). A valid report makes one record, a
/// whole document, up to the first zero byte in a text, with the parts of the report that a
/// property list can hold, and the operation's name unless the operation is 0. Other reports make
/// no record. Of two equal completing reports, the first completes the command, and the second is
/// an error.

#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "fuzzers/fuzzing.h"
#include "fuzzers/object_graph.h"
#include "fuzzers/xml_outcome.h"
#include "output/output_str_state.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/string.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <limits>
#include <string>

namespace vandrel::fuzzing {

namespace {

/// Redirects standard output to memory during its lifetime.
class captured_output {
public:
    captured_output() : before_(stdout) { stdout = open_memstream(&text_, &size_); }
    ~captured_output() {
        std::fclose(stdout);
        stdout = before_;
        std::free(text_);
    }
    captured_output(const captured_output&) = delete;
    captured_output& operator=(const captured_output&) = delete;

    /// The output that was flushed so far.
    input bytes() const { return {reinterpret_cast<const std::uint8_t*>(text_), size_}; }

private:
    std::FILE* before_;
    char* text_ = nullptr;
    std::size_t size_ = 0;
};

/// The value of a key, if it is a number without a fraction that fits an Integer, with or without a
/// sign; what fits without one only is negative.
template<class Integer>
std::optional<Integer> integer_at(const __CFDictionary& report, CFStringRef key) {
    const auto* const number = simulator::cast<__CFNumber>(CFDictionaryGetValue(&report, key));
    if (number == nullptr) {
        return std::nullopt;
    }
    constexpr std::int64_t lowest = std::numeric_limits<Integer>::min();
    if (const auto* whole = std::get_if<std::int64_t>(&number->value)) {
        using unsigned_limits = std::numeric_limits<std::make_unsigned_t<Integer>>;
        const bool fits = *whole >= lowest && (*whole < 0 || static_cast<std::uint64_t>(*whole) <=
                                                                 unsigned_limits::max());
        return fits ? std::optional(static_cast<Integer>(*whole)) : std::nullopt;
    }
    const double real = std::get<double>(number->value);
    constexpr auto end = -2 * static_cast<double>(lowest);
    if (real != std::trunc(real) || real < -end / 2 || real >= end) {
        return std::nullopt;
    }
    return static_cast<Integer>(real < 0
                                    ? static_cast<std::uint64_t>(static_cast<std::int64_t>(real))
                                    : static_cast<std::uint64_t>(real));
}

/// The parts of a report that the tool must read.
struct expectation {
    bool is_valid = false;
    std::int32_t operation = 0;
    std::int64_t progress = 0;

    explicit expectation(CFTypeRef value) {
        const auto* const report = simulator::cast<__CFDictionary>(value);
        if (report == nullptr) {
            return;
        }
        const auto operation_there = integer_at<std::int32_t>(*report, CFSTR("Operation"));
        const auto progress_there = integer_at<std::int64_t>(*report, CFSTR("Progress"));
        const auto* const status =
            simulator::cast<__CFString>(CFDictionaryGetValue(report, CFSTR("Status")));
        is_valid = operation_there && progress_there && status != nullptr;
        operation = operation_there.value_or(0);
        progress = progress_there.value_or(0);
    }

    bool completes(device_operation command) const {
        return is_valid && ((operation == 0 && progress == 100) ||
                            (operation == 9 && command == device_operation::enter_restore_mode));
    }
};

/// The expected record of a report: the parts that a property list can hold, and the operation's
/// name.
cf_handle<CFMutableDictionaryRef> expected_record(const described_value& report,
                                                  const expectation& expected) {
    const auto make_copy = [](CFDictionaryRef dictionary) {
        return cf_handle<CFMutableDictionaryRef>(
            CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary));
    };
    const auto value = make_copy(static_cast<CFDictionaryRef>(report.compatible.get()));
    if (expected.operation != 0) {
        const cf_handle<CFStringRef> name(
            AMRLocalizedCopyStringForAMROperation(expected.operation));
        require(CFStringGetLength(name.get()) > 0, "every operation has a name");
        CFDictionarySetValue(value.get(), CFSTR("Orv_OperationName"), name.get());
    }
    cf_handle<CFMutableDictionaryRef> record(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(record.get(), CFSTR("Type"), CFSTR("RestoreStatus"));
    CFDictionarySetValue(record.get(), CFSTR("Value"), value.get());
    return record;
}

bool is_completed_already(const described_value& report, device_notifier_state& session) {
    try {
        device_notifier_state::restoreCallback(
            nullptr, static_cast<CFDictionaryRef>(report.value.get()), &session);
    } catch (const std::future_error&) {
        return true;
    }
    return false;
}

void require_one_record(input written, const described_value& report, const expectation& expected) {
    if (!expected.is_valid) {
        require(written.empty(), "no record of what is no report");
        return;
    }
    const auto record = expected_record(report, expected);
    const xml_outcome outcome = outcome_in_xml(record.get());
    if (!outcome.is_written) {
        require(written.empty(), "no record of what has no XML form");
        return;
    }
    // Standard output has a line feed after each record.
    require(!written.empty() && written.back() == '\n', "a record");
    const input document = written.first(written.size() - 1);
    const auto whole = write_property_list(record.get());
    const input text = bytes_of(whole.get());
    // A text ends at its first zero byte, which a device's string can contain.
    const auto end = std::ranges::find(text, 0);
    require(std::ranges::equal(document, input(text.begin(), end)), "the document as a text");
    if (outcome.is_read && end == text.end()) {
        require_document(document, record.get());
    }
}

/// A new session each time: a restore completes once.
void try_report(const described_value& report, device_operation command) {
    static const auto& scratch = *new boost::filesystem::path(
        boost::filesystem::temp_directory_path() / "vandrel-fuzzer-makes-no-such-folder");
    const auto channel = std::make_shared<output_str_state>(std::nullopt);
    device_notifier_state session(channel, std::nullopt, scratch);
    session.operation = command;
    const expectation expected(report.value.get());

    const captured_output output;
    require(!is_completed_already(report, session), "the first report that completes the command");
    // After a shutdown the writer returns when the queue is written, so it needs no thread.
    channel->shutdown();
    channel->writer_loop();
    require_one_record(output.bytes(), report, expected);
    require(is_completed_already(report, session) == expected.completes(command),
            "a second completion only after a first");
}

} // namespace

void try_input(input bytes) {
    if (const auto report = make_described_value(text_of(bytes))) {
        try_report(*report, device_operation::restore);
        try_report(*report, device_operation::enter_restore_mode);
    }
}

} // namespace vandrel::fuzzing
