#pragma once

/// The file with the names of USB ports, as it is written.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace vandrel::station {

/// One line of the file: "0x14110000 A1".
struct slot_line {
    std::uint32_t location = 0;
    std::string name;
};

/// What the line says; nothing when it is no location number with a name. The number is decimal, or
/// hexadecimal after "0x". Blanks around the number and the name do not matter.
std::optional<slot_line> read_slot_line(std::string_view line);

/// `content` with a line for this port at its end, and without the lines that had its location or
/// its name. All other lines stay as they are, but a last line without a line feed gets one.
std::string with_slot(std::string_view content, const slot_line& added);

/// The name after this one: its number at the end is one more, such as "A10" after "A9". Names that
/// are `taken` are passed over. After a name without a number at its end: the first of A1, A2 ...
/// that is free.
std::string next_slot_name(const std::string& name, const std::set<std::string>& taken);

/// Whether the first comes before the second: "A2" before "A10".
bool is_before(std::string_view first, std::string_view second);

/// Replaces the file, or makes it. Whoever reads it finds all of the old content or all of the new.
/// Throws std::runtime_error with one sentence.
void replace_slot_file(const std::filesystem::path& file, std::string_view content);

} // namespace vandrel::station
