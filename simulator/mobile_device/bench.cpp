#include "simulator/mobile_device/bench.h"

#include "simulator/mobile_device/utf8_path.h"

#include <cerrno>
#include <charconv>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace simulator {

namespace {

/// A time in the state file: nanoseconds of the clock, or "-" for none.
std::string time_text(const std::optional<bench::clock::time_point>& time) {
    return time ? std::to_string(std::chrono::nanoseconds(time->time_since_epoch()).count()) : "-";
}

std::optional<bench::clock::time_point> time_of(const std::string& text) {
    std::int64_t count = 0;
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data(), end, count).ptr != end || text.empty()) {
        return std::nullopt;
    }
    return bench::clock::time_point(
        std::chrono::duration_cast<bench::clock::duration>(std::chrono::nanoseconds(count)));
}

std::string hexadecimal(std::uint64_t ecid) {
    std::ostringstream text;
    text << std::hex << ecid;
    return text.str();
}

} // namespace

bench::bench(const std::string& folder) : folder_(utf8_path(folder)) {
    try {
        std::filesystem::create_directories(folder_);
        const file_lock bench_lock = lock_bench();
        state content = read();
        // The clock begins at 0 when the machine starts: a start in the future is an old one.
        if (!content.start || *content.start > clock::now()) {
            content = {clock::now(), {}};
            write(content);
        }
        start_ = *content.start;
    } catch (const std::system_error& error) {
        throw std::runtime_error(folder + ": folder: is unusable (" + error.code().message() +
                                 "); should be a folder that can be written");
    }
}

std::map<std::uint64_t, bench::history> bench::devices() {
    const std::lock_guard lock(mutex_);
    const file_lock bench_lock = lock_bench();
    std::map<std::uint64_t, history> result;
    for (const auto& [ecid, known] : read().entries) {
        history& device = result[ecid];
        device = {known.restores, std::nullopt, known.restored, known.returns};
        // The holder may have been killed.
        if (known.held_since && !held_.contains(ecid) && !file_lock::try_take(hold_file(ecid))) {
            device.held_by_other_since = known.held_since;
        }
    }
    return result;
}

std::optional<std::int64_t> bench::begin_restore(std::uint64_t ecid) {
    const std::lock_guard lock(mutex_);
    const file_lock bench_lock = lock_bench();
    if (!held_.contains(ecid)) {
        file_lock hold = file_lock::try_take(hold_file(ecid));
        if (!hold) {
            return std::nullopt;
        }
        held_.emplace(ecid, std::move(hold));
    }
    state content = read();
    entry& known = content.entries[ecid];
    known.held_since = clock::now();
    const std::int64_t before = known.restores++;
    write(content);
    return before;
}

void bench::complete_restore(std::uint64_t ecid, std::optional<clock::time_point> returns) {
    const std::lock_guard lock(mutex_);
    const file_lock bench_lock = lock_bench();
    state content = read();
    entry& known = content.entries[ecid];
    known.held_since.reset();
    known.restored = clock::now();
    known.returns = returns;
    write(content);
    held_.erase(ecid);
}

bool bench::holds_any() {
    const std::lock_guard lock(mutex_);
    return !held_.empty();
}

void bench::alone(const std::function<void()>& act) {
    const std::lock_guard lock(mutex_);
    const file_lock bench_lock = lock_bench();
    act();
}

std::filesystem::path bench::hold_file(std::uint64_t ecid) const {
    return folder_ / ("held-" + hexadecimal(ecid));
}

file_lock bench::lock_bench() const {
    return file_lock::wait_for(folder_ / "lock");
}

bench::state bench::read() const {
    state result;
    std::ifstream file(folder_ / "state");
    std::string start;
    file >> start;
    result.start = time_of(start);
    std::int64_t restores = 0;
    std::string held_since;
    std::string restored;
    std::string returns;
    for (std::uint64_t ecid = 0;
         file >> std::hex >> ecid >> std::dec >> restores >> held_since >> restored >> returns;) {
        result.entries[ecid] = {restores, time_of(held_since), time_of(restored), time_of(returns)};
    }
    if (file.is_open() && !file.eof()) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    return result;
}

void bench::write(const state& content) const {
    // If the process is killed during the write, the old file stays complete.
    const std::filesystem::path next = folder_ / "state.next";
    {
        std::ofstream file(next, std::ios::binary | std::ios::trunc);
        file << time_text(content.start) << '\n';
        for (const auto& [ecid, known] : content.entries) {
            file << hexadecimal(ecid) << ' ' << known.restores << ' ' << time_text(known.held_since)
                 << ' ' << time_text(known.restored) << ' ' << time_text(known.returns) << '\n';
        }
        file.close();
        if (!file) {
            throw std::system_error(errno, std::generic_category());
        }
    }
    std::filesystem::rename(next, folder_ / "state");
}

} // namespace simulator
