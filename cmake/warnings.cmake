# Warnings are errors, on both hosts; for targets of our own only. Windows' resources are compiled by
# a program that does not know these options.
set(VANDREL_WARNINGS
    "$<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion;-Werror>")
