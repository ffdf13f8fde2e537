#include "station/report.h"

#include "debug/status_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace vandrel::station {

namespace {

/// The text of a code in one of the tables; empty for a code without one.
template<class Table>
std::string text_in(const Table& table, std::int64_t code) {
    const auto found = std::ranges::find(table, code, &status_text::code);
    return found != table.end() ? found->text : "";
}

struct details_of_value {
    std::optional<error_details> operator()(std::monostate) const { return std::nullopt; }

    std::optional<error_details> operator()(std::int64_t code) const {
        if (code == 0) {
            return std::nullopt;
        }
        return error_details{{}, code, text_in(error_texts, code)};
    }

    std::optional<error_details> operator()(double number) const {
        return error_details{{}, {}, fmt::format("{}", number)};
    }

    std::optional<error_details> operator()(const std::string& text) const {
        return error_details{{}, {}, text};
    }

    std::optional<error_details> operator()(const error_dictionary& dictionary) const {
        return error_details{dictionary.domain, dictionary.code, dictionary.text};
    }

    std::optional<error_details> operator()(const other_error& other) const {
        return error_details{{}, {}, other.text};
    }
};

} // namespace

std::optional<error_details> error_of(const restore_report& report) {
    return std::visit(details_of_value{}, report.error);
}

std::string operation_name(std::int32_t operation) {
    return text_in(operation_texts, operation);
}

bool completes(const restore_report& report) {
    return report.operation == 0 && report.progress == 100;
}

bool succeeds(const restore_report& report) {
    return completes(report) && !fails(report);
}

bool fails(const restore_report& report) {
    return report.status == "Failed" || (completes(report) && error_of(report));
}

bool is_firmware_operation(std::int32_t operation) {
    constexpr std::array operations{10, 18, 19, 32, 35, 39, 47, 51, 55, 56, 58, 59, 60, 66, 67, 80};
    return std::ranges::find(operations, operation) != operations.end();
}

} // namespace vandrel::station
