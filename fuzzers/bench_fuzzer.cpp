/// The station's rules over histories that nobody thought of: clocks with gaps, lists that fail,
/// processes that end before and after their streams. The rules are written down a second time.

#include "fuzzers/fuzzing.h"
#include "station/test_bench_play.h"

namespace vandrel::fuzzing {

void try_input(input bytes) {
    station::play_bench(bytes, require);
}

} // namespace vandrel::fuzzing
