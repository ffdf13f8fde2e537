#include "simulator/core_foundation/accounting.h"

#include "simulator/core_foundation/object.h"

#include <atomic>
#include <mutex>

namespace simulator {

namespace {

std::atomic<std::int64_t> creations{0};
/// 0: no creation is set to fail.
std::atomic<std::int64_t> until_failure{0};
thread_local int unaccounted_depth = 0;

struct constant_registry {
    std::mutex mutex;
    std::vector<const object*> constants;
};

constant_registry& constants() {
    static auto& result = *new constant_registry;
    return result;
}

} // namespace

std::map<std::string, std::int64_t> live_objects() {
    std::map<std::string, std::int64_t> result;
    for (const runtime_type* type : runtime_type::all()) {
        if (const std::int64_t live = type->live_objects(); live != 0) {
            result.emplace(type->name(), live);
        }
    }
    return result;
}

std::int64_t live_object_count() {
    std::int64_t result = 0;
    for (const runtime_type* type : runtime_type::all()) {
        result += type->live_objects();
    }
    return result;
}

std::map<std::string, std::int64_t> unbalanced_constants() {
    constant_registry& known = constants();
    const std::lock_guard lock(known.mutex);
    std::map<std::string, std::int64_t> result;
    for (const object* constant : known.constants) {
        if (const std::int64_t outstanding = constant->outstanding_references(); outstanding != 0) {
            result.emplace(std::string(constant->type().name()) + " \"" +
                               constant->describe_inside() + "\"",
                           outstanding);
        }
    }
    return result;
}

void add_constant(const object& constant) {
    constant_registry& known = constants();
    const std::lock_guard lock(known.mutex);
    known.constants.push_back(&constant);
}

std::int64_t creation_count() {
    return creations;
}

void fail_creation(std::int64_t n) {
    until_failure = n;
}

std::int64_t creations_until_failure() {
    return until_failure;
}

unaccounted_scope::unaccounted_scope() {
    ++unaccounted_depth;
}

unaccounted_scope::~unaccounted_scope() {
    --unaccounted_depth;
}

bool begin_creation() {
    if (!accounting_applies()) {
        return true;
    }
    ++creations;
    std::int64_t left = until_failure;
    while (left > 0 && !until_failure.compare_exchange_weak(left, left - 1)) {
    }
    return left != 1;
}

bool accounting_applies() {
    return unaccounted_depth == 0;
}

} // namespace simulator
