#include "station/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace vandrel::station {

namespace {

struct details_of_value {
    std::optional<error_details> operator()(std::monostate) const { return std::nullopt; }

    std::optional<error_details> operator()(std::int64_t code) const {
        if (code == 0) {
            return std::nullopt;
        }
        return error_details{{}, code, {}};
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
