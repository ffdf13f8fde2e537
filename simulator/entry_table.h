#pragma once

/// A hash table of objects by objects, in the order in which keys were first set: what dictionaries
/// and sets are made of.

#include "simulator/object.h"

#include <cstddef>
#include <unordered_map>
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
    /// Null when no key equals `key`.
    const entry* find(const object& key) const;
    const std::vector<entry>& entries() const { return entries_; }

private:
    struct key_hash {
        std::size_t operator()(const object* key) const { return key->hash(); }
    };
    struct key_equal {
        bool operator()(const object* left, const object* right) const {
            return CFEqual(left, right);
        }
    };

    std::vector<entry> entries_;
    std::unordered_map<const object*, std::size_t, key_hash, key_equal> positions_;
};

} // namespace simulator
