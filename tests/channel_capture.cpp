#include "tests/channel_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace vandrel::testing {

channel_capture::channel_capture(bool debug)
    : channel_(std::make_shared<output_str_state>(std::nullopt)) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    channel_->set_debug(debug);
    writer_ = std::thread([channel = channel_.get()] { channel->writer_loop(); });
}

channel_capture::~channel_capture() {
    if (writer_.joinable()) {
        finish();
    }
}

written channel_capture::finish() {
    channel_->shutdown();
    writer_.join();
    written result;
    result.records = ::testing::internal::GetCapturedStdout();
    std::istringstream diagnostics(::testing::internal::GetCapturedStderr());
    for (std::string line; std::getline(diagnostics, line);) {
        result.diagnostics.push_back(line);
    }
    return result;
}

int count_ending(const std::vector<std::string>& lines, const std::string& ending) {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.ends_with(ending);
    }));
}

} // namespace vandrel::testing
