#include "station/text.h"
#include "station/tool_process.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>

namespace vandrel::station {

namespace {

TEST(tool_process, passes_on_the_end_of_a_process_after_what_it_has_written) {
    const vandrel::testing::temporary_folder made;
    const std::filesystem::path folder = made.path().string();
    // As much as lies in a pipe that nobody reads.
    constexpr std::size_t size = 50'000;
    std::ofstream(folder / "1.restore") << "write some";
    std::ofstream(folder / "some") << std::string(size, 'x');
    boost::asio::io_context context;
    std::vector<std::string> happened;
    std::size_t count = 0;
    tool_handlers handlers;
    handlers.bytes = [&](std::string_view bytes) { count += bytes.size(); };
    handlers.arrived = [](const record&) {};
    handlers.stream_ended = [&] { happened.emplace_back("stream"); };
    handlers.process_ended = [&](int) { happened.push_back("process " + std::to_string(count)); };
    // Nothing is read before the process has ended.
    handlers.is_behind = [] { return true; };
    const auto process = tool_process::start(context, {SCRIPTED_TOOL, {text_of(folder)}},
                                             {"--restore", "--ecid", "1"}, folder, handlers);
    context.run_for(std::chrono::seconds(60));
    EXPECT_THAT(happened, ::testing::UnorderedElementsAre("stream", "process 50000"));
}

} // namespace

} // namespace vandrel::station
