#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vandrel::testing {

/// 121 different texts of 60 to 3,536 bytes, short and long ones mixed: the lengths of real records
/// and beyond.
inline std::vector<std::string> make_numbered_records() {
    std::vector<std::string> records;
    for (std::size_t i = 0; i < 121; ++i) {
        std::string record = "<record " + std::to_string(i) + ">";
        record.resize(60 + i * 29 * 50 % 3'481, 'x');
        records.push_back(record);
    }
    return records;
}

} // namespace vandrel::testing
