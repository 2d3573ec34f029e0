// The command corvane. Read next: CommandLine.h.
#include <cstdio>
#include <exception>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "CommandLine.h"

namespace {

constexpr int kFailure = 1;

/// Occupies the standard descriptors that are closed: otherwise sockets and files would get their numbers, and output
/// would go into them. Reading gives the end of the file; writing to standard output fails.
void occupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            static_cast<void>(::open("/dev/null", descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        occupyStandardDescriptors();
        const int status = W::host::runCommandLine(argc, argv);
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
            return status;
        }
        std::fputs("corvane: cannot write all of the output; check whether standard output is open and the disk full\n",
                   stderr);
    } catch (const std::bad_alloc&) {
        std::fputs("corvane: out of memory\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "corvane: %s\n", error.what());
    } catch (...) {
        std::fputs("corvane: unknown failure\n", stderr);
    }
    return kFailure;
}
