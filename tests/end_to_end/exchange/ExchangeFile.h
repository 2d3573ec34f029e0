// A file that describes one conversation: calls, requests on the wire, replies and results. A section begins with a
// line "== NAME"; lines before the first one are remarks. The sections, in the order of a file:
//
//   == options          "KEY=VALUE" of the provider; "session" opens one; "clock +09:00" fetches the server's time
//   == given PATH       a file that exists before
//   == call             an operation's name and the JSON array of its parameters
//   == request          request line (without the version), header lines, and after an empty line the body
//   == reply CODE       the body of the reply; "gzip" after the code compresses it
//   == result           members of the answer's "result"; "return" is 0 unless it is given
//   == file PATH        the content of a file afterwards
//
// The sections from "call" on may repeat; without "request", no request may reach the server. A line "@NAME" includes
// the lines of NAME.lines in the same folder. {base}, {host} and {temp} are replaced by the server's URL, its host and
// port, and an empty directory.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace W::test {

struct ExchangeReply {
    int code = 200;
    bool gzip = false;
    std::string body;
};

/// One call and what follows it.
struct ExchangeStep {
    std::string operation;
    std::string parameters;  ///< JSON
    std::optional<std::string> request;
    ExchangeReply reply;
    std::string result;  ///< JSON
    std::vector<std::pair<std::string, std::string>> files;
};

struct ExchangeFile {
    std::vector<std::string> options;
    bool session = false;
    std::string clock;  ///< an offset, or empty
    std::vector<std::pair<std::string, std::string>> given;
    std::vector<ExchangeStep> steps;
};

/// @param words  replacements of the words in braces
/// @throws std::runtime_error naming the file, the line and what is wrong with it
ExchangeFile readExchange(const std::filesystem::path& path, const std::map<std::string, std::string>& words);

}  // namespace W::test
