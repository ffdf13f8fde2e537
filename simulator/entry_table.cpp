#include "simulator/entry_table.h"

namespace simulator {

void entry_table::set(const object& key, const object* value) {
    const auto [place, is_new] = positions_.try_emplace(&key, entries_.size());
    if (is_new) {
        entries_.push_back({retained(&key), retained(value)});
    } else {
        entries_[place->second].value = retained(value);
    }
}

const entry_table::entry* entry_table::find(const object& key) const {
    const auto place = positions_.find(&key);
    return place == positions_.end() ? nullptr : &entries_[place->second];
}

} // namespace simulator
