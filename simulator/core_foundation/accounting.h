#pragma once

/// Counts the simulated platform's objects, and makes creations fail. For tests, vandrel-sim and
/// stand_in. Every function may be called from any thread.

#include <cstdint>
#include <map>
#include <string>

namespace simulator {

/// The number of counted objects that exist, by the name of their type ("CFString"). Types without
/// objects are left out.
std::map<std::string, std::int64_t> live_objects();

/// The number of counted objects that exist, of all types together.
std::int64_t live_object_count();

/// The number of references to each constant (of CFSTR, a boolean, kCFNull) that were retained and
/// not released, by the constant's type and description; below 0 if there were more releases.
/// Constants whose references balance are left out. What is done in an unaccounted_scope does not
/// count.
std::map<std::string, std::int64_t> unbalanced_constants();

/// The number of creations by Create and Copy functions outside every unaccounted_scope so far,
/// including those that were made to fail. One call can make several: the new objects of a property
/// list count one by one.
std::int64_t creation_count();

/// Makes the `n`-th creation from now fail, once: 1 is the next. The function that makes it then
/// returns null, and gives no error even if it has a parameter for one. 0 cancels this.
void fail_creation(std::int64_t n);

/// The number of creations until one fails, that one included; 0 if none is set to fail.
std::int64_t creations_until_failure();

/// While a scope exists, the objects that the scope's thread creates are not counted, then or
/// later, and their creation is not made to fail. For the objects that the simulator itself keeps.
/// Scopes may nest.
class unaccounted_scope {
public:
    unaccounted_scope();
    ~unaccounted_scope();
    unaccounted_scope(const unaccounted_scope&) = delete;
    unaccounted_scope& operator=(const unaccounted_scope&) = delete;
};

/// Counts a creation. Returns false if it was set to fail. Every Create and Copy function calls
/// this once for each object before it creates it. `create` calls it.
bool begin_creation();

class object;

/// Adds an object that is never destroyed to those that unbalanced_constants checks.
void add_constant(const object& constant);

/// Whether the calling thread is outside every unaccounted_scope.
bool accounting_applies();

} // namespace simulator
