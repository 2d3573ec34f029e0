#include "StandardStreams.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace corvane {

void occupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            static_cast<void>(::open("/dev/null", descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

bool flushOutput()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

}  // namespace corvane
