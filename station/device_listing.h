#pragma once

/// Lists of devices for commands that do nothing else meanwhile.

#include "station/command_line.h"
#include "station/device_lister.h"
#include "station/scratch_folder.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace vandrel::station {

/// Starts the tool for each list. One thread.
class device_listing {
public:
    /// Makes its scratch folder in the system's temporary folder. Throws std::exception.
    device_listing(const station_arguments& arguments, const slot_names& slots);
    device_listing(const device_listing&) = delete;
    device_listing& operator=(const device_listing&) = delete;

    /// From now on, while a list is awaited, Ctrl-C and the end of the session end the process with
    /// status 130. Without this call, they end it as the system does.
    void end_with_signals();

    /// Waits for a list, with the properties of its devices, as far as they can be had. ECIDs are
    /// normalized. Throws refusal with status 4.
    std::vector<listed_device> next();

private:
    const bench_times times_;
    scratch_folder scratch_;
    /// Never destroyed: handlers of a process that does not end may stay for ever.
    boost::asio::io_context& context_;
    const boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_;
    std::optional<input> outcome_;
    std::chrono::steady_clock::time_point limit_;
    list_id list_ = 0;
    device_lister lister_;
};

} // namespace vandrel::station
