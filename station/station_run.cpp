#include "station/station_run.h"

#include "station/bench.h"
#include "station/bundle_watch.h"
#include "station/device_lister.h"
#include "station/host.h"
#include "station/run_output.h"
#include "station/run_tools.h"
#include "station/text.h"
#include "station/usb_watch.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

using std::chrono::steady_clock;

/// A turn takes in what came within this time. Without the limit, a pipe that is never empty would
/// keep the turn from coming.
constexpr auto longest_gathering = std::chrono::milliseconds(20);
/// How long a run waits for its folder before `run_ended`, as long again after it unless the folder
/// was given up, and as long again for the tools' folders to be removed.
constexpr auto last_writing = std::chrono::seconds(10);
/// The same when the session ends. It removes nothing then.
constexpr auto last_writing_of_session = std::chrono::seconds(2);

class station_run {
public:
    explicit station_run(const run_settings& settings)
        : settings_(settings),
          tools_(settings, [this](input what) { happened(std::move(what)); }),
          output_(settings),
          // Never destroyed: handlers of a process that does not end may stay for ever.
          context_(*new boost::asio::io_context(1)),
          work_(context_.get_executor()),
          lister_(context_,
                  {settings.arguments.tool, tools_.make_folder("list"), settings.slots,
                   settings.arguments.list_seconds},
                  [this](input what) {
                      bundles_ ? bundles_->take(std::move(what)) : happened(std::move(what));
                  }),
          rules_(settings.options) {}

    int run() {
        watch_signals(
            context_, [this] { happened(user_cancelled{}); },
            [this] {
                session_ends_ = true;
                happened(session_ends{});
            });
        if (settings_.options.watch) {
            usb_ = usb_watch::start(context_, [this] { happened(usb_arrival{}); });
            if (settings_.folder) {
                bundles_ = std::make_unique<bundle_watch>(
                    context_, settings_.folder, [this](input what) { happened(std::move(what)); });
            }
        }
        while (!exit_status_) {
            try {
                gather();
                turn();
            } catch (const std::exception& error) {
                end_for(error.what());
                if (std::exchange(has_failed_, true)) {
                    exit_status_ = 1;
                }
            }
        }
        return finish();
    }

    void operator()(const start_list& what) {
        if (bundles_) {
            bundles_->list_begins();
        }
        lister_.start(what);
    }
    void operator()(const end_list& what) { lister_.end(what.list); }
    void operator()(const lock_device& what) {
        auto taken = device_lock::take(what.ecid);
        if (taken.lock) {
            locks_[what.ecid] = std::move(taken.lock);
            happened(lock_obtained{what.ecid});
        } else {
            happened(lock_held{what.ecid, taken.holder});
        }
    }
    void operator()(const unlock_device& what) { locks_.erase(what.ecid); }
    void operator()(const ask_consent& what) {
        output_.show(choice_text(what, settings_.options.what, facts()) + "\n" + prompt_text(what));
        // Nobody has to answer, and the run can end without an answer.
        std::thread([this] {
            std::string line;
            const bool has_line = static_cast<bool>(std::getline(std::cin, line));
            boost::asio::post(context_, [this, has_line, line] {
                happened(consent_answer{has_line ? std::optional(line) : std::nullopt});
            });
        }).detach();
    }
    void operator()(const show_choice& what) {
        output_.show(choice_text(what, settings_.options.what, facts()));
    }
    void operator()(const start_tool& what) {
        has_begun_ = true;
        tools_.start(context_, what, *output_.folder());
    }
    void operator()(const end_tool& what) { tools_.terminate(what.tool); }
    void operator()(const tool_over& what) { tools_.take_down(what.tool, *output_.folder()); }
    /// Only the rules wait for tools; nothing here does.
    void operator()(const give_up_tool&) {}
    void operator()(const log_event& what) { output_.take(what.what); }
    void operator()(const write_record&) {
        run_folder* const folder = output_.folder();
        if (folder == nullptr) {
            happened(record_written{});
            return;
        }
        // The background may outlive this object, but not the context.
        folder->when_written([this, &context = context_] {
            boost::asio::post(context, [this] { happened(record_written{}); });
        });
        writing_limit_.expires_after(longest_writing());
        writing_limit_.async_wait([this, folder](boost::system::error_code error) {
            if (!error) {
                folder->give_up();
                given_up_ = true;
                happened(record_written{});
            }
        });
    }
    void operator()(const run_over& what) { exit_status_ = what.exit_status; }

private:
    void happened(input what) { inputs_.push_back(std::move(what)); }

    /// Before the first start of a tool, nothing has been touched: throws, and the caller says why.
    /// After it, ends the run as the end of the session does, so that the files have an end for
    /// each device.
    void end_for(const std::string& why) {
        if (!has_begun_) {
            throw std::runtime_error(why);
        }
        if (!std::exchange(session_ends_, true)) {
            output_.complain("the run ends: " + why);
        }
        happened(session_ends{});
    }

    /// A lock that cannot be taken is no matter of the other devices; nor is a tool that cannot be
    /// started, which `run_tools` reports. Any other failure ends the run.
    void carry_out(const decision& what) {
        try {
            std::visit(*this, what);
        } catch (const std::exception& error) {
            if (const auto* lock = std::get_if<lock_device>(&what)) {
                happened(lock_held{lock->ecid, {}});
            } else {
                end_for(error.what());
            }
        }
    }

    question_facts facts() const {
        return {settings_.made_for,         settings_.arguments.options_file,
                text_of(settings_.scratch), settings_.free_bytes,
                settings_.options.at_once,  settings_.arguments.bundles,
                settings_.unusable_files,   settings_.options.room_limits_tools};
    }

    /// Waits until something happens, but no longer than bench::turn_interval. Then takes what else
    /// is there.
    void gather() {
        context_.run_one_for(inputs_.empty() ? bench::turn_interval : awake_time(0));
        const auto until = steady_clock::now() + longest_gathering;
        while (context_.poll_one() > 0 && steady_clock::now() < until) {
        }
    }

    std::chrono::seconds longest_writing() const {
        return session_ends_ ? last_writing_of_session : last_writing;
    }

    void turn() {
        if (run_folder* folder = output_.folder(); folder != nullptr && !has_hole_) {
            if (const auto hole = folder->hole()) {
                has_hole_ = true;
                // First: it counts in the turn that ends the run, too.
                inputs_.insert(inputs_.begin(), log_has_hole{*hole});
            }
        }
        const std::vector<input> taken = std::exchange(inputs_, {});
        const auto now = std::chrono::duration_cast<awake_time>(steady_clock::now() - start_);
        for (const decision& each : rules_.turn(now, taken)) {
            carry_out(each);
        }
        output_.flush();
        if (rules_.working() != awake_) {
            awake_ = rules_.working();
            keep_awake(awake_);
        }
    }

    int finish() {
        if (run_folder* const folder = output_.folder()) {
            tools_.terminate_all(*folder);
        }
        // A folder that was given up is not waited for again.
        const auto now = steady_clock::now();
        output_.finish(given_up_ ? now : now + longest_writing());
        if (session_ends_) {
            tools_.leave_folders();
        } else {
            tools_.remove_folders(last_writing);
        }
        const bool has_hole = output_.folder() != nullptr && output_.folder()->hole();
        constexpr int incomplete = 5;
        return *exit_status_ == 0 && has_hole ? incomplete : *exit_status_;
    }

    const run_settings& settings_;
    /// Makes its folder before the run's folder is made: if one of the two cannot be made, no
    /// folder of a run is left.
    run_tools tools_;
    run_output output_;
    boost::asio::io_context& context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    device_lister lister_;
    bench rules_;
    std::unique_ptr<usb_watch> usb_;
    /// Null unless the run is a watch with a folder of bundles.
    std::unique_ptr<bundle_watch> bundles_;
    std::map<std::string, std::unique_ptr<device_lock>> locks_;
    std::vector<input> inputs_;
    std::optional<int> exit_status_;
    const steady_clock::time_point start_ = steady_clock::now();
    /// A start of a tool was tried.
    bool has_begun_ = false;
    /// A turn has thrown. The next one ends the run. If that throws, too, there is no other.
    bool has_failed_ = false;
    bool session_ends_ = false;
    bool has_hole_ = false;
    /// Limits how long the end of the run waits for the run's folder.
    boost::asio::steady_timer writing_limit_{context_};
    bool given_up_ = false;
    bool awake_ = false;
};

} // namespace

int run_devices(const run_settings& settings) {
    return station_run(settings).run();
}

} // namespace vandrel::station
