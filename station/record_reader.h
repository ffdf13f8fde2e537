#pragma once

/// The stream of a tool's records, taken apart.

#include "station/device.h"
#include "station/report.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vandrel::station {

/// `DeviceList`: the ECIDs as they stand there.
struct device_list_record {
    std::vector<std::string> ecids;
};

/// `DeviceInfo`.
struct device_info_record {
    device_properties properties;
};

/// `CommandSuccess`.
struct command_success_record {};

/// `InternalError`.
struct internal_error_record {
    error_details error;
};

/// A whole record of a type that is not known.
struct unknown_record {
    std::string type;
};

/// What is no whole record, was passed over for its size, or lacks a value that its type needs.
struct unreadable_record {};

using record =
    std::variant<restore_report, device_list_record, device_info_record, command_success_record,
                 internal_error_record, unknown_record, unreadable_record>;

/// Reads one document, with nothing after it.
record read_record(std::string_view document);

/// Takes a stream in pieces of any size. All readers are used by one thread.
class record_reader {
public:
    using handler = std::function<void(const record&)>;

    /// Larger documents are passed over. After `take`, no more than this is kept of one that has
    /// not ended.
    static constexpr std::size_t largest_document = std::size_t{4} * 1024 * 1024;
    /// How much memory all readers together may have for documents that have not ended. While they
    /// have more, a document that grows larger than a small one is passed over, too.
    static constexpr std::size_t most_unfinished = std::size_t{16} * 1024 * 1024;
    static constexpr std::size_t small_document = std::size_t{128} * 1024;

    record_reader() = default;
    record_reader(const record_reader&) = delete;
    record_reader& operator=(const record_reader&) = delete;
    ~record_reader();

    /// Calls `handle` for each record that these bytes end.
    void take(std::string_view bytes, const handler& handle);
    /// The stream has ended. An unfinished document is an unreadable record.
    void finish(const handler& handle);

private:
    void end_document(const handler& handle);
    void count_document();

    static std::size_t unfinished_;

    std::string document_;
    /// What is counted of it in `unfinished_`.
    std::size_t counted_ = 0;
    /// The document is passed over; only its last bytes are kept.
    bool passes_over_ = false;
};

} // namespace vandrel::station
