// Program entry.
#include "driver/driver.h"

int main(int argc, char **argv) { return briskMain(argc, argv); }
