#include "station/table.h"

#include "station/text.h"

#include <algorithm>
#include <cstddef>

namespace vandrel::station {

std::string aligned(const std::vector<table_row>& rows) {
    std::vector<std::size_t> widths;
    for (const table_row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], display_width(row[i]));
        }
    }
    std::string text;
    for (const table_row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - display_width(row[i]), ' ');
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
