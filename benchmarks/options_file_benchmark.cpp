/// options_file_benchmark [OPTIONS OF GOOGLE BENCHMARK] FILE: reads an options file in several
/// ways. Releasing the result is not counted.

#include "benchmarks/stopwatch.h"
#include "device/restore_options.h"
#include "foundation/file.h"

#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include <plist/plist.h>

namespace {

using vandrel::benchmarks::stopwatch;

/// Never destroyed, like all objects that last as long as the process.
boost::filesystem::path& path() {
    static auto& path = *new boost::filesystem::path;
    return path;
}

template<class Read>
void time_reading(benchmark::State& state, Read read) {
    for (auto _ : state) {
        const stopwatch watch;
        const auto result = read();
        state.SetIterationTime(watch.seconds());
        if (!result) {
            state.SkipWithError("nothing was read");
        }
    }
}

std::vector<std::uint8_t> whole_file() {
    std::vector<std::uint8_t> bytes;
    Orv::file(path()).read_whole(bytes, 0x40000000);
    return bytes;
}

void options(benchmark::State& state) {
    time_reading(state, [] { return vandrel::read_restore_plist(path()); });
}

void whole_file_alone(benchmark::State& state) {
    time_reading(state, [] { return std::make_unique<std::vector<std::uint8_t>>(whole_file()); });
}

struct parser_deleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

/// With handlers that do nothing; the file is read in pieces.
void expat(benchmark::State& state) {
    time_reading(state, [] {
        constexpr int piece_size = 1 << 16;
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path().c_str(), "rb"),
                                                                   std::fclose);
        std::unique_ptr<XML_ParserStruct, parser_deleter> parser(XML_ParserCreate(nullptr));
        XML_SetElementHandler(
            parser.get(), [](void*, const char*, const char**) {}, [](void*, const char*) {});
        XML_SetCharacterDataHandler(parser.get(), [](void*, const char*, int) {});
        auto status = XML_STATUS_OK;
        for (bool is_last = false; status == XML_STATUS_OK && !is_last;) {
            const auto size = std::fread(XML_GetBuffer(parser.get(), piece_size), 1,
                                         static_cast<std::size_t>(piece_size), file.get());
            is_last = size == 0;
            status = XML_ParseBuffer(parser.get(), static_cast<int>(size), is_last);
        }
        return status == XML_STATUS_OK ? std::move(parser) : nullptr;
    });
}

struct plist_deleter {
    void operator()(void* plist) const { plist_free(plist); }
};

void libplist(benchmark::State& state) {
    time_reading(state, [] {
        const auto bytes = whole_file();
        plist_t plist = nullptr;
        plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                          static_cast<std::uint32_t>(bytes.size()), &plist);
        return std::unique_ptr<void, plist_deleter>(plist);
    });
}

BENCHMARK(options)->UseManualTime()->Iterations(1);
BENCHMARK(whole_file_alone)->UseManualTime()->Iterations(1);
BENCHMARK(expat)->UseManualTime()->Iterations(1);
BENCHMARK(libplist)->UseManualTime()->Iterations(1);

} // namespace

int main(int argument_count, char** arguments) {
    benchmark::Initialize(&argument_count, arguments);
    if (argument_count != 2) {
        std::fputs("usage: options_file_benchmark [OPTIONS OF GOOGLE BENCHMARK] FILE\n", stderr);
        return 2;
    }
    path() = arguments[1];
    benchmark::RunSpecifiedBenchmarks();
}
