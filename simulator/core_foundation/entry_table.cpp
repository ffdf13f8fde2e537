#include "simulator/core_foundation/entry_table.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace simulator {

namespace {

/// Up to this number of entries, a linear search is faster.
constexpr std::size_t most_without_index = 8;

/// The smallest number of slots for `count` entries.
constexpr std::size_t slots_for(std::size_t count) {
    return count + count / 3 + 1;
}

} // namespace

void entry_table::set(const object& key, const object* value) {
    if (const entry* const found = find(key)) {
        entries_[static_cast<std::size_t>(found - entries_.data())].value = retained(value);
        return;
    }
    append(key, value);
}

void entry_table::add(const object& key, const object* value) {
    if (find(key) == nullptr) {
        append(key, value);
    }
}

void entry_table::append(const object& key, const object* value) {
    entries_.push_back({retained(&key), retained(value)});
    if (entries_.size() > most_without_index || !index_.empty()) {
        index_new_entries();
    }
}

void entry_table::reserve(std::size_t count) {
    entries_.reserve(count);
    if (count > most_without_index) {
        index_.resize(std::bit_ceil(slots_for(count)));
    }
}

const entry_table::entry* entry_table::find(const object& key) const {
    if (index_.empty()) {
        const auto found = std::ranges::find_if(entries_, [&key](const entry& candidate) {
            return CFEqual(candidate.key.get(), &key);
        });
        return found == entries_.end() ? nullptr : &*found;
    }
    const std::uint32_t hash = hash_of(key);
    for (std::size_t place = hash;; ++place) {
        const slot& candidate = index_[place & (index_.size() - 1)];
        if (candidate.number == 0) {
            return nullptr;
        }
        const entry& found = entries_[candidate.number - 1];
        if (candidate.hash == hash && CFEqual(found.key.get(), &key)) {
            return &found;
        }
    }
}

/// Spreads the bits of hashes that differ in few places only, such as addresses.
std::uint32_t entry_table::hash_of(const object& key) {
    constexpr std::uint64_t golden_ratio = 0x9E3779B97F4A7C15;
    return static_cast<std::uint32_t>(key.hash() * golden_ratio >> 32);
}

void entry_table::index_new_entries() {
    std::size_t next = index_.empty() ? 0 : entries_.size() - 1;
    if (index_.size() < slots_for(entries_.size())) {
        std::vector<slot> smaller(std::max<std::size_t>(4 * most_without_index, 2 * index_.size()));
        smaller.swap(index_);
        for (const slot& kept : smaller) {
            if (kept.number != 0) {
                put(kept);
            }
        }
    }
    for (; next < entries_.size(); ++next) {
        put({hash_of(*entries_[next].key), static_cast<std::uint32_t>(next + 1)});
    }
}

void entry_table::put(slot added) {
    std::size_t place = added.hash;
    while (index_[place & (index_.size() - 1)].number != 0) {
        ++place;
    }
    index_[place & (index_.size() - 1)] = added;
}

} // namespace simulator
