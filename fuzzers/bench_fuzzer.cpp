/// Checks the decisions of the station's rules against rules that are written down a second time,
/// over random histories: clocks with gaps, lists that fail, processes that end before and after
/// their streams.

#include "fuzzers/fuzzing.h"
#include "station/test_bench_play.h"

namespace vandrel::fuzzing {

void try_input(input bytes) {
    station::play_bench(bytes, require);
}

} // namespace vandrel::fuzzing
