find_package(Threads REQUIRED)
find_package(fmt 10 REQUIRED CONFIG)
find_package(EXPAT REQUIRED)
find_package(GTest 1.12 REQUIRED CONFIG)
find_package(pugixml 1.12 REQUIRED CONFIG)

if(WIN32)
    # expat's header needs to know that the library is static.
    set_property(TARGET EXPAT::EXPAT APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS XML_STATIC)

    # Boost is built for Windows with its own CMake files, which make a package for each library.
    find_package(boost_filesystem 1.76 REQUIRED CONFIG)
    find_package(boost_program_options 1.76 REQUIRED CONFIG)
    find_package(boost_json 1.76 REQUIRED CONFIG)
    add_library(Boost::headers INTERFACE IMPORTED)
    target_include_directories(
        Boost::headers INTERFACE $<TARGET_PROPERTY:Boost::filesystem,INTERFACE_INCLUDE_DIRECTORIES>)
else()
    find_package(Boost 1.76 REQUIRED CONFIG COMPONENTS filesystem json program_options)
endif()

# libzip's own CMake files require its tools, which are not needed.
find_path(LIBZIP_INCLUDE_DIR zip.h REQUIRED)
find_library(LIBZIP_LIBRARY zip REQUIRED)
add_library(libzip INTERFACE)
target_include_directories(libzip SYSTEM INTERFACE ${LIBZIP_INCLUDE_DIR})
target_link_libraries(libzip INTERFACE ${LIBZIP_LIBRARY})
if(WIN32)
    # Not the import library in the same folder.
    find_library(ZLIB_STATIC_LIBRARY libz.a REQUIRED)
    target_link_libraries(libzip INTERFACE ${ZLIB_STATIC_LIBRARY} advapi32)
endif()

# CLI11 is header-only, so it is the same for all hosts. The folder above it has this machine's own headers, which a
# build for another host must not find.
find_path(
    CLI11_HEADERS CLI.hpp
    PATHS /usr/include/CLI
    NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/headers)
file(CREATE_LINK ${CLI11_HEADERS} ${PROJECT_BINARY_DIR}/headers/CLI SYMBOLIC)
add_library(cli11 INTERFACE)
target_include_directories(cli11 SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/headers)
