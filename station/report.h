#pragma once

/// One report of a running restore, and what it means for the device.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace vandrel::station {

/// An `Error` that is a dictionary, which is what error objects become in a record.
struct error_dictionary {
    std::optional<std::int64_t> code;
    std::string domain;
    /// `FailureReason`, else `Description`; empty when there is neither.
    std::string text;

    bool operator==(const error_dictionary&) const = default;
};

/// An `Error` of any type that is not named here, such as a boolean.
struct other_error {
    /// The value as text, for people.
    std::string text;

    bool operator==(const other_error&) const = default;
};

/// The value of the key `Error` as the record has it; std::monostate without the key.
using error_value =
    std::variant<std::monostate, std::int64_t, double, std::string, error_dictionary, other_error>;

/// One `RestoreStatus` record.
struct restore_report {
    std::string status;
    std::int32_t operation = 0;
    std::int64_t progress = 0;
    error_value error;
    /// `Orv_OperationName`; without it, what operation_name() has for the operation, which can be
    /// empty.
    std::string operation_name;
};

/// An error as events carry it.
struct error_details {
    /// Empty when nothing is known of it.
    std::string domain;
    std::optional<std::int64_t> code;
    std::string text;

    bool operator==(const error_details&) const = default;
};

/// The error of a report. A missing key and the integer 0 are none; every other value is one,
/// whatever its type, since a restore library that puts anything else there has something to say. A
/// bare integer is an AMR code: the text is that of the code, empty for one without a text.
std::optional<error_details> error_of(const restore_report& report);

/// The name of an AMR operation; empty for one without a name.
std::string operation_name(std::int32_t operation);

/// Whether the report ends the restore, well or not: operation 0 at 100 percent.
bool completes(const restore_report& report);

/// Whether the report says that the device is restored: it completes, its status is not "Failed",
/// and it has no error.
bool succeeds(const restore_report& report);

/// Whether the report says that the restore has failed: its status is "Failed", or it completes
/// with an error. An error in any other report is a warning at first; tool_run judges it at the
/// end.
bool fails(const restore_report& report);

/// Whether firmware is being written or a battery charged in this operation: silence is normal
/// then, and ending the tool can ruin the device.
bool is_firmware_operation(std::int32_t operation);

} // namespace vandrel::station
