include(GoogleTest)
enable_testing()

# Tells the tests of several presets apart when CTest runs them together; begins every test's name.
set(VANDREL_TEST_PREFIX "" CACHE STRING "What the names of CTest's tests begin with")

# Tests are built quickly rather than fast: what takes their time is what they test.
set(VANDREL_TEST_OPTIONS ${VANDREL_WARNINGS} -O0 -g1)

# The main function of all test programs: it fails a test that leaves objects of the platform alive.
add_library(vandrel_test_main OBJECT ${PROJECT_SOURCE_DIR}/tests/test_main.cpp)
target_compile_options(vandrel_test_main PRIVATE ${VANDREL_TEST_OPTIONS})
target_link_libraries(vandrel_test_main PUBLIC vandrel_core vandrel_simulator GTest::gmock)
# The largest of what tests include, compiled once for all of them, who have to have its options.
set_property(TARGET vandrel_test_main PROPERTY POSITION_INDEPENDENT_CODE OFF)
target_precompile_headers(vandrel_test_main PRIVATE <gmock/gmock.h> <boost/filesystem.hpp>)

# vandrel_test(NAME SOURCES...) makes one test program, linked with the core over the simulated
# platform, and registers each of its tests with CTest as "<prefix><suite>.<test>".
function(vandrel_test name)
    add_executable(${name} ${ARGN})
    target_compile_options(${name} PRIVATE ${VANDREL_TEST_OPTIONS})
    target_link_libraries(${name} PRIVATE vandrel_test_main)
    set_property(TARGET ${name} PROPERTY POSITION_INDEPENDENT_CODE OFF)
    target_precompile_headers(${name} REUSE_FROM vandrel_test_main)
    # Printed parameters can hold addresses; a test's name is the same in every run.
    gtest_discover_tests(
        ${name}
        TEST_PREFIX "${VANDREL_TEST_PREFIX}"
        NO_PRETTY_VALUES
        DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT 120)
endfunction()
