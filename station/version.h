#pragma once

namespace vandrel::station {

inline constexpr const char* version = VANDREL_STATION_VERSION;

} // namespace vandrel::station
