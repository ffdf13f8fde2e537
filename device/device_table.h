#pragma once

#include "driver/ecid.h"
#include "platform/mobile_device.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace vandrel {

/// Shared ownership of a restorable device. Handles are made with CFTypeDeleter, so all copies of a
/// handle hold one CoreFoundation reference together.
using device_handle = std::shared_ptr<_AMRestorableDevice>;

/// 64-bit FNV-1a over the value's bytes, the least significant first.
struct ecid_hash {
    std::size_t operator()(const Orv::ecid& ecid) const noexcept;
};

/// The attached devices by ECID, and whether the session is being torn down. Thread-safe: both are
/// reached only through `access`, which holds the lock. The private fields have names like
/// those that logs and MobileDevice use.
///
///     {
///         auto table = devices.lock();
///         table.insert_or_assign(ecid, std::move(device));
///     }
///     devices.notify_all();
class device_table {
public:
    class access {
    public:
        bool contains(const Orv::ecid& ecid) const { return table_.devices.contains(ecid); }
        /// Null when there is no device of that ECID.
        device_handle find(const Orv::ecid& ecid) const;
        /// A device of the same ECID is replaced.
        void insert_or_assign(const Orv::ecid& ecid, device_handle device);
        void erase(const Orv::ecid& ecid) { table_.devices.erase(ecid); }
        /// In ascending order.
        std::vector<Orv::ecid> ecids() const;

        bool in_teardown() const { return table_.inTeardown; }
        /// Cannot be undone.
        void begin_teardown() { table_.inTeardown = true; }

        /// Releases the lock and waits until notify_all is called or `timeout` has passed. Can also
        /// return without a reason. Holds the lock again when it returns.
        void wait_for_change(std::chrono::nanoseconds timeout) {
            table_.devicesChanged.wait_for(lock_, timeout);
        }

    private:
        friend class device_table;
        explicit access(device_table& table) : table_(table), lock_(table.stateMutex) {}
        device_table& table_;
        std::unique_lock<std::mutex> lock_;
    };

    /// Holds the lock for the life of the result. Code that runs under it queues output and calls
    /// functions of Apple's platform that create, read, retain and release objects. It calls
    /// nothing that waits for a callback.
    [[nodiscard]] access lock() { return access(*this); }

    /// Wakes every waiter. Called without the lock, so that a waiter can go on at once.
    void notify_all() { devicesChanged.notify_all(); }

private:
    std::unordered_map<Orv::ecid, device_handle, ecid_hash> devices{8};
    std::mutex stateMutex;
    std::condition_variable devicesChanged;
    bool inTeardown = false;
};

} // namespace vandrel
