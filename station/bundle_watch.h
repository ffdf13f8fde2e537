#pragma once

/// The folder of bundles during a watch.

#include "station/background_writer.h"
#include "station/bench.h"
#include "station/bundle_folder.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace vandrel::station {

/// Looks into the folder, in a thread of its own, whenever a list of devices begins and no look is
/// under way. If the look that began with a list is still under way when the list arrives, the list
/// waits for it, but not longer than `longest_hold`.
class bundle_watch {
public:
    /// `happened` is called in the loop's thread: with lists, and with what the folder has. A list
    /// waits for `longest_hold` at most, which is less than the bench gives it.
    bundle_watch(boost::asio::io_context& context, std::shared_ptr<bundle_folder> folder,
                 std::function<void(input)> happened,
                 std::chrono::milliseconds longest_hold = std::chrono::seconds(5));
    bundle_watch(const bundle_watch&) = delete;
    bundle_watch& operator=(const bundle_watch&) = delete;
    ~bundle_watch();

    void list_begins();
    /// What the lister says.
    void take(input what);

private:
    void looked(std::optional<bundle_list> bundles);
    void release();

    /// What the thread uses. It outlives this object when the folder does not answer.
    struct way_to_loop;

    std::shared_ptr<way_to_loop> to_loop_;
    std::shared_ptr<bundle_folder> folder_;
    std::function<void(input)> happened_;
    std::chrono::milliseconds longest_hold_;
    bool is_looking_ = false;
    /// The list that is under way began the look, and may wait for it.
    bool may_hold_ = false;
    std::optional<input> held_;
    boost::asio::steady_timer limit_;
    background_writer thread_;
};

} // namespace vandrel::station
