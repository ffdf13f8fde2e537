#include "platform/native_error.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vandrel {

namespace {

struct system_text {
    std::int32_t code;
    /// Without the line break.
    std::string_view text;
};

/// Windows' English texts for the numbers that this host's calls give.
constexpr auto system_texts = std::to_array<system_text>({
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {8, "Not enough memory resources are available to process this command."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {31, "A device attached to the system is not functioning."},
    {80, "The file exists."},
    {87, "The parameter is incorrect."},
    {112, "There is not enough space on the disk."},
    {206, "The filename or extension is too long."},
    {317, "The system cannot find message text for message number 0x%1 in the message file for "
          "%2."},
    {1921, "The name of the file cannot be resolved by the system."},
});

constexpr std::uint32_t message_not_found = 317;

thread_local std::uint32_t last_error = 0;

} // namespace

std::uint32_t native_last_error() {
    return last_error;
}

void set_native_last_error(std::uint32_t code) {
    last_error = code;
}

std::string native_error_text_in_local_encoding(std::int32_t code) {
    const auto found = std::ranges::find(system_texts, code, &system_text::code);
    if (found == system_texts.end()) {
        set_native_last_error(message_not_found);
        return {};
    }
    return std::string(found->text) + "\r\n";
}

std::u16string native_error_text(std::int32_t code) {
    const std::string ascii = native_error_text_in_local_encoding(code);
    return {ascii.begin(), ascii.end()};
}

} // namespace vandrel
