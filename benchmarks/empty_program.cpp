/// empty_program TEXT: loads the libraries that the product loads, except the product's own, writes
/// TEXT to standard output and ends.

#include <cstdio>
#include <cstdlib>

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        return EXIT_FAILURE;
    }
    std::fputs(arguments[1], stdout);
    return EXIT_SUCCESS;
}
