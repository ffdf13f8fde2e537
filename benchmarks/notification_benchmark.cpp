/// Device notifications: the cost of one, depending on the number of devices in the table, and the
/// time until the worker that waits for the device runs.

#include "benchmarks/devices.h"
#include "benchmarks/reports.h"
#include "benchmarks/stopwatch.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace vandrel;
using namespace vandrel::benchmarks;

constexpr auto connected = notification_type::connected;
constexpr auto disconnected = notification_type::disconnected;

/// A session with a writer that drops its diagnostics, as in a run without --debug.
struct running_session {
    running_session() : writer([this] { channel->writer_loop(); }) {}
    running_session(const running_session&) = delete;
    running_session& operator=(const running_session&) = delete;
    ~running_session() {
        session.reset();
        channel->shutdown();
        writer.join();
    }

    std::shared_ptr<output_str_state> channel = std::make_shared<output_str_state>(std::nullopt);
    std::unique_ptr<device_notifier_state> session = make_session(channel);
    std::thread writer;
};

/// Connects one of 64 devices, and removes it again while the clock is stopped.
void connect(benchmark::State& state) {
    const auto there = make_devices(1, state.range(0));
    const auto coming = make_devices(1U << 30, 64);
    const running_session running;
    for (const auto& device : there) {
        notify(*running.session, device, connected);
    }
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& device = coming[next++ % coming.size()];
        const stopwatch watch;
        notify(*running.session, device, connected);
        state.SetIterationTime(watch.seconds());
        notify(*running.session, device, disconnected);
    }
}
BENCHMARK(connect)->Arg(10)->Arg(1'000)->Arg(100'000)->UseManualTime()->Iterations(200'000);

constexpr int handovers = 2'000;

/// The median of the seconds from the call of `hand_over` to the return of `wait` on a thread that
/// was already waiting. `take_back` prepares the next round.
template<class Wait, class HandOver, class TakeBack>
double median_handover(Wait wait, HandOver hand_over, TakeBack take_back) {
    using clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (int i = 0; i < handovers; ++i) {
        std::atomic<bool> begins{false};
        clock::time_point returned;
        std::thread worker([&] {
            begins = true;
            wait();
            returned = clock::now();
        });
        while (!begins) {
            std::this_thread::yield();
        }
        // Long enough for the worker to be asleep.
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        const auto called = clock::now();
        hand_over();
        worker.join();
        times.push_back(std::chrono::duration<double>(returned - called).count());
        take_back();
    }
    std::ranges::nth_element(times, times.begin() + handovers / 2);
    return times[handovers / 2];
}

void handover(benchmark::State& state) {
    const auto devices = make_devices(1, 1);
    const running_session running;
    const Orv::ecid ecid(std::uint64_t{1});
    running.session->detectTimeout = 3'600'000'000'000;
    for (auto _ : state) {
        state.SetIterationTime(
            median_handover([&] { running.session->waitForDevice(ecid); },
                            [&] { notify(*running.session, devices[0], connected); },
                            [&] { notify(*running.session, devices[0], disconnected); }));
    }
}

void bare_handover(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable changed;
    bool is_there = false;
    for (auto _ : state) {
        state.SetIterationTime(median_handover(
            [&] {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return is_there; });
            },
            [&] {
                {
                    const std::lock_guard lock(mutex);
                    is_there = true;
                }
                changed.notify_all();
            },
            [&] { is_there = false; }));
    }
}
BENCHMARK(handover)->UseManualTime()->Iterations(1);
BENCHMARK(bare_handover)->UseManualTime()->Iterations(1);

} // namespace

BENCHMARK_MAIN();
