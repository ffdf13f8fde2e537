#include "station/test_handle_count_windows.h"

#include <cstdint>
#include <vector>

#include <windows.h>

namespace vandrel {

namespace {

using query_system = LONG(NTAPI*)(int what, void* buffer, ULONG size, ULONG* needed);
constexpr int system_extended_handle_information = 64;

/// The result of this query: the number of entries, a reserved word, and the entries of all
/// processes.
constexpr std::size_t words_before_entries = 2;
constexpr std::size_t words_of_entry = 5;
constexpr std::size_t word_of_process = 1;

} // namespace

std::size_t count_handles(unsigned long process) {
    std::vector<std::uintptr_t> words(std::size_t{1} << 20U);
    const auto query = reinterpret_cast<query_system>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll"), "NtQuerySystemInformation")));
    ULONG needed = 0;
    if (query(system_extended_handle_information, words.data(),
              static_cast<ULONG>(words.size() * sizeof words.front()), &needed) != 0) {
        return 0;
    }
    std::size_t result = 0;
    for (std::size_t i = 0; i < words.front(); ++i) {
        const std::size_t entry = words_before_entries + i * words_of_entry;
        result += words.at(entry + word_of_process) == process ? 1 : 0;
    }
    return result;
}

} // namespace vandrel
