#pragma once

/// A hash table of objects by objects, in the order in which keys were first set: what dictionaries
/// and sets are made of.

#include "simulator/core_foundation/object.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulator {

/// Keys and values are retained. Not to be changed while another thread uses it.
class entry_table {
public:
    struct entry {
        owned<const object> key;
        owned<const object> value;
    };

    /// Inserts, or replaces the value of an equal key, keeping the key that is there. `value` may
    /// be null.
    void set(const object& key, const object* value);
    /// Inserts, unless there is an equal key.
    void add(const object& key, const object* value);
    /// Null when no key equals `key`.
    const entry* find(const object& key) const;
    const std::vector<entry>& entries() const { return entries_; }
    /// Makes room for `count` entries. Only while there is none.
    void reserve(std::size_t count);

private:
    struct slot {
        /// The upper half of the mixed hash.
        std::uint32_t hash = 0;
        /// Of the entry, counted from 1; 0: the slot is free. Memory ends long before 32 bits do.
        std::uint32_t number = 0;
    };

    void append(const object& key, const object* value);
    static std::uint32_t hash_of(const object& key);
    void index_new_entries();
    void put(slot added);

    std::vector<entry> entries_;
    /// The entries by their keys' hashes: an entry is in the slot that its hash chooses, or in the
    /// first after it that was free. A power of two of them, at most three quarters of them taken.
    /// Most tables are small, and have none.
    std::vector<slot> index_;
};

} // namespace simulator
