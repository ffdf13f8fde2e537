# Warnings are errors on both hosts, for our own targets only. The resource compiler for Windows does not know
# these options.
set(VANDREL_WARNINGS
    "$<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion;-Werror>")
