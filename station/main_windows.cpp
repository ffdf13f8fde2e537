#include "station/launch.h"

#include <string>
#include <vector>

#include <windows.h>

namespace {

std::string to_utf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.pop_back();
    return result;
}

} // namespace

// The narrow arguments are in the active code page, which does not have every character.
int wmain(int argument_count, wchar_t** arguments) {
    // From now on, whatever a library loads by its name alone is Windows' own.
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    std::vector<std::string> texts;
    for (int i = 0; i < argument_count; ++i) {
        texts.push_back(to_utf8(arguments[i]));
    }
    std::vector<const char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(text.c_str());
    }
    pointers.push_back(nullptr);
    return vandrel::station::launch(argument_count, pointers.data());
}
