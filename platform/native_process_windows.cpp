#include "platform/native_process.h"

#include <boost/filesystem/path.hpp>

#include <codecvt>
#include <cstdio>
#include <locale>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace vandrel {

void prepare_process() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    boost::filesystem::path::imbue(
        std::locale(std::locale::classic(), new std::codecvt_utf8_utf16<wchar_t>));
}

void wait_for_process_end() {
    for (;;) {
        WaitForSingleObject(GetCurrentProcess(), INFINITE);
    }
}

} // namespace vandrel
