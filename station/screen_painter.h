#pragma once

/// What has to be written to a terminal so that it shows a frame.

#include "station/live_view.h"

#include <string>
#include <vector>

namespace vandrel::station {

class screen_painter {
public:
    /// What changes the screen from the last frame to this one; empty when it shows this one
    /// already. The caller gives no more lines than the screen has, and none that is wider. The
    /// first frame, and each frame of another size than the last, is drawn as a whole.
    std::string update(std::vector<std::string> lines, screen_size size);

private:
    std::vector<std::string> shown_;
    screen_size size_{0, 0};
};

} // namespace vandrel::station
