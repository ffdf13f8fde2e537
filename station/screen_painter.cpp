#include "station/screen_painter.h"

#include <fmt/format.h>

#include <utility>

namespace vandrel::station {

std::string screen_painter::update(std::vector<std::string> lines, screen_size size) {
    std::string bytes;
    if (size != size_) {
        size_ = size;
        shown_.clear();
        bytes = "\x1b[2J";
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i >= shown_.size() || lines[i] != shown_[i]) {
            bytes += fmt::format("\x1b[{};1H{}\x1b[K", i + 1, lines[i]);
        }
    }
    if (lines.size() < shown_.size()) {
        bytes += fmt::format("\x1b[{};1H\x1b[J", lines.size() + 1);
    }
    if (!bytes.empty()) {
        // What another program writes lands on the first line. That has a clock, so that it is soon
        // drawn again.
        bytes += "\x1b[H";
    }
    shown_ = std::move(lines);
    return bytes;
}

} // namespace vandrel::station
