set(VANDREL_SANITIZERS "" CACHE STRING "Sanitizers for all of the project's code, as -fsanitize takes them")
if(VANDREL_SANITIZERS)
    add_compile_options(-fsanitize=${VANDREL_SANITIZERS} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VANDREL_SANITIZERS})
endif()
