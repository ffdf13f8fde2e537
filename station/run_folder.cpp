#include "station/run_folder.h"

#include "station/text.h"

#include <fmt/format.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

constexpr std::size_t queue_bytes = std::size_t{16} * 1024 * 1024;
/// Little beside the queue, so that this counts nearly all that waits.
constexpr std::size_t gathered_bytes = std::size_t{64} * 1024;

} // namespace

std::string try_folder(const std::string& ecid, int visit, int try_number) {
    return fmt::format("{}-visit{}-try{}", ecid, visit, try_number);
}

std::string run_name(const std::filesystem::path& run_folder) {
    const auto whole = std::filesystem::absolute(run_folder).lexically_normal();
    return text_of(whole.has_filename() ? whole.filename() : whole.parent_path().filename());
}

namespace {

/// A new file that is added to, all or nothing: half a line does not stay when writing fails.
class growing_file {
public:
    explicit growing_file(std::filesystem::path path) : path_(std::move(path)) {}

    bool open() {
        if (!file_.is_open()) {
            file_.clear();
            file_.open(path_, std::ios::binary | std::ios::app);
        }
        return file_.is_open();
    }

    /// Whether it was added.
    bool add(std::string_view bytes) {
        if (!open()) {
            return false;
        }
        file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        file_.flush();
        if (file_) {
            size_ += bytes.size();
            return true;
        }
        // An open stream would write later what it could not write now.
        file_.close();
        std::error_code ignored;
        std::filesystem::resize_file(path_, size_, ignored);
        return false;
    }

private:
    std::filesystem::path path_;
    std::ofstream file_;
    std::uintmax_t size_ = 0;
};

} // namespace

/// Once the folder is made, used in the background only, except for the hole.
struct run_folder::files {
    explicit files(std::filesystem::path folder) : path(std::move(folder)) {}

    void lose(const std::string& what) {
        const std::lock_guard lock(mutex);
        if (!hole) {
            hole = what;
        }
    }

    void log(std::string_view line) {
        if (!events.add(line)) {
            lose("events.jsonl could not be written");
        }
    }

    void append(const std::string& of, const std::string& name, std::string_view bytes) {
        const std::filesystem::path folder = path / path_of(of);
        auto [file, is_new] = open[of].try_emplace(name, folder / path_of(name));
        if (is_new) {
            std::error_code ignored;
            std::filesystem::create_directories(folder, ignored);
        }
        if (!file->second.add(bytes)) {
            lose(of + "/" + name + " could not be written");
        }
    }

    std::filesystem::path unfinished(const std::string& name) const {
        return path / path_of(name + ".new");
    }

    void replace(const std::string& name, std::string_view content) {
        {
            std::ofstream file(unfinished(name), std::ios::binary | std::ios::trunc);
            file.write(content.data(), static_cast<std::streamsize>(content.size()));
            file.flush();
            if (!file) {
                lose(name + " could not be written");
                return;
            }
        }
        if (put_in_place(name)) {
            stale.insert(name);
        } else {
            stale.erase(name);
        }
    }

    std::error_code put_in_place(const std::string& name) const {
        std::error_code error;
        std::filesystem::rename(unfinished(name), path / path_of(name), error);
        return error;
    }

    /// The last attempt to replace the files that could not be replaced before.
    void replace_stale() {
        for (const std::string& name : std::exchange(stale, {})) {
            if (const std::error_code error = put_in_place(name)) {
                lose(name + " could not be replaced: " + error.message());
            }
        }
    }

    void keep(const std::filesystem::path& file, const std::string& of) {
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error)) {
            return;
        }
        std::filesystem::create_directories(path / path_of(of), error);
        std::filesystem::copy_file(file, path / path_of(of) / file.filename(),
                                   std::filesystem::copy_options::overwrite_existing, error);
        if (error) {
            lose(of + "/" + text_of(file.filename()) + " could not be kept: " + error.message());
        }
    }

    std::filesystem::path path;
    growing_file events{path / "events.jsonl"};
    std::map<std::string, std::map<std::string, growing_file>> open;
    /// Files whose newest content could not be put in their place yet.
    std::set<std::string> stale;
    std::mutex mutex;
    std::optional<std::string> hole;
};

run_folder::run_folder(const std::filesystem::path& path)
    : path_(path), files_(std::make_shared<files>(path)), writer_(queue_bytes) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (!error && !std::filesystem::is_empty(path, error) && !error) {
        throw std::runtime_error("the run folder " + printable(text_of(path)) + " is not empty");
    }
    if (error || !files_->events.open()) {
        throw std::runtime_error("the run folder " + printable(text_of(path)) + " cannot be made" +
                                 (error ? ": " + error.message() : ""));
    }
}

run_folder::~run_folder() = default;

void run_folder::post(std::size_t bytes, std::function<void(files&)> task) {
    // The files outlive this object as long as the background needs them.
    queue(bytes, [kept = files_, task = std::move(task)] {
        try {
            task(*kept);
        } catch (const std::exception& error) {
            kept->lose(error.what());
        }
    });
}

bool run_folder::queue(std::size_t bytes, std::function<void()> task) {
    const bool taken = writer_.post(bytes, std::move(task));
    if (!taken) {
        files_->lose("the run folder takes what is written too slowly");
    }
    return taken;
}

void run_folder::log(std::string_view line) {
    events_ += line;
    count(line.size());
}

void run_folder::count(std::size_t bytes) {
    added_bytes_ += bytes;
    if (added_bytes_ > gathered_bytes) {
        flush();
    }
}

void run_folder::flush() {
    added_bytes_ = 0;
    if (!events_.empty()) {
        const std::size_t size = events_.size();
        post(size, [lines = std::exchange(events_, {})](files& all) { all.log(lines); });
    }
    for (auto& [where, bytes] : std::exchange(added_, {})) {
        const std::size_t size = bytes.size();
        post(size, [where = where, bytes = std::move(bytes)](files& all) {
            all.append(where.first, where.second, bytes);
        });
    }
}

void run_folder::replace(const std::string& name, std::string content) {
    flush();
    const std::size_t size = content.size();
    post(size, [name, content = std::move(content)](files& all) { all.replace(name, content); });
}

void run_folder::append(const std::string& of, const std::string& name, std::string_view bytes) {
    added_[{of, name}] += bytes;
    count(bytes.size());
}

void run_folder::keep(const std::filesystem::path& file, const std::string& of,
                      const std::function<void()>& done) {
    const bool taken = queue(0, [kept = files_, file, of, done] {
        kept->keep(file, of);
        done();
    });
    if (!taken) {
        done();
    }
}

void run_folder::close(const std::string& of) {
    flush();
    post(0, [of](files& all) { all.open.erase(of); });
}

std::optional<std::string> run_folder::hole() const {
    const std::lock_guard lock(files_->mutex);
    return files_->hole;
}

void run_folder::when_written(const std::function<void()>& done) {
    flush();
    if (!queue(0, done)) {
        done();
    }
}

void run_folder::give_up() {
    files_->lose("the run folder takes nothing any more");
}

void run_folder::finish(std::chrono::milliseconds limit) {
    flush();
    post(0, [](files& all) { all.replace_stale(); });
    if (!writer_.drain(limit)) {
        give_up();
    }
}

} // namespace vandrel::station
