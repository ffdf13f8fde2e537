#pragma once

/// Tables of text for people.

#include <string>
#include <vector>

namespace vandrel::station {

using table_row = std::vector<std::string>;

/// A line for each row: two blanks before each text, and each column as wide as its widest text. No
/// line ends with blanks. The texts are in printable characters.
std::string aligned(const std::vector<table_row>& rows);

/// "a, b and c", in printable characters.
std::string enumerated(const std::vector<std::string>& names);

} // namespace vandrel::station
