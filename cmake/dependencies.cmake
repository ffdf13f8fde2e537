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

# Headers only, and for no host in particular: Windows' are the same.
find_path(
    CLI11_INCLUDE_DIR CLI/CLI.hpp
    PATHS /usr/include
    NO_CMAKE_FIND_ROOT_PATH REQUIRED)
