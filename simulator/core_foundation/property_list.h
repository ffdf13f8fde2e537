#pragma once

/// Property lists as text and bytes. CFPropertyListCreateData and CFPropertyListCreateWithData are
/// these with errors in place of exceptions.

#include "simulator/core_foundation/object.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace simulator {

/// How many containers may stand inside each other in what is read, the outermost counted.
inline constexpr int property_list_depth_limit = 512;

/// The same for what is written, so that a container that holds itself ends somewhere.
inline constexpr std::size_t property_list_written_depth_limit = 2'048;

/// Something cannot be written, or read, as a property list; what() says which and where.
class property_list_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A creation has been told to fail.
class creation_failed : public std::exception {};

/// create, throwing creation_failed for null.
template<class T, class... Arguments>
owned<T> create_value(Arguments&&... arguments) {
    owned<T> result(create<T>(std::forward<Arguments>(arguments)...));
    if (!result) {
        throw creation_failed();
    }
    return result;
}

/// A string of valid UTF-8; throws property_list_error for other bytes.
owned<const object> create_string_value(std::string utf8);

/// The XML document of `value`. Throws property_list_error.
std::string write_xml_property_list(const object& value);

/// The value of an XML document. Takes time and memory in proportion to its size. Throws
/// property_list_error and creation_failed.
owned<const object> read_xml_property_list(std::span<const std::uint8_t> document);

/// Whether `bytes` begin as a binary property list does.
bool is_binary_property_list(std::span<const std::uint8_t> bytes);

/// The value of a binary property list. Takes time and memory in proportion to its size: what is
/// referred to several times is made once and shared. Throws property_list_error and
/// creation_failed.
owned<const object> read_binary_property_list(std::span<const std::uint8_t> bytes);

} // namespace simulator
