# What a release consists of, besides the list of libraries (sbom.spdx.json). scripts/release installs the
# components "product" and "debug-symbols" and packs them. Both archives unpack into the same folder,
# where debuggers find the symbols.
set(products vandrel vandrel_library vandrel-sim vandrel-station vandrel-check-platform)
install(
    TARGETS ${products}
    RUNTIME DESTINATION . COMPONENT product
    LIBRARY DESTINATION . COMPONENT product)
foreach(product ${products})
    install(
        FILES $<TARGET_FILE:${product}>.debug
        DESTINATION .
        COMPONENT debug-symbols)
endforeach()
add_custom_target(release_programs)
add_dependencies(release_programs ${products})

# The pages for users.
install(
    FILES CHANGELOG.md release/README.md
    DESTINATION .
    COMPONENT product)
install(
    FILES docs/records.md docs/report.png docs/scenario.md docs/station.md docs/windows.md
    DESTINATION docs
    COMPONENT product)
install(
    DIRECTORY release/scenarios
    DESTINATION .
    COMPONENT product)
install(
    DIRECTORY samples
    DESTINATION .
    COMPONENT product
    PATTERN CMakeLists.txt EXCLUDE
    PATTERN __pycache__ EXCLUDE)
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

# The versions of the libraries are those of the headers that the compiler reads.
set(includes "$<REMOVE_DUPLICATES:$<TARGET_PROPERTY:vandrel_station_parts,INCLUDE_DIRECTORIES>>")
file(
    GENERATE
    OUTPUT ${PROJECT_BINARY_DIR}/release.json
    CONTENT
        "{
  \"version\": \"${PROJECT_VERSION}\",
  \"compiler\": \"${CMAKE_CXX_COMPILER}\",
  \"includes\": [\"$<JOIN:${includes},\", \">\"]
}
")

# install_licence(NAME TEXT ORIGIN) packs the file TEXT as licences/NAME.txt. If it is missing, only packing a
# release fails.
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
# systems, VANDREL_LICENCE_NAME, such as VANDREL_LICENCE_mingw_w64, is the path of the file.
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

# The libraries linked into the product: Boost, CLI11, expat, fmt, libzip, pugixml, zlib, and the run-times of
# MinGW-w64 (with winpthreads) and of GCC. The texts of the last two refer to the GNU licences.
install_debian_licence(cli11 /usr/share/doc/libcli11-dev copyright libcli11-dev)
install_debian_licence(expat /usr/share/doc/libexpat1-dev copyright libexpat1-dev)
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

# Boost's licence is one paragraph of the file in which Debian lists the licences of all its parts.
set(boost_copyright /usr/share/doc/libboost1.81-dev/copyright)
set(boost_licence ${CMAKE_CURRENT_BINARY_DIR}/boost-licence.txt)
file(REMOVE ${boost_licence})
if(EXISTS ${boost_copyright})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${boost_copyright})
    file(READ ${boost_copyright} boost_text)
    set(title " Boost Software License - Version 1.0")
    string(FIND "${boost_text}" "\nLicense: BSL-1.0\n${title}" begin)
    if(NOT begin EQUAL -1)
        string(SUBSTRING "${boost_text}" ${begin} -1 boost_text)
        string(FIND "${boost_text}" "${title}" begin)
        string(FIND "${boost_text}" "\n\n" end)
        math(EXPR length "${end} - ${begin} + 1")
        string(SUBSTRING "${boost_text}" ${begin} ${length} boost_text)
        # In such a file, lines begin with a space, and an empty one also has a full stop.
        string(REGEX REPLACE "(^|\n) \\.?" "\\1" boost_text "${boost_text}")
        file(WRITE ${boost_licence} "${boost_text}")
    endif()
endif()
install_licence(boost ${boost_licence} "Debian's package libboost1.81-dev has it in ${boost_copyright}.")
