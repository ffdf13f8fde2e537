#include "simulator/core_foundation/date.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>

namespace chrono = std::chrono;

namespace {

constexpr chrono::sys_days epoch{chrono::year{2001} / 1 / 1};
constexpr double seconds_a_day = 86400;

/// The calendar repeats after this many years and days.
constexpr int years_a_cycle = 400;
constexpr int days_a_cycle = 146'097;
using cycles =
    chrono::duration<std::int64_t,
                     std::ratio_multiply<chrono::days::period, std::ratio<days_a_cycle>>>;
/// The range of 64-bit seconds, rounded down.
constexpr double end_of_time = 9.2e18;

/// `n` matches a digit; every other character matches itself.
constexpr std::string_view date_pattern = "nnnn-nn-nnTnn:nn:nnZ";

bool matches_pattern(std::string_view text) {
    if (text.size() != date_pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_digit = text[i] >= '0' && text[i] <= '9';
        if (date_pattern[i] == 'n' ? !is_digit : text[i] != date_pattern[i]) {
            return false;
        }
    }
    return true;
}

int digits_at(std::string_view text, std::size_t position, std::size_t count) {
    int result = 0;
    for (const char digit : text.substr(position, count)) {
        result = 10 * result + (digit - '0');
    }
    return result;
}

} // namespace

const simulator::runtime_type& __CFDate::static_type() {
    static const auto& type = *new simulator::runtime_type("CFDate");
    return type;
}

bool __CFDate::equals(const object& other) const {
    return time == static_cast<const __CFDate&>(other).time;
}

CFHashCode __CFDate::hash() const {
    return std::hash<CFAbsoluteTime>()(time);
}

std::string __CFDate::describe() const {
    return simulator::date_text(time);
}

namespace simulator {

std::string date_text(CFAbsoluteTime time) {
    if (!(std::abs(time) < end_of_time)) {
        return "0000-00-00T00:00:00Z";
    }
    const chrono::seconds since_epoch{static_cast<std::int64_t>(std::floor(time))};
    const auto days = chrono::floor<chrono::days>(since_epoch);
    const chrono::hh_mm_ss clock{since_epoch - days};
    const std::int64_t cycle = chrono::floor<cycles>(days).count();
    const chrono::year_month_day date{epoch + (days - chrono::days{cycle * days_a_cycle})};
    const std::int64_t year = static_cast<int>(date.year()) + cycle * years_a_cycle;
    std::array<char, 64> text{};
    const int length = std::snprintf(
        text.data(), text.size(), "%04lld-%02u-%02uT%02d:%02d:%02dZ", static_cast<long long>(year),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()));
    return std::string(text.data(), static_cast<std::size_t>(length));
}

std::optional<CFAbsoluteTime> parse_date(std::string_view text) {
    if (!matches_pattern(text)) {
        return std::nullopt;
    }
    const chrono::year_month_day date{chrono::year{digits_at(text, 0, 4)},
                                      chrono::month{static_cast<unsigned>(digits_at(text, 5, 2))},
                                      chrono::day{static_cast<unsigned>(digits_at(text, 8, 2))}};
    const int hours = digits_at(text, 11, 2);
    const int minutes = digits_at(text, 14, 2);
    const int seconds = digits_at(text, 17, 2);
    if (!date.ok() || hours > 23 || minutes > 59 || seconds > 59) {
        return std::nullopt;
    }
    const auto days = (chrono::sys_days{date} - epoch).count();
    return static_cast<double>(days) * seconds_a_day + hours * 3600.0 + minutes * 60.0 + seconds;
}

} // namespace simulator

CFTypeID CFDateGetTypeID() {
    return __CFDate::static_type().id();
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime time) {
    return simulator::create<__CFDate>(time);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) {
    return simulator::checked(date).time;
}
