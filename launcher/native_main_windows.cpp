#include "launcher/launch.h"
#include "launcher/utf16_to_utf8.h"

#include <string>
#include <vector>

#include <windows.h>

// The narrow arguments are in the active code page. Unless it is UTF-8, it lacks characters.
int wmain(int argument_count, wchar_t** arguments) {
    // Whatever a library loads by its name from now on is Windows' own, or lies beside Apple's.
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_USER_DIRS);
    std::vector<std::string> texts;
    for (int i = 0; i < argument_count; ++i) {
        const std::wstring_view argument = arguments[i];
        texts.push_back(vandrel::utf16_to_utf8({argument.begin(), argument.end()}));
    }
    std::vector<const char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(text.c_str());
    }
    pointers.push_back(nullptr);
    return vandrel::launch(argument_count, pointers.data());
}
