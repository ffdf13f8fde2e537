#include "station/text.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace vandrel::station {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct character {
    char32_t code = 0;
    std::size_t size = 1;
};

/// The character that `text`, which is not empty, begins with; nothing when it begins with none.
std::optional<character> first_character(std::string_view text) {
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return character{lead, 1};
    }
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < size) {
        return {};
    }
    char32_t code = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return {};
        }
        code = code << 6U | (byte(i) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[size] || code > 0x10FFFF || is_surrogate) {
        return {};
    }
    return character{code, size};
}

constexpr bool turns_lines_around(char32_t code) {
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
           code == 0x061C || code == 0x200E || code == 0x200F || code == 0x2028 || code == 0x2029;
}

struct code_range {
    char32_t first;
    char32_t last;
};

/// In ascending order, as terminals show them: scripts of East Asia, full-width forms, pictures.
constexpr auto wide_characters = std::to_array<code_range>({
    {0x1100, 0x115F},
    {0x231A, 0x231B},
    {0x2E80, 0x303E},
    {0x3041, 0x33FF},
    {0x3400, 0x4DBF},
    {0x4E00, 0xA4CF},
    {0xA960, 0xA97C},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F},
    {0x1F680, 0x1F6FF},
    {0x1F900, 0x1FAFF},
    {0x20000, 0x3FFFD},
});

/// In ascending order: marks on other characters, and characters that are not shown.
constexpr auto marks = std::to_array<code_range>({
    {0x0300, 0x036F},
    {0x0483, 0x0489},
    {0x0591, 0x05BD},
    {0x0610, 0x061A},
    {0x064B, 0x065F},
    {0x0E34, 0x0E3A},
    {0x0E47, 0x0E4E},
    {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF},
    {0x200B, 0x200D},
    {0x2060, 0x2064},
    {0x20D0, 0x20FF},
    {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F},
    {0xFEFF, 0xFEFF},
});

template<std::size_t size>
bool is_in(const std::array<code_range, size>& ranges, char32_t code) {
    const auto range = std::ranges::lower_bound(ranges, code, {}, &code_range::last);
    return range != ranges.end() && code >= range->first;
}

std::size_t width_of(char32_t code) {
    if (code < 0x300) {
        return 1;
    }
    return is_in(marks, code) ? 0 : is_in(wide_characters, code) ? 2 : 1;
}

template<class Allowed>
std::string replaced(std::string_view text, Allowed allowed) {
    // Nearly all that is read and shown is ASCII. This table says which of it is allowed.
    static constexpr auto passes = [] {
        std::array<bool, 256> result{};
        for (std::size_t c = 0; c < 0x80; ++c) {
            result[c] = Allowed{}(static_cast<char32_t>(c));
        }
        return result;
    }();
    std::string result;
    result.reserve(text.size());
    for (;;) {
        const auto* const rest = std::ranges::find_if_not(
            text, [](char c) { return passes[static_cast<unsigned char>(c)]; });
        result.append(text.begin(), rest);
        text.remove_prefix(static_cast<std::size_t>(rest - text.begin()));
        if (text.empty()) {
            return result;
        }
        const auto first = first_character(text);
        const std::size_t size = first ? first->size : 1;
        result += first && allowed(first->code) ? text.substr(0, size) : replacement;
        text.remove_prefix(size);
    }
}

} // namespace

std::string printable(std::string_view text) {
    return replaced(text, [](char32_t code) {
        return code >= 0x20 && !(code >= 0x7F && code <= 0x9F) && !turns_lines_around(code);
    });
}

std::size_t display_width(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const character next = first_character(text).value_or(character{' ', 1});
        width += width_of(next.code);
        text.remove_prefix(next.size);
    }
    return width;
}

std::string_view clipped(std::string_view text, std::size_t columns) {
    std::size_t size = 0;
    while (size < text.size()) {
        const character next = first_character(text.substr(size)).value_or(character{' ', 1});
        const std::size_t width = width_of(next.code);
        if (width > columns) {
            break;
        }
        columns -= width;
        size += next.size;
    }
    return text.substr(0, size);
}

std::string fitted(std::string_view text, std::size_t columns) {
    const std::string_view part = clipped(text, columns);
    return std::string(part) + std::string(columns - display_width(part), ' ');
}

std::string allowed_in_xml(std::string_view text) {
    return replaced(text, [](char32_t code) {
        return (code >= 0x20 && code != 0xFFFE && code != 0xFFFF) || code == '\t' || code == '\n' ||
               code == '\r';
    });
}

std::filesystem::path path_of(std::string_view text) {
    return std::u8string(text.begin(), text.end());
}

std::string text_of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::string rfc3339(std::chrono::system_clock::time_point time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const auto of_day = std::chrono::floor<std::chrono::milliseconds>(time - day);
    return fmt::format(FMT_COMPILE("{:04}-{:02}-{:02}T{}.{:03}Z"), static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       hours_minutes_seconds(of_day), of_day.count() % 1000);
}

std::string hours_minutes_seconds(std::chrono::milliseconds duration) {
    const auto seconds = duration.count() / 1000;
    return fmt::format(FMT_COMPILE("{:02}:{:02}:{:02}"), seconds / 3600, seconds / 60 % 60,
                       seconds % 60);
}

std::string minutes_seconds(std::chrono::milliseconds duration) {
    const auto seconds = duration.count() / 1000;
    return seconds < 3600 ? fmt::format(FMT_COMPILE("{:02}:{:02}"), seconds / 60, seconds % 60)
                          : fmt::format(FMT_COMPILE("{}:{:02}:{:02}"), seconds / 3600,
                                        seconds / 60 % 60, seconds % 60);
}

std::string size_text(std::uint64_t bytes) {
    if (bytes < 1'000'000) {
        return fmt::format("{} bytes", bytes);
    }
    const bool is_large = bytes >= 1'000'000'000;
    return fmt::format("{:.1f} {}", static_cast<double>(bytes) / (is_large ? 1e9 : 1e6),
                       is_large ? "GB" : "MB");
}

std::string number_of(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

} // namespace vandrel::station
