#pragma once

#include <condition_variable>
#include <mutex>
#include <unordered_map>

namespace vandrel {

/// Decides whether a callback may still use the object whose bare address it was given. The
/// platform keeps such addresses for longer than the objects live: a registration stays in place
/// after an error, a timed-out restore goes on reporting.
///
/// An object opens the gate for its address when it is ready for callbacks and closes it before
/// anything of it is taken down. A callback enters first, and uses the object only when it was let
/// in; while it is inside, close waits for it. Thread-safe.
class callback_gate {
public:
    /// A callback's stay inside; it ends with this object.
    class visit {
    public:
        visit(const visit&) = delete;
        visit& operator=(const visit&) = delete;
        ~visit();
        /// False: the object is gone, or never was.
        explicit operator bool() const { return gate_ != nullptr; }

    private:
        friend class callback_gate;
        visit(callback_gate* gate, const void* object) : gate_(gate), object_(object) {}
        callback_gate* gate_;
        const void* object_;
    };

    void open(const void* object);

    /// Lets nobody in any more, and returns when nobody is inside. Never called from inside.
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
