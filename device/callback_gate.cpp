#include "device/callback_gate.h"

namespace vandrel {

callback_gate::visit::~visit() {
    if (gate_ == nullptr) {
        return;
    }
    // Notified under the lock: once the lock is released, the closing thread may end the process.
    const std::lock_guard lock(gate_->mutex_);
    --gate_->entrances_.at(object_).inside;
    gate_->someone_left_.notify_all();
}

void callback_gate::open(const void* object) {
    const std::lock_guard lock(mutex_);
    entrances_.emplace(object, entrance());
}

void callback_gate::close(const void* object) {
    std::unique_lock lock(mutex_);
    const auto found = entrances_.find(object);
    if (found == entrances_.end()) {
        return;
    }
    found->second.closing = true;
    someone_left_.wait(lock, [&] { return entrances_.at(object).inside == 0; });
    entrances_.erase(object);
}

callback_gate::visit callback_gate::enter(const void* object) {
    const std::lock_guard lock(mutex_);
    const auto found = entrances_.find(object);
    if (found == entrances_.end() || found->second.closing) {
        return {nullptr, object};
    }
    ++found->second.inside;
    return {this, object};
}

} // namespace vandrel
