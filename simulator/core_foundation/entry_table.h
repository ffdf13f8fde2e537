#pragma once

/// A hash table of objects by objects, in the order in which keys were first set. Dictionaries,
/// sets and errors use it.

#include "simulator/core_foundation/object.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulator {

/// Retains keys and values. Must not be changed while another thread uses it.
class entry_table {
public:
    struct entry {
        owned<const object> key;
        owned<const object> value;
    };

    /// Inserts, or replaces the value of an equal key and keeps that key. `value` may be null.
    void set(const object& key, const object* value);
    /// Inserts, unless there is an equal key.
    void add(const object& key, const object* value);
    /// Null when no key equals `key`.
    const entry* find(const object& key) const;
    const std::vector<entry>& entries() const { return entries_; }
    /// Makes room for `count` entries. Only for an empty table.
    void reserve(std::size_t count);

private:
    struct slot {
        /// The upper half of the mixed hash.
        std::uint32_t hash = 0;
        /// The entry's number, counted from 1; 0 if the slot is free. 32 bits are enough.
        std::uint32_t number = 0;
    };

    void append(const object& key, const object* value);
    static std::uint32_t hash_of(const object& key);
    void index_new_entries();
    void put(slot added);

    std::vector<entry> entries_;
    /// The entries by the hashes of their keys: an entry is in the slot that its hash selects, or
    /// in the first free slot after that. The number of slots is a power of two, and at most three
    /// quarters are used. Most tables are small, and have no index.
    std::vector<slot> index_;
};

} // namespace simulator
