/// empty_program TEXT: loads the libraries that the product loads, writes TEXT and ends.

#include <cstdio>
#include <cstdlib>

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        return EXIT_FAILURE;
    }
    std::fputs(arguments[1], stdout);
    return EXIT_SUCCESS;
}
