/// record_producers PIPE COUNT: eight threads write COUNT / 8 records each, through one channel
/// into the inherited PIPE. A record has the number of its producer, and its own number among the
/// records of that producer.

#include "foundation/cf_handle.h"
#include "output/output_str_state.h"
#include "platform/native_process.h"

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vandrel;

constexpr std::int64_t producer_count = 8;

cf_handle<CFNumberRef> make_number(std::int64_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

void produce(output_str_state& channel, std::int64_t producer, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        const cf_handle<CFMutableDictionaryRef> place(CFDictionaryCreateMutable(
            nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        CFDictionarySetValue(place.get(), CFSTR("Producer"), make_number(producer).get());
        CFDictionarySetValue(place.get(), CFSTR("Number"), make_number(i).get());
        channel.print_value(CFSTR("Place"), place.get());
    }
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 3) {
        return EXIT_FAILURE;
    }
    prepare_process();
    start_options options;
    options.output_pipe = std::stoll(arguments[1]);
    const std::int64_t count = std::stoll(arguments[2]);
    boost::asio::io_context context;
    const auto channel = make_output_state(context, options);
    std::thread writer([&channel] { channel->writer_loop(); });
    std::vector<std::thread> producers;
    for (std::int64_t producer = 0; producer < producer_count; ++producer) {
        producers.emplace_back(
            [&channel, producer, count] { produce(*channel, producer, count / producer_count); });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    channel->shutdown();
    writer.join();
}
