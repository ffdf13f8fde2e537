#include "launcher/launch.h"
#include "platform/native_pipe.h"
#include "platform/native_process.h"

#include <boost/asio/io_context.hpp>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

// The program that the tests of run_program run. The first argument selects what it does with the
// others.

namespace vandrel {

namespace {

constexpr int misused = 125;

std::int64_t number(const char* text) {
    std::int64_t result = -1;
    std::from_chars(text, text + std::strlen(text), result);
    return result;
}

/// Prints each argument with its size, so that one argument cannot look like two.
int print_arguments(int count, const char* const* texts) {
    for (int i = 0; i < count; ++i) {
        std::printf("%zu:%s\n", std::strlen(texts[i]), texts[i]);
    }
    return 0;
}

int print_variables(int count, const char* const* names) {
    for (int i = 0; i < count; ++i) {
        const char* const value = std::getenv(names[i]);
        std::printf("%s\n", value == nullptr ? "(none)" : value);
    }
    return 0;
}

/// Writes that many bytes to each stream, alternately.
int flood(int, const char* const* texts) {
    const std::string piece(1'000, 'x');
    for (std::int64_t left = number(texts[0]); left > 0; left -= 1'000) {
        std::fwrite(piece.data(), 1, piece.size(), stdout);
        std::fwrite(piece.data(), 1, piece.size(), stderr);
    }
    return 0;
}

/// Writes a text to the pipe with that number, like the tool.
int write_pipe(int, const char* const* texts) {
    boost::asio::io_context context;
    native_pipe(context, number(texts[0])).write(texts[1]);
    return 0;
}

int count_input(int, const char* const*) {
    int count = 0;
    while (std::getchar() != EOF) {
        ++count;
    }
    std::printf("%d\n", count);
    return 0;
}

int flood_pipe(int, const char* const* texts) {
    boost::asio::io_context context;
    const std::string text(static_cast<std::size_t>(number(texts[1])), 'x');
    native_pipe(context, number(texts[0])).write(text);
    return 0;
}

int hang(int, const char* const*) {
    wait_for_process_end();
}

int exit_with(int, const char* const* texts) {
    return static_cast<int>(number(texts[0]));
}

int abort_at_once(int, const char* const*) {
    std::abort();
}

struct deed {
    int argument_count;
    int (*act)(int count, const char* const* texts);
};

constexpr int any_number = -1;

} // namespace

int launch(int argument_count, const char* const* arguments) {
    prepare_process();
    const std::map<std::string_view, deed> deeds{
        {"print-arguments", {any_number, print_arguments}},
        {"print-variables", {any_number, print_variables}},
        {"flood", {1, flood}},
        {"write-pipe", {2, write_pipe}},
        {"flood-pipe", {2, flood_pipe}},
        {"count-input", {0, count_input}},
        {"hang", {0, hang}},
        {"exit", {1, exit_with}},
        {"abort", {0, abort_at_once}},
    };
    const auto found = argument_count < 2 ? deeds.end() : deeds.find(arguments[1]);
    const int given = argument_count - 2;
    if (found == deeds.end() ||
        (found->second.argument_count != any_number && found->second.argument_count != given)) {
        return misused;
    }
    return found->second.act(given, arguments + 2);
}

} // namespace vandrel
