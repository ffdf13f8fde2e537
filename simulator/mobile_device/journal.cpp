#include "simulator/mobile_device/journal.h"

#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/string.h"
#include "simulator/mobile_device/utf8_path.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace simulator {

namespace {

/// Makes the object that stands for an argument's value in an entry; null when there is none.
struct value_maker {
    owned<const object> operator()(bool truth) const {
        return retained<const object>(truth ? kCFBooleanTrue : kCFBooleanFalse);
    }
    owned<const object> operator()(std::int64_t number) const {
        return owned<const object>(create<__CFNumber>(number));
    }
    owned<const object> operator()(const std::string& text) const {
        return owned<const object>(make_string(text));
    }
    owned<const object> operator()(const object* reference) const {
        const bool as_text = describing && reference != nullptr;
        return as_text ? (*this)(reference->describe()) : retained(reference);
    }

    /// Whether objects are described, for no property list can hold them.
    bool describing;
};

void set(__CFDictionary& dictionary, const char* key, const owned<const object>& value) {
    if (value) {
        const owned<const __CFString> name(make_string(key));
        dictionary.table.set(*name, value.get());
    }
}

/// Null when no property list can hold one of the arguments.
owned<const __CFData> make_entry(const char* call, const std::string* device,
                                 std::initializer_list<argument> arguments, double time,
                                 value_maker make_value) {
    const owned<__CFDictionary> arguments_made(create<__CFDictionary>());
    for (const argument& given : arguments) {
        set(*arguments_made, given.name, std::visit(make_value, given.value));
    }
    const owned<__CFDictionary> entry(create<__CFDictionary>());
    set(*entry, "Call", make_value(std::string(call)));
    if (device != nullptr) {
        set(*entry, "Device", make_value(*device));
    }
    set(*entry, "Arguments", retained<const object>(arguments_made.get()));
    set(*entry, "Time", owned<const object>(create<__CFNumber>(time)));
    return owned<const __CFData>(CFPropertyListCreateData(
        kCFAllocatorDefault, entry.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
}

} // namespace

journal::journal(const std::string& path) : path_(path) {
    // Without a buffer, each write reaches the system as one.
    file_.rdbuf()->pubsetbuf(nullptr, 0);
    errno = 0;
    file_.open(utf8_path(path), std::ios::binary | std::ios::trunc);
    if (!file_) {
        throw std::system_error(errno, std::generic_category());
    }
}

void journal::record(const char* call, const std::string* device,
                     std::initializer_list<argument> arguments) {
    const unaccounted_scope scope;
    const std::lock_guard lock(mutex_);
    const double time =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    auto entry = make_entry(call, device, arguments, time, {.describing = false});
    if (!entry) {
        entry = make_entry(call, device, arguments, time, {.describing = true});
    }
    if (!file_) {
        return;
    }
    file_.write(reinterpret_cast<const char*>(entry->bytes.data()),
                static_cast<std::streamsize>(entry->bytes.size()));
    if (!file_) {
        std::fprintf(stderr, "vandrel-sim: %s: journal cannot be written any further\n",
                     path_.c_str());
    }
}

} // namespace simulator
