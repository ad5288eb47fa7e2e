#include "cli/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

void StandardDescriptors::openClosedOnes()
{
    // The lowest one that is free is given out first, so that each call closes a gap.
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = open("/dev/null", O_RDWR);
    if (descriptor >= 0)
        close(descriptor);
}
