#include "station/bundle_watch.h"

#include <boost/asio/post.hpp>

#include <chrono>
#include <exception>
#include <utility>

namespace vandrel::station {

namespace {

/// Less than the bench gives a list.
constexpr std::chrono::seconds longest_hold(5);
/// A later look has the files that a slow disk has not given by then.
constexpr std::chrono::seconds patience(1);

} // namespace

bundle_watch::bundle_watch(boost::asio::io_context& context, std::shared_ptr<bundle_folder> folder,
                           std::function<void(input)> happened)
    : context_(context),
      folder_(std::move(folder)),
      happened_(std::move(happened)),
      limit_(context),
      thread_(1024) {}

void bundle_watch::list_begins() {
    release();
    may_hold_ = false;
    if (is_looking_) {
        return;
    }
    is_looking_ = may_hold_ = true;
    thread_.post(0, [this, folder = folder_, &context = context_] {
        std::optional<bundle_list> found;
        try {
            found = usable(folder->look(patience));
        } catch (const std::exception&) {
            // The last ones stay until the folder can be read again.
        }
        // The loop does not run any more when this object has gone.
        boost::asio::post(context, [this, found = std::move(found)] { looked(found); });
    });
}

void bundle_watch::take(input what) {
    if (!is_looking_ || !may_hold_ || !std::holds_alternative<list_arrived>(what)) {
        happened_(std::move(what));
        return;
    }
    held_ = std::move(what);
    limit_.expires_after(longest_hold);
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
