# Warnings are errors, on both hosts; for targets of our own only.
set(VANDREL_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
