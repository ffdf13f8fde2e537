#pragma once

#include "output/output_str_state.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vandrel::testing {

/// The output of a channel.
struct written {
    /// Standard output, byte for byte.
    std::string records;
    /// The lines of standard error.
    std::vector<std::string> diagnostics;
};

/// A channel with its writer thread, for tests that check its output. The standard streams are
/// captured from construction to `finish`. Only one capture may exist at a time.
class channel_capture {
public:
    /// `debug`: whether diagnostics are written.
    explicit channel_capture(bool debug = true);
    ~channel_capture();
    channel_capture(const channel_capture&) = delete;
    channel_capture& operator=(const channel_capture&) = delete;

    const std::shared_ptr<output_str_state>& channel() const { return channel_; }

    /// Shuts the channel down, waits for the writer and returns the output. Called once.
    written finish();

private:
    std::shared_ptr<output_str_state> channel_;
    std::thread writer_;
};

/// How many of `lines` end in `ending`.
int count_ending(const std::vector<std::string>& lines, const std::string& ending);

} // namespace vandrel::testing
