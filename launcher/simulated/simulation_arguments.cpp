#include "launcher/simulated/simulation_arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <span>
#include <string_view>

namespace vandrel {

namespace {

using argument_span = std::span<const char* const>;

[[noreturn]] void throw_argument_error(std::string_view option, const std::string& is,
                                       const std::string& should_be) {
    throw simulation_arguments_error(std::string(option) + ": is " + is + "; should be " +
                                     should_be);
}

double parse_speed(std::string_view option, const std::string& text) {
    double speed = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, speed);
    if (error != std::errc() || rest != end || !std::isfinite(speed) || speed <= 0) {
        throw_argument_error(option, "\"" + text + "\"", "a number above 0, such as 10 or 0.5");
    }
    return speed;
}

std::int64_t parse_creation(std::string_view option, const std::string& text) {
    std::int64_t creation = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, creation);
    if (error != std::errc() || rest != end || creation <= 0) {
        throw_argument_error(option, "\"" + text + "\"", "a whole number above 0");
    }
    return creation;
}

/// The values of the simulator's options, as they were given.
struct option_values {
    std::optional<std::string> scenario;
    std::optional<std::string> journal;
    std::optional<std::string> bench;
    std::optional<std::string> speed;
    std::optional<std::string> failing_creation;
};

struct option {
    std::string_view name;
    std::optional<std::string> option_values::*value;
    const char* expected;
};

constexpr option options[] = {
    {"--scenario", &option_values::scenario, "followed by a file's name"},
    {"--journal", &option_values::journal, "followed by a file's name"},
    {"--bench", &option_values::bench, "followed by a folder's name"},
    {"--speed", &option_values::speed, "followed by a number"},
    {"--fail-creation", &option_values::failing_creation, "followed by a number"},
};

/// Takes one option with its value from the beginning of `given`.
void take_option(argument_span& given, option_values& values) {
    const std::string_view argument = given.front();
    given = given.subspan(1);
    const std::size_t equals = argument.find('=');
    const std::string_view name = argument.substr(0, equals);

    const auto* const known = std::ranges::find(options, name, &option::name);
    if (known == std::end(options)) {
        throw simulation_arguments_error(std::string(argument) +
                                         ": unknown option; expected --scenario, --journal, "
                                         "--bench, --speed or --fail-creation, or place it after "
                                         "--");
    }
    std::optional<std::string>& value = values.*known->value;
    if (value) {
        throw_argument_error(name, "given twice", "given once");
    }
    if (equals != std::string_view::npos) {
        value = argument.substr(equals + 1);
    } else if (!given.empty()) {
        value = given.front();
        given = given.subspan(1);
    }
    if (!value || value->empty()) {
        throw_argument_error(name, "without a value", known->expected);
    }
}

void parse_options(argument_span given, simulation_arguments& result) {
    option_values values;
    while (!given.empty()) {
        take_option(given, values);
    }
    result.scenario_file = values.scenario;
    result.options.journal = values.journal;
    result.options.bench = values.bench;
    if (values.speed) {
        result.options.speed = parse_speed("--speed", *values.speed);
    }
    if (values.failing_creation) {
        result.failing_creation = parse_creation("--fail-creation", *values.failing_creation);
    }
}

} // namespace

simulation_arguments parse_simulation_arguments(int argument_count, const char* const* arguments) {
    const argument_span all(arguments, static_cast<std::size_t>(argument_count));
    const auto own_name = all.first(std::min<std::size_t>(all.size(), 1));
    argument_span tools = all.subspan(own_name.size());

    simulation_arguments result;
    const auto split = std::ranges::find(tools, std::string_view("--"),
                                         [](const char* text) { return std::string_view(text); });
    if (split != tools.end()) {
        parse_options({tools.begin(), split}, result);
        tools = {split + 1, tools.end()};
    }
    result.tool_arguments.assign(own_name.begin(), own_name.end());
    result.tool_arguments.insert(result.tool_arguments.end(), tools.begin(), tools.end());
    result.tool_arguments.push_back(nullptr);
    return result;
}

} // namespace vandrel
