/// A library that says on standard error that it was loaded, and from where: for tests that nothing
/// loads it.

#include <string>

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        std::string path(MAX_PATH, '\0');
        path.resize(GetModuleFileNameA(library, path.data(), MAX_PATH));
        const std::string line = "planted library loaded: " + path + "\n";
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()),
                  &written, nullptr);
    }
    return TRUE;
}
