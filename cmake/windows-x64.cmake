# Tool-chain file: Windows x64, built with MinGW-w64 (POSIX threads) on Linux.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Windows 10 or later.
add_compile_definitions(_WIN32_WINNT=0x0A00 UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)

# The system's error texts are UTF-8 too, whatever the machine's code page.
add_compile_definitions(BOOST_SYSTEM_USE_UTF8)

# The compiler's run-time is linked statically, so that nothing else has to be released.
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
endforeach()

get_filename_component(vandrel_root ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(CMAKE_FIND_ROOT_PATH ${vandrel_root}/.deps/windows /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${vandrel_root}/scripts/wine)
