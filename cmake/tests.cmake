include(GoogleTest)
enable_testing()

# The first part of every test's name, which distinguishes presets when CTest runs them together.
set(VANDREL_TEST_PREFIX "" CACHE STRING "Prefix of the names of CTest's tests")

# Python is this computer's own. Wine would start it too, but end with status 0 whatever a test says.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
if(WIN32)
    set_property(TARGET Python3::Interpreter PROPERTY CROSSCOMPILING_EMULATOR "")
endif()
add_test(NAME "${VANDREL_TEST_PREFIX}a_test_in_python_can_fail" COMMAND Python3::Interpreter -c "exit(1)")
set_property(TEST "${VANDREL_TEST_PREFIX}a_test_in_python_can_fail" PROPERTY WILL_FAIL TRUE)

# Tests are compiled without optimisation, because compiling them takes longer than running them.
set(VANDREL_TEST_OPTIONS ${VANDREL_WARNINGS} -O0 -g1)
if(VANDREL_SANITIZERS MATCHES undefined)
    # These checks of each pointer double that time, and are for the program rather than for its tests.
    list(APPEND VANDREL_TEST_OPTIONS -fno-sanitize=alignment,null,object-size,vptr)
endif()

# Test programs are linked with LLVM's linker, in a second instead of minutes.
if(WIN32)
    set(VANDREL_TEST_LINK_OPTIONS -fno-use-linker-plugin -wrapper ${PROJECT_SOURCE_DIR}/scripts/lib/link-with-lld)
endif()

# The main function of all test programs but forwarding_tests. It fails a test that leaks a CoreFoundation object.
add_library(vandrel_test_main OBJECT ${PROJECT_SOURCE_DIR}/tests/test_main.cpp)
target_compile_options(vandrel_test_main PRIVATE ${VANDREL_TEST_OPTIONS})
target_link_libraries(vandrel_test_main PUBLIC vandrel_core vandrel_simulator GTest::gmock)
# The largest headers of the tests are precompiled once; all test programs need the same options for that.
set_property(TARGET vandrel_test_main PROPERTY POSITION_INDEPENDENT_CODE OFF)
target_precompile_headers(vandrel_test_main PRIVATE <gmock/gmock.h> <boost/filesystem.hpp>)

# vandrel_test(NAME SOURCES...) builds one test program, linked with the core and the simulator, and registers
# each of its tests with CTest as "<prefix><suite>.<test>".
function(vandrel_test name)
    add_executable(${name} ${ARGN})
    target_compile_options(${name} PRIVATE ${VANDREL_TEST_OPTIONS})
    target_link_options(${name} PRIVATE ${VANDREL_TEST_LINK_OPTIONS})
    target_link_libraries(${name} PRIVATE vandrel_test_main)
    set_property(TARGET ${name} PROPERTY POSITION_INDEPENDENT_CODE OFF)
    target_precompile_headers(${name} REUSE_FROM vandrel_test_main)
    # Printed parameters can contain addresses, but a test's name must be the same in every run.
    gtest_discover_tests(
        ${name}
        TEST_PREFIX "${VANDREL_TEST_PREFIX}"
        NO_PRETTY_VALUES
        DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT 120)
endfunction()
