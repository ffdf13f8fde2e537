#include "driver/entry_point.h"

#include "driver/exception_error.h"
#include "driver/parse_arguments.h"
#include "driver/run_command.h"
#include "output/output_str_state.h"
#include "platform/native_process.h"

#include <boost/asio/io_context.hpp>

#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>

namespace vandrel {

namespace {

/// What the worker thread needs. Never deleted: the process ends while it is in use.
struct command_runner {
    start_options options;
    boost::program_options::options_description description;
    std::unique_ptr<boost::asio::io_context> service_context;
    std::shared_ptr<output_str_state> outputter;
    std::thread writer;
};

[[noreturn]] void run_to_the_end(command_runner& runner) {
    const int status = run_command(runner.options, runner.description, runner.outputter);
    runner.outputter->shutdown();
    runner.writer.join();
    std::exit(status);
}

} // namespace

int entry_point(int argument_count, const char* const* arguments) {
    prepare_process();
    parse_result parsed = parse_arguments(argument_count, arguments);
    // Destroyed after the channel, whose pipe belongs to it.
    auto service_context = std::make_unique<boost::asio::io_context>();
    auto outputter = make_output_state(*service_context, parsed.options);
    std::thread writer([channel = outputter.get()] { channel->writer_loop(); });

    if (parsed.status != 0) {
        const int status = report_error(parsed.error.get(), *outputter);
        outputter->shutdown();
        writer.join();
        return status;
    }

    auto* const runner =
        new command_runner{std::move(parsed.options), std::move(parsed.description),
                           std::move(service_context), std::move(outputter), std::move(writer)};
    std::thread([runner] { run_to_the_end(*runner); }).detach();
    wait_for_process_end();
}

} // namespace vandrel
