#include "FileContent.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace corvaned {

std::string contentOfFile(const std::string& path)
{
    std::error_code failed;
    if (std::filesystem::is_directory(path, failed)) {
        throw std::system_error(EISDIR, std::generic_category());
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) {
        throw std::system_error(errno != 0 ? errno : EIO, std::generic_category());
    }
    return content;
}

}  // namespace corvaned
