// An owned file descriptor.
#pragma once

namespace W::host {

/// Closes its descriptor when it is destroyed.
class FileDescriptor {
public:
    FileDescriptor() = default;
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    /// Takes over what open() returned, and closes the descriptor held before.
    void hold(int descriptor);
    /// @return false if the system reports that earlier writes are lost
    bool close();
    bool isOpen() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

}  // namespace W::host
