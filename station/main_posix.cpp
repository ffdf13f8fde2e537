#include "station/launch.h"

int main(int argument_count, char** arguments) {
    return vandrel::station::launch(argument_count, arguments);
}
