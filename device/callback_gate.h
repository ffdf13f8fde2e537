#pragma once

#include <condition_variable>
#include <mutex>
#include <unordered_map>

namespace vandrel {

/// Decides whether a callback may still use the object whose bare address it was given.
/// MobileDevice may call after the object is gone: a registration stays in place after an error,
/// and a restore that has timed out goes on reporting.
///
/// An object opens the gate for its address when it is ready for callbacks, and closes it before
/// any of its members is destroyed. A callback enters first, and uses the object only when it was
/// let in; close waits until it has left. Thread-safe.
class callback_gate {
public:
    /// The time that a callback is inside, which ends with this object.
    class visit {
    public:
        visit(const visit&) = delete;
        visit& operator=(const visit&) = delete;
        ~visit();
        /// False when the object is gone, or never was.
        explicit operator bool() const { return gate_ != nullptr; }

    private:
        friend class callback_gate;
        visit(callback_gate* gate, const void* object) : gate_(gate), object_(object) {}
        callback_gate* gate_;
        const void* object_;
    };

    void open(const void* object);

    /// Lets no callback in from now on, and returns when none is inside. Not to be called from
    /// inside.
    void close(const void* object);

    [[nodiscard]] visit enter(const void* object);

private:
    std::mutex mutex_;
    std::condition_variable someone_left_;
    struct entrance {
        int inside = 0;
        bool closing = false;
    };
    std::unordered_map<const void*, entrance> entrances_;
};

} // namespace vandrel
