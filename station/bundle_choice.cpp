#include "station/bundle_choice.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>

namespace vandrel::station {

namespace {

constexpr double room_factor = 1.1;
constexpr std::uint64_t first_beta = 5000;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// Takes what matches off the front.
template<class Matches>
std::string_view take(std::string_view& text, Matches matches) {
    const auto count =
        static_cast<std::size_t>(std::ranges::find_if_not(text, matches) - text.begin());
    const std::string_view taken = text.substr(0, count);
    text.remove_prefix(count);
    return taken;
}

/// Absent without digits, or with more than any build has.
std::optional<std::uint64_t> take_number(std::string_view& text) {
    const std::string_view digits = take(text, is_digit);
    constexpr std::size_t most_digits = 18;
    if (digits.empty() || digits.size() > most_digits) {
        return {};
    }
    std::uint64_t number = 0;
    for (const char c : digits) {
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

/// The parts of a build, in an order in which comparing tuples compares ages.
using build_age = std::tuple<std::uint64_t, std::size_t, std::string_view, bool, std::uint64_t,
                             std::size_t, std::string_view>;

std::optional<build_age> age_of(std::string_view build) {
    const auto first = take_number(build);
    const std::string_view letters = take(build, is_letter);
    const auto second = take_number(build);
    const std::string_view suffix = take(build, is_letter);
    if (!first || letters.empty() || !second || !build.empty()) {
        return {};
    }
    const bool is_release = suffix.empty() || *second < first_beta;
    // Of letters, "Z" comes before "AA".
    return build_age{*first, letters.size(), letters, is_release, *second, suffix.size(), suffix};
}

} // namespace

bool is_older_build(std::string_view left, std::string_view right) {
    return age_of(left) < age_of(right);
}

void sort_newest_first(bundle_list& bundles) {
    std::ranges::sort(bundles, [](const auto& left, const auto& right) {
        if (is_older_build(left->build, right->build)) {
            return false;
        }
        return is_older_build(right->build, left->build) || left->path < right->path;
    });
}

bundle_list bundles_for(const device_properties& device, const bundle_list& bundles,
                        std::optional<restore_behavior> behavior) {
    bundle_list result;
    std::ranges::copy_if(bundles, std::back_inserter(result), [&](const auto& each) {
        return fits(device, each->identities, behavior);
    });
    return result;
}

std::string model_of(const device_properties& device, const bundle_list& bundles) {
    std::optional<std::vector<std::string>> common;
    for (const auto& each : bundles_for(device, bundles)) {
        if (each->models.empty()) {
            continue;
        }
        if (!common) {
            common = each->models;
        }
        std::erase_if(*common, [&](const std::string& model) {
            return std::ranges::find(each->models, model) == each->models.end();
        });
    }
    return common && common->size() == 1 ? common->front() : std::string();
}

std::uint64_t room_for(const bundle& bundle) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    return bundle.unpacked_size > most / 2
               ? most
               : static_cast<std::uint64_t>(room_factor *
                                            static_cast<double>(bundle.unpacked_size));
}

} // namespace vandrel::station
