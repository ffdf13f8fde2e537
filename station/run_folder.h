#pragma once

/// What a run leaves behind: its events, its summary, and what each tool wrote.

#include "station/background_writer.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vandrel::station {

/// The name of the folder of one try, in the run's folder.
std::string try_folder(const std::string& ecid, int visit, int try_number);

/// The run's name is its folder's, however that is written.
std::string run_name(const std::filesystem::path& run_folder);

/// Writes in the background. What cannot be written is lost, and `hole` says so. What is added to
/// files is gathered until `flush`, because one large write costs little more than a small one. One
/// thread.
class run_folder {
public:
    /// Makes the folder; one that is there has to be empty. Throws std::runtime_error with one
    /// sentence.
    explicit run_folder(const std::filesystem::path& path);
    run_folder(const run_folder&) = delete;
    run_folder& operator=(const run_folder&) = delete;
    ~run_folder();

    const std::filesystem::path& path() const { return path_; }

    /// Adds a whole line to events.jsonl. If that fails, none of the lines of the same flush is
    /// added.
    void log(std::string_view line);
    /// Puts a whole file in the place of the one of this name: readers never see half of it. The
    /// old file stays as long as the new one cannot be put in its place, such as when another
    /// program has the old one open on Windows. The next call puts a newer one there, and `finish`
    /// tries for the last time.
    void replace(const std::string& name, std::string content);
    /// Adds all bytes to the file `name` in the folder `of`, which is made when it is missing. If
    /// that fails, none of the file's bytes of the same flush is added.
    void append(const std::string& of, const std::string& name, std::string_view bytes);
    /// Passes on what was added. `replace`, `close`, `when_written` and `finish` call it first;
    /// `log` and `append` call it when much was added.
    void flush();
    /// Copies a file into the folder `of`, if there is such a file. `done` is called afterwards, in
    /// the background. When the queue is full, the copy is lost, and `done` is called before this
    /// returns.
    void keep(const std::filesystem::path& file, const std::string& of,
              const std::function<void()>& done);
    /// Closes the files of this folder. Nothing may be added to them afterwards.
    void close(const std::string& of);

    /// What was lost first; nothing when nothing was.
    std::optional<std::string> hole() const;
    bool is_behind() const { return writer_.is_behind(); }
    /// Calls `done` once all is written, or has failed: in the background; before this returns when
    /// the queue is full.
    void when_written(const std::function<void()>& done);
    /// It has taken nothing for too long: `hole` says so.
    void give_up();
    /// Waits until all is written, but no longer than this. To be called last.
    void finish(std::chrono::milliseconds limit);

private:
    struct files;
    void post(std::size_t bytes, std::function<void(files&)> task);
    /// False when the queue is full: the task is lost, and there is a hole.
    bool queue(std::size_t bytes, std::function<void()> task);
    /// Counts what was added, and flushes when it is much.
    void count(std::size_t bytes);

    std::filesystem::path path_;
    std::shared_ptr<files> files_;
    background_writer writer_;
    /// Added since the last flush: to events.jsonl, and to files by folder and name.
    std::string events_;
    std::map<std::pair<std::string, std::string>, std::string> added_;
    std::size_t added_bytes_ = 0;
};

} // namespace vandrel::station
