#include "launcher/launch.h"

int main(int argument_count, char** arguments) {
    return vandrel::launch(argument_count, arguments);
}
