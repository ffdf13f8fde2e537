#include "debug/status_text.h"

#include "debug/status_tables.h"
#include "foundation/cf_text.h"
#include "foundation/code_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace vandrel {

namespace {

static_assert(is_ordered_by_code(error_texts));
static_assert(is_ordered_by_code(operation_texts));

cf_handle<CFStringRef> copyString(CFStringRef constant) {
    return cf_handle<CFStringRef>(static_cast<CFStringRef>(CFRetain(constant)));
}

/// The constant string of an entry's text. It is kept after the first lookup, as CFSTR does.
template<const auto& table>
CFStringRef constant_text(const status_text& entry) {
    static std::array<std::atomic<CFStringRef>, table.size()> places;
    return constant_string(places[static_cast<std::size_t>(&entry - table.data())], entry.text);
}

template<const auto& table>
cf_handle<CFStringRef> copy_text(std::int32_t code) {
    const status_text* const found = find_code(table, code);
    return copyString(found == nullptr ? CFSTR("Unknown") : constant_text<table>(*found));
}

/// `text` in UTF-8. If it cannot be converted or is one of `meaningless`: `fallback`, a space and
/// the code.
std::string text_or_number(const cf_handle<CFStringRef>& text,
                           std::initializer_list<std::string_view> meaningless,
                           std::string_view fallback, std::int32_t code) {
    auto utf8 = copy_utf8(text.get());
    if (utf8 && std::ranges::find(meaningless, *utf8) == meaningless.end()) {
        return *std::move(utf8);
    }
    return fmt::format("{} {}", fallback, code);
}

} // namespace

CFStringRef AMRLocalizedCopyStringForAMRError(std::int32_t code) {
    return copy_text<error_texts>(code).release();
}

CFStringRef AMRLocalizedCopyStringForAMROperation(std::int32_t code) {
    return copy_text<operation_texts>(code).release();
}

std::string amr_error_text(std::int32_t code) {
    return text_or_number(cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMRError(code)),
                          {"Unknown", "Unrecognized error", "Unrecognized server error"},
                          "Unknown error", code);
}

std::string amr_operation_text(std::int32_t code) {
    return text_or_number(cf_handle<CFStringRef>(AMRLocalizedCopyStringForAMROperation(code)),
                          {"Unknown", "Unrecognized operation"}, "Unknown operation", code);
}

std::string format_as(device_state state) {
    switch (state) {
    case device_state::Unknown:
        return "Unknown";
    case device_state::DFU:
        return "DFU";
    case device_state::Recovery:
        return "Recovery";
    case device_state::RestoreOS:
        return "RestoreOS";
    case device_state::BootedOS:
        return "BootedOS";
    }
    return fmt::format("<invalid device state {}>", static_cast<std::int32_t>(state));
}

std::string format_as(notification_type type) {
    switch (type) {
    case notification_type::connected:
        return "connected";
    case notification_type::disconnected:
        return "disconnected";
    }
    return fmt::format("<invalid notification type {}>", static_cast<std::int32_t>(type));
}

} // namespace vandrel
