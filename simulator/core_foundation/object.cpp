#include "simulator/core_foundation/object.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace simulator {

namespace {

struct type_registry {
    std::mutex mutex;
    std::vector<const runtime_type*> types;
};

type_registry& registry() {
    static auto& result = *new type_registry;
    return result;
}

} // namespace

runtime_type::runtime_type(const char* name) : name_(name) {
    type_registry& known = registry();
    const std::lock_guard lock(known.mutex);
    known.types.push_back(this);
    id_ = known.types.size();
}

std::vector<const runtime_type*> runtime_type::all() {
    type_registry& known = registry();
    const std::lock_guard lock(known.mutex);
    return known.types;
}

object::object(const runtime_type& type) : type_(type), counted_(accounting_applies()) {
    if (counted_) {
        ++type_.live_objects_;
    }
}

object::~object() {
    if (counted_) {
        --type_.live_objects_;
    }
}

void object::make_immortal() {
    immortal_ = true;
    add_constant(*this);
}

void object::retain(const char* function) const {
    if (immortal_) {
        references_.fetch_add(accounting_applies() ? 1 : 0, std::memory_order_relaxed);
        return;
    }
    if (references_.fetch_add(1, std::memory_order_relaxed) <= 0) {
        misuse(function, "object used after its last release");
    }
}

void object::release(const char* function) const {
    if (immortal_) {
        references_.fetch_sub(accounting_applies() ? 1 : 0, std::memory_order_relaxed);
        return;
    }
    const std::int32_t before = references_.fetch_sub(1, std::memory_order_acq_rel);
    if (before <= 0) {
        misuse(function, "object used after its last release");
    }
    if (before == 1) {
        destroy();
    }
}

/// Nested destruction is put off: containers may be nested more deeply than the stack allows.
void object::destroy() const {
    thread_local bool is_destroying = false;
    thread_local const object* queue = nullptr;
    next_to_destroy_ = queue;
    queue = this;
    if (is_destroying) {
        return;
    }
    is_destroying = true;
    while (const object* const next = queue) {
        queue = next->next_to_destroy_;
        if (next->counted_) {
            delete next;
        } else {
            // It was created in such a scope, so its references to constants were not counted.
            const unaccounted_scope scope;
            delete next;
        }
    }
    is_destroying = false;
}

bool object::equals(const object& other) const {
    return this == &other;
}

CFHashCode object::hash() const {
    return std::hash<const object*>()(this);
}

std::string object::describe() const {
    return std::string("<") + type_.name() + ">";
}

void misuse(const char* function, const std::string& what) {
    std::fprintf(stderr, "simulator: %s: %s\n", function, what.c_str());
    std::fflush(stderr);
    std::abort();
}

} // namespace simulator

using simulator::checked;

namespace {

/// Its address is the one allocator that differs from the default.
constexpr char null_allocator_address = 0;

} // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorNull = reinterpret_cast<CFAllocatorRef>(&null_allocator_address);

CFTypeRef CFRetain(CFTypeRef object) {
    checked(object).retain(__func__);
    return object;
}

void CFRelease(CFTypeRef object) {
    checked(object).release(__func__);
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return checked(object).type().id();
}

Boolean CFEqual(CFTypeRef left, CFTypeRef right) {
    const simulator::object& first = checked(left);
    const simulator::object& second = checked(right);
    return &first == &second || (&first.type() == &second.type() && first.equals(second));
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    const std::string text = checked(object).describe();
    return CFStringCreateWithBytes(kCFAllocatorDefault,
                                   reinterpret_cast<const std::uint8_t*>(text.data()),
                                   static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}
