// The command corvane. Read next: CommandLine.h.
#include <cstdio>
#include <exception>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "CommandLine.h"
#include "StandardStreams.h"

namespace {

constexpr int kFailure = 1;

}  // namespace

int main(int argc, char** argv)
{
    try {
        corvane::occupyStandardDescriptors();
        const int status = W::host::runCommandLine(argc, argv);
        if (corvane::flushOutput()) {
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
