#pragma once

/// Property lists as text and bytes. CFPropertyListCreateData and CFPropertyListCreateWithData call
/// these functions, and return errors instead of exceptions.

#include "simulator/core_foundation/object.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace simulator {

/// How many containers may be nested in what is read, including the outermost.
inline constexpr int property_list_depth_limit = 512;

/// The same for what is written, so that writing a container that contains itself ends.
inline constexpr std::size_t property_list_written_depth_limit = 2'048;

/// A value cannot be written, or bytes cannot be read, as a property list. what() has the reason,
/// and for most errors in XML the line.
class property_list_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A creation was made to fail.
class creation_failed : public std::exception {};

/// As `create`, but throws creation_failed instead of returning null.
template<class T, class... Arguments>
owned<T> create_value(Arguments&&... arguments) {
    owned<T> result(create<T>(std::forward<Arguments>(arguments)...));
    if (!result) {
        throw creation_failed();
    }
    return result;
}

/// A new string. Throws property_list_error if `utf8` is not valid UTF-8, and creation_failed.
owned<const object> create_string_value(std::string utf8);

/// The XML document of `value`. Throws property_list_error.
std::string write_xml_property_list(const object& value);

/// The value of an XML document. Takes time and memory in proportion to its size. Throws
/// property_list_error and creation_failed.
owned<const object> read_xml_property_list(std::span<const std::uint8_t> document);

/// Whether `bytes` begin as a binary property list does.
bool is_binary_property_list(std::span<const std::uint8_t> bytes);

/// The value of a binary property list. Takes memory in proportion to its size, because an object
/// with several references to it is created once and shared. The time is in proportion to the size,
/// too, with two exceptions. A key or a member of a set is hashed again for each reference to it.
/// Containers of equal size have the same hash, so each of them in a set is compared with all.
/// Throws property_list_error and creation_failed.
owned<const object> read_binary_property_list(std::span<const std::uint8_t> bytes);

} // namespace simulator
