#include "station/bundle_watch.h"

#include <boost/asio/post.hpp>

#include <exception>
#include <mutex>
#include <utility>

namespace vandrel::station {

namespace {

/// A later look has the files that a slow disk has not given by then.
constexpr std::chrono::seconds patience(1);

} // namespace

struct bundle_watch::way_to_loop {
    explicit way_to_loop(boost::asio::io_context& context) : loop(&context) {}

    std::mutex mutex;
    /// Null when the object has gone.
    boost::asio::io_context* loop;
};

bundle_watch::bundle_watch(boost::asio::io_context& context, std::shared_ptr<bundle_folder> folder,
                           std::function<void(input)> happened,
                           std::chrono::milliseconds longest_hold)
    : to_loop_(std::make_shared<way_to_loop>(context)),
      folder_(std::move(folder)),
      happened_(std::move(happened)),
      longest_hold_(longest_hold),
      limit_(context),
      thread_(1024) {}

bundle_watch::~bundle_watch() {
    const std::lock_guard lock(to_loop_->mutex);
    to_loop_->loop = nullptr;
}

void bundle_watch::list_begins() {
    release();
    may_hold_ = false;
    if (is_looking_) {
        return;
    }
    is_looking_ = may_hold_ = true;
    thread_.post(0, [this, folder = folder_, to_loop = to_loop_] {
        std::optional<bundle_list> found;
        try {
            found = usable(folder->look(patience));
        } catch (const std::exception&) {
            // The last bundles stay until the folder can be read again.
        }
        const std::lock_guard lock(to_loop->mutex);
        if (to_loop->loop != nullptr) {
            // The loop does not run any more when this object has gone.
            boost::asio::post(*to_loop->loop, [this, found = std::move(found)] { looked(found); });
        }
    });
}

void bundle_watch::take(input what) {
    if (!is_looking_ || !may_hold_ || !std::holds_alternative<list_arrived>(what)) {
        happened_(std::move(what));
        return;
    }
    held_ = std::move(what);
    limit_.expires_after(longest_hold_);
    limit_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            release();
        }
    });
}

void bundle_watch::looked(std::optional<bundle_list> bundles) {
    is_looking_ = false;
    if (bundles) {
        happened_(bundles_read{std::move(*bundles)});
    }
    release();
}

void bundle_watch::release() {
    limit_.cancel();
    if (held_) {
        happened_(*std::exchange(held_, {}));
    }
}

} // namespace vandrel::station
