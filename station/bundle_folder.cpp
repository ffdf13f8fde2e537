#include "station/bundle_folder.h"

#include "station/bundle_cache.h"
#include "station/host.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace vandrel::station {

namespace {

using std::chrono::steady_clock;
using file_clock = std::filesystem::file_time_type::clock;

constexpr const char* being_copied = "is still being copied";
/// Each may hold a manifest. There is more than one only when disks keep threads waiting.
constexpr std::size_t most_threads = 8;

bool is_ipsw(const std::filesystem::path& path) {
    std::string end = text_of(path.extension());
    std::ranges::transform(end, end.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return end == ".ipsw";
}

/// Absent when it is not there any more, or is not a file.
std::optional<file_stamp> stamp_of(const std::filesystem::path& path) {
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(path, error);
    if (error) {
        return {};
    }
    const auto time = std::filesystem::last_write_time(path, error);
    if (error) {
        return {};
    }
    return file_stamp{size, time.time_since_epoch().count()};
}

bool has_changed_within(std::chrono::milliseconds time, const file_stamp& stamp) {
    const auto age = file_clock::now() - file_clock::time_point(file_clock::duration(stamp.time));
    return age >= age.zero() && age < time;
}

bundle_file with_problem(bundle_file file, std::string problem, bool is_passing) {
    file.content.reset();
    file.problem = std::move(problem);
    file.is_passing = is_passing;
    return file;
}

bundle_file read_file(const bundle_folder::settings& how, const bundle_file& listed) {
    bundle_file file = listed;
    if (has_changed_within(how.at_rest, file.stamp) || is_open_for_writing(file.path)) {
        return with_problem(file, being_copied, true);
    }
    try {
        file.content = std::make_shared<const bundle>(how.read(file.path));
    } catch (const unusable_file& error) {
        file.problem = error.why;
    } catch (const std::exception& error) {
        file.problem = "cannot be read: " + printable(error.what());
        file.is_passing = true;
    }
    const auto after = stamp_of(file.path);
    if (!after || *after != listed.stamp || is_open_for_writing(file.path)) {
        return with_problem(file, being_copied, true);
    }
    return file;
}

} // namespace

/// Reads one file after the other. A thread that waits for a disk is left to it, and another one
/// goes on.
struct bundle_folder::reader : std::enable_shared_from_this<bundle_folder::reader> {
    struct job {
        bundle_file file;
        steady_clock::time_point begun;
        bool is_reported = false;
        bool is_done = false;
    };

    struct worker {
        std::thread thread;
        bool has_ended = false;
    };

    explicit reader(settings settings) : how(std::move(settings)) {}

    /// With the mutex held.
    void start_thread() {
        join_ended();
        last_progress = steady_clock::now();
        std::list<worker> one(1);
        worker& added = one.front();
        // When there is no thread, none is counted.
        added.thread = std::thread([self = shared_from_this(), &added] { self->work(added); });
        workers.splice(workers.end(), one);
        ++threads;
    }

    /// With the mutex held. They are joined because on Windows a detached thread that ended made
    /// others miss their wake-ups now and then.
    void join_ended() {
        std::erase_if(workers, [](worker& each) {
            if (each.has_ended) {
                each.thread.join();
            }
            return each.has_ended;
        });
    }

    void work(worker& own) {
        std::unique_lock lock(mutex);
        while (!waiting.empty()) {
            const std::shared_ptr<job> next = waiting.front();
            waiting.pop_front();
            next->begun = steady_clock::now();
            under_way.push_back(next);
            lock.unlock();
            bundle_file result = read_file(how, next->file);
            lock.lock();
            next->file = std::move(result);
            next->is_done = true;
            last_progress = steady_clock::now();
            std::erase(under_way, next);
            changed.notify_all();
            const bool has_successor =
                std::ranges::any_of(under_way, [](const auto& each) { return !each->is_reported; });
            if (next->is_reported && has_successor) {
                break;
            }
        }
        --threads;
        own.has_ended = true;
    }

    /// The jobs of these files, of which some may be under way since an earlier look.
    std::vector<std::shared_ptr<job>> jobs_for(const std::vector<bundle_file>& files) {
        const std::lock_guard lock(mutex);
        std::vector<std::shared_ptr<job>> result;
        for (const bundle_file& each : files) {
            std::shared_ptr<job>& its = jobs[each.path];
            if (!its || its->file.stamp != each.stamp) {
                its = std::make_shared<job>();
                its->file = each;
                waiting.push_back(its);
            }
            result.push_back(its);
        }
        if (!waiting.empty() && threads < most_threads) {
            start_thread();
        }
        return result;
    }

    void wait(const std::vector<std::shared_ptr<job>>& wanted, std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex);
        const auto all_done = [&] {
            return std::ranges::all_of(wanted, [](const auto& each) { return each->is_done; });
        };
        while (!changed.wait_for(lock, how.slow / 4, all_done)) {
            const auto now = steady_clock::now();
            if (now - last_progress > patience) {
                return;
            }
            for (const auto& each : under_way) {
                if (!each->is_reported && now - each->begun > how.slow) {
                    pass_by(*each);
                }
            }
        }
    }

    void pass_by(job& slow_one) {
        slow_one.is_reported = true;
        if (how.is_slow) {
            how.is_slow(slow_one.file.path);
        }
        if (!waiting.empty() && threads < most_threads) {
            start_thread();
        }
    }

    const settings how;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::shared_ptr<job>> waiting;
    std::vector<std::shared_ptr<job>> under_way;
    std::map<std::filesystem::path, std::shared_ptr<job>> jobs;
    std::size_t threads = 0;
    std::list<worker> workers;
    steady_clock::time_point last_progress;
};

bundle_folder::bundle_folder(settings how)
    : how_(std::move(how)), reader_(std::make_shared<reader>(how_)) {
    for (bundle_file& each : load_cache(how_.cache, how_.folder)) {
        known_[each.path] = std::move(each);
    }
}

bundle_folder::~bundle_folder() {
    const std::lock_guard lock(reader_->mutex);
    reader_->waiting.clear();
    reader_->join_ended();
    for (auto& each : reader_->workers) {
        each.thread.detach();
    }
}

std::vector<bundle_file> bundle_folder::list() const {
    std::error_code error;
    std::vector<bundle_file> result;
    for (std::filesystem::directory_iterator each(how_.folder, error), end; !error && each != end;
         each.increment(error)) {
        if (!is_ipsw(each->path())) {
            continue;
        }
        bundle_file file;
        file.path = each->path();
        if (const auto stamp = stamp_of(file.path)) {
            file.stamp = *stamp;
        } else {
            // A pipe, a folder, a link that leads nowhere.
            file.problem = "is no IPSW: it is no file";
            file.is_passing = true;
        }
        result.push_back(std::move(file));
    }
    if (error) {
        throw std::runtime_error(fmt::format("the folder {} cannot be read: {}",
                                             printable(text_of(how_.folder)), error.message()));
    }
    std::ranges::sort(result, {}, &bundle_file::path);
    return result;
}

/// Fills in the files that are known. Returns the others, which have to be read.
std::vector<bundle_file> bundle_folder::take_known() {
    std::vector<bundle_file> unknown;
    for (bundle_file& each : files_) {
        const auto before = known_.find(each.path);
        if (before != known_.end() && before->second.stamp == each.stamp) {
            each = before->second;
        } else if (each.problem.empty()) {
            unknown.push_back(each);
        }
    }
    return unknown;
}

void bundle_folder::read_others(const std::vector<bundle_file>& unknown,
                                std::chrono::milliseconds patience) {
    const auto jobs = reader_->jobs_for(unknown);
    reader_->wait(jobs, patience);
    const std::lock_guard lock(reader_->mutex);
    auto next = jobs.begin();
    for (bundle_file& each : files_) {
        if (next == jobs.end() || (*next)->file.path != each.path) {
            continue;
        }
        if ((*next)->is_done) {
            each = (*next)->file;
            reader_->jobs.erase(each.path);
        } else {
            // It goes on, and a later look has what comes of it.
            each = with_problem(each, "has not been read yet: its disk is slow", true);
        }
        ++next;
    }
}

const std::vector<bundle_file>& bundle_folder::look(std::chrono::milliseconds patience) {
    files_ = list();
    const std::vector<bundle_file> unknown = take_known();
    read_others(unknown, patience);
    std::map<std::filesystem::path, bundle_file> known;
    for (const bundle_file& each : files_) {
        if (!each.is_passing) {
            known[each.path] = each;
        }
    }
    const bool is_new = !unknown.empty() || known.size() != known_.size();
    known_ = std::move(known);
    if (is_new) {
        save();
    }
    return files_;
}

void bundle_folder::verify(std::size_t place) {
    bundle_file& file = files_.at(place);
    if (!file.content || file.is_verified) {
        return;
    }
    try {
        verify_bundle(file.path);
        file.is_verified = true;
    } catch (const unusable_file& error) {
        file = with_problem(file, error.why, false);
    }
    if (stamp_of(file.path) != file.stamp) {
        file = with_problem(file, being_copied, true);
        file.is_verified = false;
        return;
    }
    known_[file.path] = file;
    save();
}

void bundle_folder::save() const {
    save_cache(how_.cache, how_.folder, known_);
}

bundle_list usable(const std::vector<bundle_file>& files) {
    bundle_list result;
    for (const bundle_file& each : files) {
        if (each.content) {
            result.push_back(each.content);
        }
    }
    sort_newest_first(result);
    return result;
}

std::filesystem::path cache_of(const std::filesystem::path& folder) {
    // A name that is the same in each process, and another one for each folder.
    constexpr std::uint64_t offset = 14'695'981'039'346'656'037U;
    constexpr std::uint64_t prime = 1'099'511'628'211U;
    std::uint64_t hash = offset;
    for (const char c : text_of(folder)) {
        hash = (hash ^ static_cast<unsigned char>(c)) * prime;
    }
    try {
        return local_data_folder() / "vandrel" / "bundles" / fmt::format("{:016x}.json", hash);
    } catch (const std::runtime_error&) {
        return {};
    }
}

} // namespace vandrel::station
