#include "foundation/win32_error_category.h"

#include "foundation/code_table.h"
#include "foundation/system_text.h"
#include "platform/native_error.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>

namespace vandrel {

namespace {

struct portable_condition {
    std::int32_t code;
    std::errc condition;
};

/// What Windows and Winsock codes mean portably. An interrupted call (10004) maps to
/// resource_unavailable_try_again, not to `interrupted`: handlers of these conditions rely on it.
constexpr auto conditions = std::to_array<portable_condition>({
    {1, std::errc::function_not_supported},
    {2, std::errc::no_such_file_or_directory},
    {3, std::errc::no_such_file_or_directory},
    {4, std::errc::too_many_files_open},
    {5, std::errc::permission_denied},
    {6, std::errc::bad_file_descriptor},
    {8, std::errc::not_enough_memory},
    {11, std::errc::executable_format_error},
    {12, std::errc::permission_denied},
    {14, std::errc::not_enough_memory},
    {15, std::errc::no_such_device},
    {17, std::errc::cross_device_link},
    {19, std::errc::read_only_file_system},
    {20, std::errc::no_such_device},
    {21, std::errc::resource_unavailable_try_again},
    {24, std::errc::invalid_argument},
    {25, std::errc::invalid_seek},
    {26, std::errc::no_such_device},
    {32, std::errc::permission_denied},
    {36, std::errc::too_many_files_open},
    {39, std::errc::no_space_on_device},
    {50, std::errc::not_supported},
    {51, std::errc::no_such_file_or_directory},
    {53, std::errc::no_such_file_or_directory},
    {54, std::errc::device_or_resource_busy},
    {55, std::errc::no_such_device},
    {65, std::errc::permission_denied},
    {80, std::errc::file_exists},
    {87, std::errc::invalid_argument},
    {100, std::errc::no_lock_available},
    {108, std::errc::device_or_resource_busy},
    {109, std::errc::broken_pipe},
    {111, std::errc::filename_too_long},
    {112, std::errc::no_space_on_device},
    {114, std::errc::bad_file_descriptor},
    {117, std::errc::inappropriate_io_control_operation},
    {119, std::errc::operation_not_supported},
    {120, std::errc::function_not_supported},
    {122, std::errc::no_buffer_space},
    {123, std::errc::invalid_argument},
    {128, std::errc::no_child_process},
    {130, std::errc::operation_not_permitted},
    {131, std::errc::invalid_seek},
    {132, std::errc::invalid_seek},
    {143, std::errc::invalid_argument},
    {145, std::errc::directory_not_empty},
    {148, std::errc::device_or_resource_busy},
    {153, std::errc::invalid_argument},
    {154, std::errc::filename_too_long},
    {159, std::errc::bad_address},
    {160, std::errc::invalid_argument},
    {183, std::errc::file_exists},
    {186, std::errc::invalid_argument},
    {193, std::errc::executable_format_error},
    {209, std::errc::invalid_argument},
    {216, std::errc::executable_format_error},
    {258, std::errc::timed_out},
    {487, std::errc::bad_address},
    {10004, std::errc::resource_unavailable_try_again},
    {10009, std::errc::bad_file_descriptor},
    {10014, std::errc::bad_address},
    {10022, std::errc::invalid_argument},
    {10024, std::errc::too_many_files_open},
    {10035, std::errc::operation_would_block},
    {10036, std::errc::operation_in_progress},
    {10037, std::errc::connection_already_in_progress},
    {10038, std::errc::not_a_socket},
    {10039, std::errc::destination_address_required},
    {10040, std::errc::message_size},
    {10041, std::errc::wrong_protocol_type},
    {10042, std::errc::no_protocol_option},
    {10043, std::errc::protocol_not_supported},
    {10045, std::errc::operation_not_supported},
    {10048, std::errc::address_in_use},
    {10049, std::errc::address_not_available},
    {10050, std::errc::network_down},
    {10051, std::errc::network_unreachable},
    {10052, std::errc::network_reset},
    {10053, std::errc::connection_aborted},
    {10054, std::errc::connection_reset},
    {10055, std::errc::no_buffer_space},
    {10056, std::errc::already_connected},
    {10057, std::errc::not_connected},
    {10060, std::errc::timed_out},
    {10061, std::errc::connection_refused},
    {10062, std::errc::too_many_symbolic_link_levels},
    {10063, std::errc::filename_too_long},
    {10065, std::errc::host_unreachable},
    {10066, std::errc::directory_not_empty},
    {10070, std::errc::bad_file_descriptor},
    {10092, std::errc::not_supported},
    {10103, std::errc::operation_canceled},
    {10111, std::errc::operation_canceled},
    {10112, std::errc::connection_refused},
    {11002, std::errc::resource_unavailable_try_again},
});
static_assert(is_ordered_by_code(conditions));

} // namespace

const win32_error_category& win32_error_category::instance() {
    static const auto& category = *new win32_error_category;
    return category;
}

const char* win32_error_category::name() const noexcept {
    return "Win32 Error";
}

std::string win32_error_category::message(int code) const {
    std::string text = system_text(code);
    // The number is taken before anything else can change it.
    const std::uint32_t error = native_last_error();
    return text.empty() ? message_without_text(code, error) : text;
}

std::error_condition win32_error_category::default_error_condition(int code) const noexcept {
    const auto* const found = find_code(conditions, code);
    return found == nullptr ? std::error_condition(code, *this)
                            : std::make_error_condition(found->condition);
}

std::string message_without_text(std::int32_t code, std::uint32_t error) {
    return fmt::format("Can't generate error string for code {} (error {}: {})", code, error,
                       system_text(static_cast<std::int32_t>(error)));
}

boost::system::error_code last_win32_error() {
    const std::uint32_t code = native_last_error();
    return std::error_code(static_cast<int>(code), win32_error_category::instance());
}

} // namespace vandrel
