#pragma once

/// The tools of a run: their command lines, processes and files.

#include "station/background_writer.h"
#include "station/bench.h"
#include "station/preparation.h"
#include "station/run_folder.h"
#include "station/scratch_folder.h"
#include "station/tool_process.h"

#include <boost/asio/io_context.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vandrel::station {

/// Each tool has a temporary folder. Its diagnostics and its log are copied into the run's folder
/// before the temporary folder is removed. One thread, that of the event loop; no call waits,
/// except `remove_folders`.
class run_tools {
public:
    /// Calls `happened` with what the tools do, in the event loop's thread. `settings` has to
    /// outlive this object. Makes the folder for the temporary folders. Throws refusal.
    run_tools(const run_settings& settings, std::function<void(input)> happened);

    /// A temporary folder of this name, made if it is missing. Throws std::exception when that
    /// fails.
    std::filesystem::path make_folder(const std::string& name) const;

    /// If the tool cannot be started, `tool_not_started` happens. `folder` has to outlive this
    /// tool.
    void start(boost::asio::io_context& context, const start_tool& what, run_folder& folder);
    /// Does nothing for a tool that has been taken down.
    void terminate(tool_id tool);
    /// Ends what is left to do for a tool that is over, or that has been given up.
    void take_down(tool_id tool, run_folder& folder);
    /// For the end of a run that does not wait for its tools. Does not remove their folders.
    void terminate_all(run_folder& folder);

    /// Waits until the folders of the tools that were taken down are removed, but no longer than
    /// this.
    void remove_folders(std::chrono::milliseconds limit);
    /// After this call, no folder is removed at the end: removing can take long.
    void leave_folders() { scratch_->leave(); }

private:
    struct running_tool {
        std::shared_ptr<tool_process> process;
        /// The tool's temporary folder. Empty when it could not be made; then there is no process.
        std::filesystem::path folder;
        /// The name of the try's folder in the run's folder.
        std::string kept_in;
    };

    std::vector<std::string> arguments_for(const start_tool& what,
                                           const std::filesystem::path& folder) const;
    tool_handlers handlers_for(tool_id tool, const std::string& kept_in, run_folder& folder);
    void arrived(tool_id tool, const record& what);

    const run_settings& settings_;
    std::function<void(input)> happened_;
    std::unique_ptr<scratch_folder> scratch_;
    /// The file of restore options that the tools get; empty if the run has none.
    std::filesystem::path options_copy_;
    /// Shared with tasks of the run's folder, which may be done later than this object lives.
    std::shared_ptr<background_writer> cleaner_;
    std::map<tool_id, running_tool> tools_;
};

} // namespace vandrel::station
