#pragma once

/// The base of every object of the simulated platform, and what is needed to add a type of object:
///
///     struct __CFThing final : simulator::object {
///         explicit __CFThing(int value) : object(static_type()), value(value) {}
///         static const simulator::runtime_type& static_type() {
///             static const auto& type = *new simulator::runtime_type("CFThing");
///             return type;
///         }
///         const int value;
///     };
///
///     CFThingRef CFThingCreate(int value) { return simulator::create<__CFThing>(value); }
///     int CFThingGetValue(CFThingRef thing) { return simulator::checked(thing).value; }
///
/// The struct is the one that the platform's declarations name; `object` is its first base, so that
/// a pointer to the struct, a CFTypeRef and a pointer to `object` are the same address. CFRetain
/// and CFRelease then do the rest: the last release deletes the object.
///
/// Misuse of the platform, where it is detected, ends the process with one line on standard error
/// that describes it.

#include "platform/core_foundation.h"
#include "simulator/core_foundation/accounting.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

/// One type of object, known by an id that is assigned at run time. Never destroyed.
class runtime_type {
public:
    /// `name` is a literal.
    explicit runtime_type(const char* name);

    const char* name() const { return name_; }
    CFTypeID id() const { return id_; }
    std::int64_t live_objects() const { return live_objects_; }

    /// Every type made so far.
    static std::vector<const runtime_type*> all();

private:
    friend class object;

    const char* const name_;
    CFTypeID id_;
    mutable std::atomic<std::int64_t> live_objects_{0};
};

/// Starts with one reference, which belongs to its creator. May be retained and released on any
/// thread.
class object {
public:
    virtual ~object();
    object(const object&) = delete;
    object& operator=(const object&) = delete;

    const runtime_type& type() const { return type_; }

    /// `function` is the function to name in the message if the object is already destroyed.
    void retain(const char* function) const;
    void release(const char* function) const;
    /// From now on the object is never destroyed. Its references are still counted.
    void make_immortal();
    /// The number of references to an immortal object that were retained and not released; below 0
    /// if there were more releases.
    std::int64_t outstanding_references() const { return references_ - 1; }

    /// `other` is of the same type. By default an object equals only itself.
    virtual bool equals(const object& other) const;
    /// Equal objects have equal hashes.
    virtual CFHashCode hash() const;
    /// A text for diagnostics. By default the type's name in angle brackets.
    virtual std::string describe() const;
    /// The text for this object inside the description of another.
    virtual std::string describe_inside() const { return describe(); }

protected:
    explicit object(const runtime_type& type);

private:
    void destroy() const;

    const runtime_type& type_;
    mutable std::atomic<std::int32_t> references_{1};
    const bool counted_;
    bool immortal_ = false;
    /// The next object of those that wait for destruction.
    mutable const object* next_to_destroy_ = nullptr;
};

/// Ends the process with the line "simulator: FUNCTION: WHAT".
[[noreturn]] void misuse(const char* function, const std::string& what);

/// The object behind a reference of any type; a null one is misuse, reported for the calling
/// function.
inline const object& checked(CFTypeRef reference, const char* function = __builtin_FUNCTION()) {
    if (reference == nullptr) {
        misuse(function, "null object");
    }
    return *static_cast<const object*>(reference);
}

/// The object behind a reference; a null one, or one that refers to an object of another type, is
/// misuse, reported for the calling function.
template<class T>
T& checked(T* reference, const char* function = __builtin_FUNCTION()) {
    const object& base = checked(static_cast<CFTypeRef>(reference), function);
    if (&base.type() != &T::static_type()) {
        misuse(function, std::string(base.type().name()) + " given for " + T::static_type().name());
    }
    return *reference;
}

/// `reference` as a T; null when it is null or of another type.
template<class T>
const T* cast(CFTypeRef reference) {
    const bool matches = reference != nullptr && &checked(reference).type() == &T::static_type();
    return matches ? static_cast<const T*>(reference) : nullptr;
}

/// A new object with one reference, the caller's; null if its creation was set to fail.
template<class T, class... Arguments>
T* create(Arguments&&... arguments) {
    return begin_creation() ? new T(std::forward<Arguments>(arguments)...) : nullptr;
}

/// A new object that is never destroyed.
template<class T, class... Arguments>
T* create_immortal(Arguments&&... arguments) {
    const unaccounted_scope scope;
    T* const result = create<T>(std::forward<Arguments>(arguments)...);
    result->make_immortal();
    return result;
}

struct releaser {
    void operator()(const object* reference) const { reference->release("release"); }
};

/// Owns one reference.
template<class T>
using owned = std::unique_ptr<T, releaser>;

/// A new reference to the same object; null if `reference` is null.
template<class T>
owned<T> retained(T* reference) {
    if (reference != nullptr) {
        reference->retain("retain");
    }
    return owned<T>(reference);
}

/// The result of a Copy function for an object that already exists: a new reference; null if there
/// is no object, or if this creation was set to fail.
template<class T>
T* copy_reference(T* reference) {
    return reference != nullptr && begin_creation() ? retained(reference).release() : nullptr;
}

} // namespace simulator
