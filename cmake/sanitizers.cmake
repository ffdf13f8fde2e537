set(VANDREL_SANITIZERS "" CACHE STRING "Sanitizers for all of the project's code, as -fsanitize takes them")
if(VANDREL_SANITIZERS)
    # What the sanitizers put in takes the optimizer long; a little of it is enough for them.
    add_compile_options(-fsanitize=${VANDREL_SANITIZERS} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -O1 -g1)
    add_link_options(-fsanitize=${VANDREL_SANITIZERS})
endif()

# By itself the thread sanitizer waits a second at the end of each process for races to show. And it
# knows where memory lies only on kernels that place it less randomly than some do: test programs run
# without that randomness where the machine allows it.
if(VANDREL_SANITIZERS MATCHES "thread")
    set(CMAKE_CROSSCOMPILING_EMULATOR env TSAN_OPTIONS=atexit_sleep_ms=50)
    execute_process(COMMAND setarch --addr-no-randomize true RESULT_VARIABLE result ERROR_QUIET)
    if(result EQUAL 0)
        list(APPEND CMAKE_CROSSCOMPILING_EMULATOR setarch --addr-no-randomize)
    endif()
endif()
if(VANDREL_SANITIZERS MATCHES thread)
    # Boost.Asio fences memory when it runs handlers, which the sanitizer does not follow. Nothing
    # runs any here.
    add_compile_options(-Wno-tsan)
endif()
