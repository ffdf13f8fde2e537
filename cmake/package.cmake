# The release: the target "package" builds one archive of the product and one of its debug symbols. Both unpack
# into the same folder, where debuggers find the symbols.
install(
    TARGETS vandrel vandrel_library vandrel-station vandrel-check-platform
    RUNTIME DESTINATION . COMPONENT product
    LIBRARY DESTINATION . COMPONENT product)
install(
    FILES README.md
    DESTINATION .
    COMPONENT product)
install(
    FILES docs/records.md docs/station.md docs/windows.md
    DESTINATION docs
    COMPONENT product)
# What vandrel-check-platform compares with.
set(truth simulator/core_foundation/truth)
install(
    DIRECTORY ${truth}/contents ${truth}/documents
    DESTINATION truth
    COMPONENT product)
install(
    FILES ${truth}/results.txt
    DESTINATION truth
    COMPONENT product)
install(
    FILES samples/run_with_pipe.cpp samples/run_with_pipe.cs samples/run_with_pipe.py
    DESTINATION samples
    COMPONENT product)
install(
    FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vandrel.exe.debug
          ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vandrel.dll.debug
          ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vandrel-station.exe.debug
          ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vandrel-check-platform.exe.debug
    DESTINATION .
    COMPONENT debug-symbols)

# install_licence(NAME TEXT ORIGIN) packs the file TEXT as licences/NAME.txt. If it is missing, only the package
# fails to build.
function(install_licence name text origin)
    if(EXISTS "${text}")
        install(
            FILES ${text}
            DESTINATION licences
            RENAME ${name}.txt
            COMPONENT product)
    else()
        install(CODE "message(FATAL_ERROR \"The licence of ${name} is missing: ${origin}\")"
                COMPONENT product)
    endif()
endfunction()

# install_debian_licence(NAME FOLDER FILE PACKAGE) packs FOLDER/FILE, a file of the Debian PACKAGE. On other
# systems, VANDREL_LICENCE_<NAME> is the path of the file.
function(install_debian_licence name folder file package)
    string(MAKE_C_IDENTIFIER "VANDREL_LICENCE_${name}" variable)
    find_file(
        ${variable} ${file}
        PATHS ${folder}
        DOC "The licence of ${name}, for the package"
        NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    install_licence(
        ${name} "${${variable}}"
        "Debian's package ${package} has it as ${folder}/${file}. Install that, or set ${variable}.")
endfunction()

# The libraries linked into the product: Boost, CLI11, fmt, libzip, pugixml, zlib, and the run-times of MinGW-w64
# (with winpthreads) and of GCC. The texts of the last two refer to the GNU licences.
install_debian_licence(boost /usr/share/doc/libboost1.81-dev copyright libboost1.81-dev)
install_debian_licence(cli11 /usr/share/doc/libcli11-dev copyright libcli11-dev)
install_debian_licence(libzip /usr/share/doc/libzip-dev copyright libzip-dev)
install_debian_licence(pugixml /usr/share/doc/libpugixml-dev copyright libpugixml-dev)
install_debian_licence(zlib /usr/share/doc/libz-mingw-w64-dev copyright libz-mingw-w64-dev)
install_debian_licence(mingw-w64 /usr/share/doc/mingw-w64-x86-64-dev copyright mingw-w64-x86-64-dev)
install_debian_licence(gcc /usr/share/doc/gcc-mingw-w64-base copyright gcc-mingw-w64-base)
install_debian_licence(GPL-3 /usr/share/common-licenses GPL-3 base-files)
install_debian_licence(LGPL-2.1 /usr/share/common-licenses LGPL-2.1 base-files)

# fmt's licence is the comment at the start of its main header.
get_target_property(fmt_include fmt::fmt INTERFACE_INCLUDE_DIRECTORIES)
set(fmt_header ${fmt_include}/fmt/format.h)
set(fmt_licence ${CMAKE_CURRENT_BINARY_DIR}/fmt-licence.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${fmt_header})
file(READ ${fmt_header} fmt_text)
file(REMOVE ${fmt_licence})
if(fmt_text MATCHES "^/\\*\n(([^*]|\\*[^/])*Permission is hereby granted([^*]|\\*[^/])*) \\*/")
    file(WRITE ${fmt_licence} "${CMAKE_MATCH_1}")
endif()
install_licence(fmt ${fmt_licence} "${fmt_header} does not begin with it.")

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x64)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL product debug-symbols)
set(CPACK_ARCHIVE_PRODUCT_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
set(CPACK_ARCHIVE_DEBUG-SYMBOLS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME}-debug-symbols)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
