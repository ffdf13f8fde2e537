#pragma once

/// What is known about the simulated platform's objects from outside: how many live, and how to
/// make a creation fail. Meant for tests; every function may be called from any thread.

#include <cstdint>
#include <map>
#include <string>

namespace simulator {

/// How many counted objects live, by the name of their type ("CFString"); types without one are
/// left out.
std::map<std::string, std::int64_t> live_objects();

/// How many counted objects live, of all types together.
std::int64_t live_object_count();

/// How many references to each constant (of CFSTR, a boolean, kCFNull) have been taken and not
/// given back, by what describes it; below 0 when more have been given back than taken. Constants
/// whose references balance are left out, and so is what is done in an unaccounted_scope.
std::map<std::string, std::int64_t> unbalanced_constants();

/// How many objects the Create and Copy functions have been about to make so far, those that were
/// told to fail included. One call can make several: a property list's elements count one by one.
std::int64_t creation_count();

/// Makes the `n`-th creation from now fail, once: 1 is the next. The function at work then returns
/// null, and no error where it has an error to give. 0 takes the order back.
void fail_creation(std::int64_t n);

/// How many creations are still to come until one fails; 0 when none has been told to, or has.
std::int64_t creations_until_failure();

/// While one lives, the objects that its thread makes are neither counted nor told to fail, for
/// their whole life. For what the simulator itself keeps. Scopes may nest.
class unaccounted_scope {
public:
    unaccounted_scope();
    ~unaccounted_scope();
    unaccounted_scope(const unaccounted_scope&) = delete;
    unaccounted_scope& operator=(const unaccounted_scope&) = delete;
};

/// What every Create and Copy function asks once for each object that it is about to give: counts
/// it, and is false when it has been told to fail. `create` asks by itself.
bool begin_creation();

class object;

/// Makes unbalanced_constants look at an object that lives for ever.
void add_constant(const object& constant);

/// Whether the calling thread is outside every unaccounted_scope.
bool accounting_applies();

} // namespace simulator
