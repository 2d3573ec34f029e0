// A client for tests that sends exactly the given bytes, over TCP on this machine.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace http::test {

class RawClient {
public:
    /// @param from  the client's address, one of 127.0.0.0/8
    /// @throws std::runtime_error if the connection cannot be made
    explicit RawClient(int port, const char* from = "127.0.0.1");
    RawClient(RawClient&& other) noexcept;
    RawClient& operator=(RawClient&&) = delete;
    ~RawClient();

    /// Sends all of it. @return false if the connection has ended
    bool send(std::string_view bytes) const;
    void endSending() const;
    /// Closes the connection with a reset.
    void reset();
    /// Keeps the receive buffer small, so that a reply fills it.
    void receiveLittle() const;

    /// Reads until `end` has occurred `count` times, or to the end of the connection. Appends "(closed)" if the server
    /// has closed it, "(reset)" after a reset, "(nothing)" if no byte has come for `patience`.
    std::string receive(int count, std::string_view end = "}}",
                        std::chrono::milliseconds patience = std::chrono::seconds(20)) const;

    /// Reads to the end of the connection.
    std::string receiveAll(std::chrono::milliseconds patience = std::chrono::seconds(20)) const;

    int descriptor() const { return m_socket; }

private:
    int m_socket;
};

}  // namespace http::test
