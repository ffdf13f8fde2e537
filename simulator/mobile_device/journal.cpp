#include "simulator/mobile_device/journal.h"

#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/utf8_path.h"

#include <cstdio>
#include <stdexcept>

namespace simulator {

namespace {

/// Puts an argument's value into a dictionary, under its name.
struct argument_setter {
    void operator()(bool truth) const {
        cf_set(dictionary, key, truth ? kCFBooleanTrue : kCFBooleanFalse);
    }
    void operator()(std::int64_t number) const { cf_set_integer(dictionary, key, number); }
    void operator()(const std::string& text) const { cf_set_text(dictionary, key, text); }
    void operator()(CFTypeRef value) const {
        if (describing && value != nullptr) {
            const cf_handle<CFStringRef> text(CFCopyDescription(value));
            cf_set(dictionary, key, text.get());
        } else {
            cf_set(dictionary, key, value);
        }
    }

    CFMutableDictionaryRef dictionary;
    const char* key;
    /// Whether objects are recorded as their descriptions, because no property list can hold them.
    bool describing;
};

/// Null when no property list can hold one of the arguments.
cf_handle<CFDataRef> make_entry(const char* call, const std::string* device,
                                std::initializer_list<argument> arguments, double time,
                                bool describing) {
    const auto arguments_made = cf_dictionary();
    for (const argument& given : arguments) {
        std::visit(argument_setter{arguments_made.get(), given.name, describing}, given.value);
    }
    const auto entry = cf_dictionary();
    cf_set_text(entry.get(), "Call", call);
    if (device != nullptr) {
        cf_set_text(entry.get(), "Device", *device);
    }
    cf_set(entry.get(), "Arguments", arguments_made.get());
    cf_set_real(entry.get(), "Time", time);
    return cf_handle<CFDataRef>(CFPropertyListCreateData(
        kCFAllocatorDefault, entry.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
}

} // namespace

journal::journal(const std::string& path, old_entries old) : path_(path) {
    try {
        file_ = open_regular_file(utf8_path(path), old == old_entries::remove ? file_use::replace
                                                                              : file_use::append);
    } catch (const unusable_file& reason) {
        throw std::runtime_error(path + ": cannot write the journal (" + reason.what() + ")");
    }
    // Without a buffer, each write is one write of the system.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

void journal::record(const char* call, const std::string* device,
                     std::initializer_list<argument> arguments) {
    const unaccounted_scope scope;
    const std::lock_guard lock(mutex_);
    const double time =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    auto entry = make_entry(call, device, arguments, time, false);
    if (!entry) {
        entry = make_entry(call, device, arguments, time, true);
    }
    if (!file_) {
        return;
    }
    const auto length = static_cast<std::size_t>(CFDataGetLength(entry.get()));
    if (std::fwrite(CFDataGetBytePtr(entry.get()), 1, length, file_.get()) != length) {
        file_.reset();
        std::fprintf(stderr, "vandrel-sim: %s: journal cannot be written any further\n",
                     path_.c_str());
    }
}

} // namespace simulator
