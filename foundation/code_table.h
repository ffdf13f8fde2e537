#pragma once

/// Tables that are looked up by a number.

#include <algorithm>
#include <cstdint>
#include <functional>

namespace vandrel {

/// Whether the entries of `table` are in ascending order of their `code`, each code once.
/// find_code relies on it. For a static_assert beside the table.
template<class Table>
consteval bool is_ordered_by_code(const Table& table) {
    return std::ranges::adjacent_find(table, std::ranges::greater_equal(),
                                      &Table::value_type::code) == table.end();
}

/// The entry of `code` in a table that is_ordered_by_code; null when there is none.
template<class Table>
constexpr const typename Table::value_type* find_code(const Table& table, std::int32_t code) {
    const auto found = std::ranges::lower_bound(table, code, {}, &Table::value_type::code);
    return found != table.end() && found->code == code ? &*found : nullptr;
}

} // namespace vandrel
