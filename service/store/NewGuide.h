// Builds the guide's next file in the folder of the present one and renames it into place. GuideFile.h reads it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Sqlite.h"

namespace corvaned {

/// A guide under construction. The present guide does not change before place(); the destructor removes a file that was
/// not placed. One process at a time builds the file of a path, and removes the partial file of a killed process.
class NewGuide {
public:
    /// How much of the present guide the new file begins with.
    enum class Begin {
        Numbers,   // places, apps and the numbers of channels, genres and people
        Whole,     // all of it
        Combined,  // all of the guide in a combined database, which is in its last format and has no log
    };

    /// Waits for another process that builds the same file.
    /// @param path  of the guide, which need not exist; a combined database is refused unless it is asked for
    /// @param warn  receives a line if it has to wait
    /// @throws OperatorError if the file cannot be made, or the present guide cannot be read
    NewGuide(const std::string& path, Begin begin, const std::function<void(const std::string& line)>& warn);
    NewGuide(const NewGuide&) = delete;
    NewGuide& operator=(const NewGuide&) = delete;
    ~NewGuide();

    /// The new file. It has no journal, so this object must not be used after an error.
    sqlite::Connection& connection() { return *m_connection; }

    /// Whether the path had a guide when this object was made.
    bool hadGuide() const { return m_hadGuide; }

    /// Flushes the file to the disk and renames it over the present guide.
    /// @throws OperatorError if that fails; the present guide is then unchanged
    void place();

private:
    void lock(const std::function<void(const std::string& line)>& warn);
    void begin(Begin begin);
    void copyNumbers();
    void makeSchema(std::int64_t format);
    [[noreturn]] void fail(const char* what) const;

    const std::string m_path;     // without symbolic links
    const std::string m_partial;  // of the file while it is built
    int m_descriptor = -1;        // holds the lock
    std::unique_ptr<sqlite::Connection> m_connection;
    bool m_hadGuide = false;
    bool m_isPlaced = false;
};

/// Makes an empty guide if there is no file.
/// @param fill  adds rows to the new file; may be null
void createGuideIfMissing(const std::string& path, void (*fill)(sqlite::Connection& connection));

}  // namespace corvaned
