// A temporary directory that is removed with the object, and files in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace W::host {

class ScratchDirectory {
public:
    ScratchDirectory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "corvane-XXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    ~ScratchDirectory() { std::filesystem::remove_all(m_path); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::string file(const std::string& name) const { return (m_path / name).string(); }
    std::string write(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories((m_path / name).parent_path());
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }

private:
    std::filesystem::path m_path;
};

inline std::string readFile(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace W::host
