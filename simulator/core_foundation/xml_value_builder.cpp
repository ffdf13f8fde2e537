#include "simulator/core_foundation/xml_value_builder.h"

#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/property_list_text.h"
#include "simulator/core_foundation/unique_id.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace simulator {

namespace {

constexpr std::array<std::pair<std::string_view, element>, 11> elements{{
    {"plist", element::plist},
    {"array", element::array},
    {"dict", element::dict},
    {"key", element::key},
    {"string", element::string},
    {"integer", element::integer},
    {"real", element::real},
    {"date", element::date},
    {"data", element::data},
    {"true", element::true_},
    {"false", element::false_},
}};

element element_of(std::string_view name) {
    const auto* const found =
        std::ranges::find(elements, name, &std::pair<std::string_view, element>::first);
    if (found == elements.end()) {
        throw property_list_error("unknown element <" + std::string(name) + ">");
    }
    return found->second;
}

template<class T>
const T& value_or_error(const std::optional<T>& value, const char* what) {
    if (!value) {
        throw property_list_error(std::string("bad ") + what);
    }
    return *value;
}

/// The value of an element that contains only text, except a key. May consume the text.
owned<const object> create_scalar(element kind, std::string& text) {
    if (kind == element::string) {
        return create_string_value(std::move(text));
    }
    switch (kind) {
    case element::integer:
        return create_value<__CFNumber>(value_or_error(parse_integer(text), "integer"));
    case element::real:
        return create_value<__CFNumber>(value_or_error(parse_real(text), "real"));
    case element::date:
        return create_value<__CFDate>(value_or_error(parse_date(text), "date"));
    case element::data:
        return create_value<__CFData>(value_or_error(parse_base64(text), "data"));
    default:
        return retained<const object>(kind == element::true_ ? kCFBooleanTrue : kCFBooleanFalse);
    }
}

/// In XML a unique id is a dictionary of one entry; null for every other dictionary.
owned<const object> create_unique_id(const __CFDictionary& dictionary) {
    const auto& entries = dictionary.table.entries();
    if (entries.size() != 1 || static_cast<const __CFString&>(*entries[0].key).utf8 != "CF$UID") {
        return nullptr;
    }
    const auto* const number = cast<__CFNumber>(entries[0].value.get());
    const auto* const whole =
        number == nullptr ? nullptr : std::get_if<std::int64_t>(&number->value);
    if (whole == nullptr || *whole < 0 || *whole > std::numeric_limits<std::uint32_t>::max()) {
        return nullptr;
    }
    return create_value<__CFKeyedArchiverUID>(static_cast<std::uint32_t>(*whole));
}

} // namespace

owned<const object> key_maker::make(std::string& text) {
    owned<const object>& known = recent_[std::hash<std::string>()(text) % recent_.size()];
    if (!known || static_cast<const __CFString&>(*known).utf8 != text) {
        known = create_string_value(std::move(text));
    }
    return retained(known.get());
}

void xml_value_builder::open(std::string_view name) {
    const element kind = element_of(name);
    if (scalar_) {
        throw property_list_error("element <" + std::string(name) + "> inside a scalar");
    }
    check_place(kind);
    if (kind != element::plist && kind != element::array && kind != element::dict) {
        scalar_ = kind;
        return;
    }
    container& opened = containers_.emplace_back();
    opened.kind = kind;
    if (kind == element::array) {
        opened.array = create_value<__CFArray>();
    } else if (kind == element::dict) {
        opened.dictionary = create_value<__CFDictionary>();
    }
}

bool xml_value_builder::close() {
    if (scalar_) {
        close_scalar();
        return false;
    }
    container closed = std::move(containers_.back());
    containers_.pop_back();
    if (closed.key) {
        throw property_list_error("key without a value");
    }
    if (closed.array) {
        add(std::move(closed.array));
    } else if (closed.dictionary) {
        auto id = create_unique_id(*closed.dictionary);
        add(id ? std::move(id) : std::move(closed.dictionary));
    }
    return closed.kind == element::plist;
}

void xml_value_builder::close_scalar() {
    if (*scalar_ == element::key) {
        containers_.back().key = keys_.make(text_);
    } else {
        add(create_scalar(*scalar_, text_));
    }
    scalar_.reset();
    text_.clear();
}

owned<const object> xml_value_builder::take_value() {
    if (!value_) {
        throw property_list_error("no value");
    }
    return std::move(value_);
}

/// Throws if an element of this kind may not open here.
void xml_value_builder::check_place(element kind) const {
    const bool is_outermost = containers_.empty();
    if (kind == element::plist) {
        if (!is_outermost) {
            throw property_list_error("<plist> inside another element");
        }
        return;
    }
    const bool is_in_plist = !is_outermost && containers_.back().kind == element::plist;
    if (is_in_plist && value_) {
        throw property_list_error("second value in <plist>");
    }
    const bool key_may_come =
        !is_outermost && containers_.back().kind == element::dict && !containers_.back().key;
    if (kind == element::key && !key_may_come) {
        throw property_list_error("key where a value must come");
    }
    if (kind != element::key && key_may_come) {
        throw property_list_error("value without a key");
    }
    if (kind == element::array || kind == element::dict) {
        check_depth();
    }
}

/// Throws if no further container may open.
void xml_value_builder::check_depth() const {
    // <plist>, which may be left out, is on the stack as well.
    const bool has_plist = !containers_.empty() && containers_.front().kind == element::plist;
    if (containers_.size() >= property_list_depth_limit + (has_plist ? 1U : 0U)) {
        throw property_list_error("containers nested too deep");
    }
}

/// Of two equal keys, the value of the last is kept.
void xml_value_builder::add(owned<const object> value) {
    if (containers_.empty() || containers_.back().kind == element::plist) {
        value_ = std::move(value);
        return;
    }
    container& outer = containers_.back();
    if (outer.array) {
        outer.array->values.push_back(std::move(value));
    } else {
        outer.dictionary->table.set(*outer.key, value.get());
        outer.key.reset();
    }
}

} // namespace simulator
