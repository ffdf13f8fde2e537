#pragma once

#include "output/output_str_state.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vandrel::testing {

/// What a channel has written.
struct written {
    /// Standard output, byte for byte.
    std::string records;
    /// The lines of the standard error stream.
    std::vector<std::string> diagnostics;
};

/// A channel with its writer, whose output a test looks at. The standard streams are captured from
/// construction to finish; one capture at a time.
class channel_capture {
public:
    /// With diagnostics switched on, unless told otherwise.
    explicit channel_capture(bool debug = true);
    ~channel_capture();
    channel_capture(const channel_capture&) = delete;
    channel_capture& operator=(const channel_capture&) = delete;

    const std::shared_ptr<output_str_state>& channel() const { return channel_; }

    /// Shuts the channel down and waits for the writer. Once.
    written finish();

private:
    std::shared_ptr<output_str_state> channel_;
    std::thread writer_;
};

/// How many of `lines` end in `ending`.
int count_ending(const std::vector<std::string>& lines, const std::string& ending);

} // namespace vandrel::testing
