include(GoogleTest)
enable_testing()

# vandrel_test(NAME SOURCES...) makes one test program, linked with the core over the simulated
# platform, and registers each of its tests with CTest as "<host>.<suite>.<test>".
function(vandrel_test name)
    add_executable(${name} ${ARGN})
    target_compile_options(${name} PRIVATE ${VANDREL_WARNINGS})
    target_link_libraries(${name} PRIVATE vandrel_core vandrel_simulator GTest::gmock GTest::gtest_main)
    gtest_discover_tests(
        ${name}
        TEST_PREFIX "${VANDREL_TEST_PREFIX}"
        DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT 120)
endfunction()
