#include "UnnamedFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "OperatorError.h"

namespace corvaned {

int openUnnamedFile()
{
    std::error_code failed;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(failed);
    std::string form = ((failed ? "/tmp" : folder) / "corvaned-XXXXXX").string();
    const int descriptor = ::mkostemp(form.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw OperatorError(fmt::format("cannot make a temporary file {}: {}; set TMPDIR to a writable folder", form,
                                        std::strerror(errno)));
    }
    ::unlink(form.c_str());
    return descriptor;
}

}  // namespace corvaned
