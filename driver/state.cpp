// Driver state consulted by other subsystems.
#include "driver/driver.h"

istring defaultOutputName;
FILE *defaultOutputStream;
