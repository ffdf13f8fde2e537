set(VANDREL_SANITIZERS "" CACHE STRING "Sanitizers for all of the project's code, in the syntax of -fsanitize")
if(VANDREL_SANITIZERS STREQUAL "fuzzer-no-link")
    # Fuzzers without sanitizers are for many inputs. What traces comparisons takes a third of their time.
    add_compile_options(-fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp)
    add_link_options(-fsanitize=fuzzer-no-link)
elseif(VANDREL_SANITIZERS)
    # Optimising the sanitizers' code takes long, and a low level is enough.
    add_compile_options(-fsanitize=${VANDREL_SANITIZERS} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -O1 -g1)
    add_link_options(-fsanitize=${VANDREL_SANITIZERS})
endif()

# By default, the thread sanitizer waits a second for races at the end of each process. It also fails on
# kernels with a high degree of address randomisation: test programs run without randomisation if the
# machine allows it.
if(VANDREL_SANITIZERS MATCHES "thread")
    set(suppressions ${PROJECT_SOURCE_DIR}/cmake/thread_sanitizer.supp)
    set(CMAKE_CROSSCOMPILING_EMULATOR env "TSAN_OPTIONS=atexit_sleep_ms=50:suppressions='${suppressions}'")
    execute_process(COMMAND setarch --addr-no-randomize true RESULT_VARIABLE result ERROR_QUIET)
    if(result EQUAL 0)
        list(APPEND CMAKE_CROSSCOMPILING_EMULATOR setarch --addr-no-randomize)
    endif()
endif()
if(VANDREL_SANITIZERS MATCHES thread)
    # The compiler warns of the memory fences with which Boost.Asio runs handlers: the sanitizer does not support
    # them. Each of our loops runs its handlers in one thread.
    add_compile_options(-Wno-tsan)
endif()
