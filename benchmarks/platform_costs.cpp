/// platform_costs JOB: what a job costs the core, as a JSON object: the calls of the platform's
/// functions, the core's own allocations, and the text that is converted.
///
///     start         a whole run of --list-devices; VANDREL_SCENARIO has no devices
///     report        one report of a restore, to the queued record
///     device-info   the properties of a device, to the queued record
///
/// The platform's functions are those of the stand-in libraries, behind the product's forwarding.
/// Only the calling thread is counted, so the counts are the same in every run.

#include "device/RestorableDeviceHandler.h"
#include "device/device_properties.h"
#include "driver/parse_arguments.h"
#include "driver/run_command.h"
#include "output/output_str_state.h"
#include "platform/forwarding/apple_libraries.h"
#include "platform/forwarding/apple_library.h"

#include <boost/asio/io_context.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>

namespace {

struct costs {
    std::int64_t allocations = 0;
    std::int64_t allocated_bytes = 0;
    /// Bytes of text that became strings of the platform, or came out of them.
    std::int64_t converted_bytes = 0;
};

costs counted;
thread_local bool is_counting = false;
/// What the platform allocates is not counted. Nor is what the core allocates while the platform
/// calls it back: that happens only to copy and check containers, for which the core allocates
/// nothing.
thread_local bool is_in_platform = false;

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    if (is_counting && !is_in_platform) {
        ++counted.allocations;
        counted.allocated_bytes += static_cast<std::int64_t>(size);
    }
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

// Inlining would cause a false mismatched-free warning.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace vandrel;

/// A type for each function of the platform.
namespace functions {
#define FUNCTION(library, name)                                                                    \
    struct name {};
#define CONSTANT(library, name, type)
#include "platform/forwarding/forwarded.inc"
#undef FUNCTION
#undef CONSTANT
} // namespace functions

// The bytes of text that a call has converted.

template<class Function, class... Arguments>
std::int64_t text_size(Function, Arguments...) {
    return 0;
}

std::int64_t text_size(functions::CFStringCreateWithCString, CFAllocatorRef, const char* text,
                       CFStringEncoding) {
    return static_cast<std::int64_t>(std::strlen(text));
}

std::int64_t text_size(functions::CFStringCreateWithBytes, CFAllocatorRef, const std::uint8_t*,
                       CFIndex count, CFStringEncoding, Boolean) {
    return count;
}

std::int64_t text_size(functions::CFStringGetCString, CFStringRef, char* buffer, CFIndex,
                       CFStringEncoding) {
    return static_cast<std::int64_t>(std::strlen(buffer));
}

std::map<std::string, std::int64_t>& calls() {
    static std::map<std::string, std::int64_t> numbers;
    return numbers;
}

/// Stands between the core and a function of the platform.
template<class Function, class Signature>
struct counting;

template<class Function, class Result, class... Arguments>
struct counting<Function, Result(Arguments...)> {
    static inline Result (*real)(Arguments...) = nullptr;
    static inline std::int64_t* number = nullptr;

    static void* before(void* function, const char* name) {
        real = reinterpret_cast<Result (*)(Arguments...)>(function);
        number = &calls()[name];
        return reinterpret_cast<void*>(call);
    }

    static Result call(Arguments... arguments) {
        const bool is_nested = std::exchange(is_in_platform, true);
        if constexpr (std::is_void_v<Result>) {
            real(arguments...);
            count(is_nested, arguments...);
        } else {
            const Result result = real(arguments...);
            count(is_nested, arguments...);
            return result;
        }
    }

    static void count(bool is_nested, Arguments... arguments) {
        is_in_platform = is_nested;
        if (is_counting) {
            ++*number;
            counted.converted_bytes += text_size(Function(), arguments...);
        }
    }
};

} // namespace

library_handle vandrel::open_apple_library(apple_library which) {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "apple";
    const auto file = folder / (which == apple_library::core_foundation ? "libCoreFoundation.so"
                                                                        : "libMobileDevice.so");
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw apple_library_missing(dlerror());
    }
    return library;
}

void* vandrel::find_symbol(library_handle library, const char* name) {
    void* const symbol = dlsym(library, name);
    const std::string_view wanted = name;
#define FUNCTION(library, function)                                                                \
    if (wanted == #function) {                                                                     \
        return counting<functions::function, decltype(::function)>::before(symbol, name);          \
    }
#define CONSTANT(library, constant, type)
#include "platform/forwarding/forwarded.inc"
#undef FUNCTION
#undef CONSTANT
    return symbol;
}

namespace {

/// Does `job` twice and counts the second time: the first looks up the constant strings.
void count_second(const std::function<void()>& job) {
    job();
    is_counting = true;
    job();
    is_counting = false;
}

std::shared_ptr<output_str_state> make_channel(boost::asio::io_context& context) {
    start_options options;
    options.output_pipe = open("/dev/null", O_WRONLY);
    return make_output_state(context, options);
}

void count_start(boost::asio::io_context& context) {
    constexpr std::array arguments = {"vandrel", "--list-devices", "--detect-timeout", "0"};
    is_counting = true;
    const parse_result parsed =
        parse_arguments(static_cast<int>(arguments.size()), arguments.data());
    const auto channel = make_channel(context);
    const int status = run_command(parsed.options, parsed.description, channel);
    is_counting = false;
    if (status != 0) {
        throw std::runtime_error("the run has failed");
    }
}

void count_report(boost::asio::io_context& context) {
    const cf_handle<CFMutableDictionaryRef> report(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const std::int32_t operation = 14;
    const std::int64_t progress = 50;
    CFDictionarySetValue(report.get(), CFSTR("Status"), CFSTR("Restoring"));
    CFDictionarySetValue(
        report.get(), CFSTR("Operation"),
        cf_handle<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt32Type, &operation)).get());
    CFDictionarySetValue(
        report.get(), CFSTR("Progress"),
        cf_handle<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &progress)).get());
    const auto channel = make_channel(context);
    device_notifier_state session(channel, std::nullopt,
                                  boost::filesystem::path("platform-costs-make-no-such-folder"));
    count_second([&] { device_notifier_state::restoreCallback(nullptr, report.get(), &session); });
}

/// The first device that connects.
cf_handle<_AMRestorableDevice*> wait_for_device() {
    static std::promise<_AMRestorableDevice*> first;
    static std::once_flag is_first;
    const auto connected = [](_AMRestorableDevice* device, std::uint32_t, void*) {
        std::call_once(is_first, [&] {
            CFRetain(device);
            first.set_value(device);
        });
    };
    CFErrorRef error = nullptr;
    AMRestorableDeviceRegisterForNotifications(connected, nullptr, &error);
    return cf_handle<_AMRestorableDevice*>(first.get_future().get());
}

void count_device_info(boost::asio::io_context& context) {
    const auto device = wait_for_device();
    const auto channel = make_channel(context);
    count_second([&] {
        const auto properties =
            make_device_info(Orv::ecid(AMRestorableDeviceGetECID(device.get())), device.get());
        channel->print_value(CFSTR("DeviceInfo"), device_info_dictionary(properties).get());
    });
}

void print_counts() {
    std::printf("{");
    for (const auto& [name, number] : calls()) {
        if (number != 0) {
            std::printf("\"%s\": %lld, ", name.c_str(), static_cast<long long>(number));
        }
    }
    std::printf("\"allocations\": %lld, \"allocated bytes\": %lld, \"converted bytes\": %lld}\n",
                static_cast<long long>(counted.allocations),
                static_cast<long long>(counted.allocated_bytes),
                static_cast<long long>(counted.converted_bytes));
}

} // namespace

int main(int argument_count, char** arguments) {
    const std::string job = argument_count > 1 ? arguments[1] : "";
    load_apple_libraries();
    boost::asio::io_context context;
    if (job == "start") {
        count_start(context);
    } else if (job == "report") {
        count_report(context);
    } else if (job == "device-info") {
        count_device_info(context);
    } else {
        std::fputs("usage: platform_costs start|report|device-info\n", stderr);
        return EXIT_FAILURE;
    }
    print_counts();
    // The platform's threads still run.
    std::fflush(stdout);
    std::_Exit(EXIT_SUCCESS);
}
