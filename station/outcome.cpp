#include "station/outcome.h"

namespace vandrel::station {

int exit_status_of(const outcome& outcome) {
    constexpr int refused = 2;
    constexpr int nothing_fits = 3;
    constexpr int cannot_work = 4;
    constexpr int log_incomplete = 5;
    constexpr int cancelled = 130;
    if (outcome.refused) {
        return refused;
    }
    if (outcome.cannot_work) {
        return cannot_work;
    }
    if (outcome.nothing_fits) {
        return nothing_fits;
    }
    if (!outcome.all_done) {
        return outcome.cancelled ? cancelled : 1;
    }
    return outcome.log_incomplete ? log_incomplete : 0;
}

} // namespace vandrel::station
