# libCoreFoundation.so, and libMobileDevice.so, which has nothing and needs the other: what is looked
# for in it is found there.
list(JOIN functions ";\n        " function_exports)
list(JOIN constants ";\n        " constant_exports)
file(CONFIGURE OUTPUT exports.map
     CONTENT "{\n    global:\n        ${function_exports};\n        ${constant_exports};\n    local: *;\n};\n"
     @ONLY)
set(exports ${CMAKE_CURRENT_BINARY_DIR}/exports.map)

# Initialisers run in link order, and the simulation must be initialised after the libraries it uses.
add_library(stand_in STATIC stand_in.cpp)
target_include_directories(stand_in PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(stand_in PRIVATE ${VANDREL_WARNINGS})
add_library(stand_in_core_foundation SHARED ${empty})
target_link_libraries(
    stand_in_core_foundation PRIVATE -Wl,--whole-archive simulated_core_foundation
                                     simulated_mobile_device stand_in
                                     -Wl,--no-whole-archive)
# The product has functions of the same names, which none of the library's own calls may reach.
target_link_options(
    stand_in_core_foundation
    PRIVATE
    LINKER:--version-script=${exports}
    LINKER:-Bsymbolic
    LINKER:--no-undefined)
set_target_properties(stand_in_core_foundation PROPERTIES LINK_DEPENDS ${exports})

add_library(stand_in_mobile_device MODULE ${empty})
target_link_options(stand_in_mobile_device PRIVATE LINKER:--no-as-needed)
target_link_libraries(stand_in_mobile_device PRIVATE stand_in_core_foundation)
set_target_properties(stand_in_mobile_device PROPERTIES BUILD_RPATH_USE_ORIGIN ON)

find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_test(NAME "${VANDREL_TEST_PREFIX}stand_in_exports_what_the_product_uses_only"
         COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/tests/release/exports_test.py ${CMAKE_OBJDUMP}
                 $<TARGET_FILE:stand_in_core_foundation> ${functions} ${constants})
