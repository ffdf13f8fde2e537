#include "station/device_listing.h"

#include "station/choice.h"
#include "station/host.h"
#include "station/preparation.h"
#include "station/text.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace vandrel::station {

namespace {

using std::chrono::steady_clock;

/// The handlers of the signals refer to it as well.
boost::asio::io_context& context_of_lists() {
    static auto& only = *new boost::asio::io_context(1);
    return only;
}

std::string words_for(const list_not_had& failure) {
    switch (failure.why) {
    case list_failure::not_started:
        return "the tool could not be started: " + printable(failure.text);
    case list_failure::timed_out:
        return "the tool gave no list of devices in time";
    case list_failure::broken:
        return "the tool's list of devices cannot be read";
    case list_failure::duplicate_ecid:
        return "the tool's list of devices has a device twice";
    default:
        return "the tool gave no list of devices" +
               (failure.text.empty() ? std::string() : ": " + printable(failure.text));
    }
}

[[noreturn]] void refuse(const list_not_had& failure) {
    throw refusal(static_cast<int>(early_exit::cannot_work), words_for(failure));
}

} // namespace

device_listing::device_listing(const station_arguments& arguments, const slot_names& slots)
    : times_(arguments.options.times),
      scratch_(std::filesystem::temp_directory_path()),
      context_(context_of_lists()),
      guard_(context_.get_executor()),
      lister_(context_, {arguments.tool, scratch_.make("list"), slots, arguments.list_seconds},
              [this](input what) {
                  if (std::holds_alternative<list_continued>(what)) {
                      limit_ = steady_clock::now() + times_.list_limit;
                  } else {
                      outcome_ = std::move(what);
                  }
              }) {}

void device_listing::end_with_signals() {
    watch_signals(
        context_, [] { std::_Exit(130); }, [] { std::_Exit(130); });
}

std::vector<listed_device> device_listing::next() {
    outcome_.reset();
    limit_ = steady_clock::now() + times_.list_limit;
    lister_.start({++list_, {}});
    while (!outcome_) {
        context_.run_one_for(bench::turn_interval);
        if (!outcome_ && steady_clock::now() > limit_) {
            outcome_ = list_not_had{list_, list_failure::timed_out, ""};
        }
    }
    if (const auto* failure = std::get_if<list_not_had>(&*outcome_)) {
        refuse(*failure);
    }
    list_failure why{};
    auto devices = checked_list(std::get<list_arrived>(*outcome_).devices, why);
    if (!devices) {
        refuse({list_, why, ""});
    }
    return *std::move(devices);
}

} // namespace vandrel::station
