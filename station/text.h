#pragma once

/// Texts that go to people, to files and to the host.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace vandrel::station {

/// `text` as valid UTF-8 without what moves a cursor or turns a line around. U+FFFD stands for each
/// control character (line feeds, too), the separators U+2028 and U+2029, the marks of direction
/// U+061C, U+200E, U+200F, U+202A to U+202E and U+2066 to U+2069, and each byte that belongs to no
/// character.
std::string printable(std::string_view text);

/// How many columns of a terminal this printable text takes: wide characters take two; marks on the
/// character before them and characters that are not shown take none. The tables of wide
/// characters and of those without width have the usual ones, not all.
std::size_t display_width(std::string_view text);

/// As much of this printable text as fits into so many columns.
std::string_view clipped(std::string_view text, std::size_t columns);

/// The same, filled up with blanks.
std::string fitted(std::string_view text, std::size_t columns);

/// `text` as XML 1.0 allows it: forbidden characters and bytes that belong to no character become
/// U+FFFD.
std::string allowed_in_xml(std::string_view text);

/// The path that this UTF-8 names.
std::filesystem::path path_of(std::string_view text);
/// The UTF-8 of a path.
std::string text_of(const std::filesystem::path& path);

/// "2026-03-01T02:58:10.123Z".
std::string rfc3339(std::chrono::system_clock::time_point time);

/// "00:21:31".
std::string hours_minutes_seconds(std::chrono::milliseconds duration);

/// "21:31", "1:02:03".
std::string minutes_seconds(std::chrono::milliseconds duration);

/// "6.9 GB", "42.0 MB"; below a million, "1234 bytes". A GB is 1,000,000,000 bytes.
std::string size_text(std::uint64_t bytes);

/// "1 device", "2 devices".
std::string number_of(std::size_t count, std::string_view noun);

} // namespace vandrel::station
