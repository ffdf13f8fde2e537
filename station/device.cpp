#include "station/device.h"

#include <algorithm>

namespace vandrel::station {

std::optional<std::string> normalized_ecid(std::string_view text) {
    constexpr std::size_t length = 16;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    if (text.empty() || text.size() > length) {
        return std::nullopt;
    }
    std::string result(length - text.size(), '0');
    for (const char c : text) {
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')) {
            result += c;
        } else if (c >= 'a' && c <= 'f') {
            result += static_cast<char>(c - 'a' + 'A');
        } else {
            return std::nullopt;
        }
    }
    return result;
}

bool fits(const device_properties& device, const std::vector<build_identity>& identities,
          std::optional<restore_behavior> behavior) {
    return device.chip_id != 0 && std::ranges::any_of(identities, [&](const build_identity& each) {
               return each.chip_id == device.chip_id && each.board_id == device.board_id &&
                      (!behavior || !each.behavior || each.behavior == behavior);
           });
}

} // namespace vandrel::station
