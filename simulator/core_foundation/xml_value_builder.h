#pragma once

/// Creates values from the elements of an XML property list as they open and close.

#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/object.h"
#include "simulator/core_foundation/string.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

enum class element { plist, array, dict, key, string, integer, real, date, data, true_, false_ };

/// Creates keys, and shares those used recently: the dictionaries of a list mostly have the same
/// keys.
class key_maker {
public:
    owned<const object> make(std::string& text);

private:
    std::array<owned<const object>, 64> recent_;
};

/// Open elements are on a stack of their own, so nesting in a document does not use the stack of
/// the thread. `open` and `close` throw property_list_error and creation_failed.
class xml_value_builder {
public:
    void open(std::string_view name);
    /// The innermost open element, if it is one that contains no elements.
    std::optional<element> open_scalar() const { return scalar_; }
    /// Text of the open scalar.
    void add_text(std::string_view text) { text_ += text; }
    /// True when that was the end of <plist>.
    bool close();
    /// The value of the whole document. Throws property_list_error if it has none.
    owned<const object> take_value();

private:
    struct container {
        element kind = element::plist;
        /// Only the one that `kind` names is set.
        owned<__CFArray> array;
        owned<__CFDictionary> dictionary;
        /// Waits for its value.
        owned<const object> key;
    };

    void check_place(element kind) const;
    void check_depth() const;
    void close_scalar();
    void add(owned<const object> value);

    std::vector<container> containers_;
    key_maker keys_;
    std::optional<element> scalar_;
    std::string text_;
    owned<const object> value_;
};

} // namespace simulator
