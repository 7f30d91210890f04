#include "files/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

void OccupyStandardDescriptors() {
    // open takes the lowest free number, which is the one just found closed.
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDONLY);
    }
}
