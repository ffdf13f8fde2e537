#pragma once

#include <condition_variable>
#include <mutex>
#include <unordered_map>

namespace vandrel {

/// Protects objects from callbacks that arrive after their destruction. MobileDevice keeps an
/// object's address and may use it later: a registration stays in place after an error, and a
/// restore that has timed out goes on reporting.
///
/// An object calls open with its address when it is ready for callbacks, and close before any of
/// its members is destroyed. A callback calls enter first, and uses the object only if the visit is
/// true. close waits until no callback is using that object. Thread-safe.
class callback_gate {
public:
    /// Marks a callback as running, until the visit is destroyed.
    class visit {
    public:
        visit(const visit&) = delete;
        visit& operator=(const visit&) = delete;
        ~visit();
        /// False if the object was not open, or was being closed, when the callback entered.
        explicit operator bool() const { return gate_ != nullptr; }

    private:
        friend class callback_gate;
        visit(callback_gate* gate, const void* object) : gate_(gate), object_(object) {}
        callback_gate* gate_;
        const void* object_;
    };

    void open(const void* object);

    /// From now on every new visit of `object` is false, until `object` is opened again. Returns
    /// when no callback is using `object`. A callback that uses `object` must not call this
    /// function.
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
