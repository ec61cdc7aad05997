#include "StandardDescriptors.h"

#include <cstdlib>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

void occupyStandardDescriptors()
{
    for (const int descriptor : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (::fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDONLY) != descriptor)
            std::abort();
    }
}
