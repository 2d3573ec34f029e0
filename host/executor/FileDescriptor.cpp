#include "FileDescriptor.h"

#include <cerrno>

#include <unistd.h>

namespace W::host {

void FileDescriptor::hold(int descriptor)
{
    close();
    m_descriptor = descriptor;
}

bool FileDescriptor::close()
{
    const bool good = m_descriptor < 0 || ::close(m_descriptor) == 0 || errno == EINTR;
    m_descriptor = -1;
    return good;
}

}  // namespace W::host
