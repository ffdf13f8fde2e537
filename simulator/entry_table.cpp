#include "simulator/entry_table.h"

namespace simulator {

void entry_table::set(const object& key, const object* value) {
    const auto [place, is_new] = m_positions.try_emplace(&key, m_entries.size());
    if (is_new) {
        m_entries.push_back({retained(&key), retained(value)});
    } else {
        m_entries[place->second].value = retained(value);
    }
}

const entry_table::entry* entry_table::find(const object& key) const {
    const auto place = m_positions.find(&key);
    return place == m_positions.end() ? nullptr : &m_entries[place->second];
}

} // namespace simulator
