#include "station/table.h"

#include "station/text.h"

#include <algorithm>
#include <cstddef>

namespace vandrel::station {

namespace {

/// How many characters a text has: bytes of UTF-8 but those that go on with a character.
std::size_t width_of(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

} // namespace

std::string aligned(const std::vector<table_row>& rows) {
    std::vector<std::size_t> widths;
    for (const table_row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width_of(row[i]));
        }
    }
    std::string text;
    for (const table_row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - width_of(row[i]), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string enumerated(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + printable(names[i]);
    }
    return text;
}

} // namespace vandrel::station
