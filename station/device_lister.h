#pragma once

/// Which devices are there, and what they are.

#include "station/bench.h"
#include "station/tool_process.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vandrel::station {

/// Names of USB ports, by location number.
using slot_names = std::map<std::uint32_t, std::string>;

/// Asks the tool for the list, and then for the properties of the devices in it. One list at a
/// time.
class device_lister {
public:
    struct settings {
        tool_command tool;
        /// A folder for its processes, which has to be there.
        std::filesystem::path folder;
        slot_names slots;
        /// `--detect-timeout` of a list; the tool's own without one.
        std::optional<unsigned> detect_seconds;
        /// How long the properties of one device may take. A device that has none by then is listed
        /// without them.
        std::chrono::milliseconds properties_limit = std::chrono::seconds(15);
    };

    /// `happened` is called in the loop's thread with what the bench wants to know of the list.
    device_lister(boost::asio::io_context& context, settings how,
                  std::function<void(input)> happened);
    ~device_lister();
    device_lister(const device_lister&) = delete;
    device_lister& operator=(const device_lister&) = delete;

    /// What is left of an earlier list is dropped, also a process that does not go.
    void start(const start_list& what);
    /// Ends its processes, and then reports that there is no list.
    void end(list_id list);

private:
    /// One process. What it wrote counts once the process and its stream have ended.
    struct asked {
        std::shared_ptr<tool_process> process;
        /// Absent for the list itself, which the bench ends.
        std::shared_ptr<boost::asio::steady_timer> limit;
        std::vector<record> records;
        bool stream_over = false;
        bool process_over = false;
    };

    void ask(const std::string& ecid, const std::vector<std::string>& arguments);
    void limit(const std::string& ecid);
    void drop_all();
    void over_when_both(const std::string& ecid);
    void have_list(const std::vector<record>& records);
    void have_properties(const std::string& ecid, const std::vector<record>& records);
    void ask_for_more();
    void finish();
    void fail(list_failure why, const std::string& text);

    boost::asio::io_context& context_;
    settings how_;
    std::function<void(input)> happened_;
    list_id list_ = 0;
    bool ends_ = false;
    std::set<std::string> without_properties_;
    std::vector<listed_device> devices_;
    std::deque<std::string> to_ask_;
    /// By ECID; the list itself has none.
    std::map<std::string, asked> running_;
};

} // namespace vandrel::station
