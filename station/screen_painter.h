#pragma once

/// What a terminal has to be written so that it shows a frame.

#include "station/live_view.h"

#include <string>
#include <vector>

namespace vandrel::station {

class screen_painter {
public:
    /// Changes the screen from the last frame to this one; empty when it shows it already. Lines
    /// are no wider than the screen, and no more than it has. With another size, all is drawn anew.
    std::string update(std::vector<std::string> lines, screen_size size);

private:
    std::vector<std::string> shown_;
    screen_size size_{0, 0};
};

} // namespace vandrel::station
