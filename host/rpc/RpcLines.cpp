#include "RpcLines.h"

#include <istream>
#include <streambuf>
#include <string>

namespace W::host {

namespace {

enum class LineRead {
    Whole,
    TooLong,
    AtEnd
};

/// Reads a line without its end. The rest of a line that is too long is read and dropped.
LineRead readLine(std::streambuf& stream, std::string& line)
{
    constexpr int kEnd = std::char_traits<char>::eof();
    line.clear();
    bool tooLong = false;
    int letter = stream.sbumpc();
    if (letter == kEnd) {
        return LineRead::AtEnd;
    }
    for (; letter != kEnd && letter != '\n'; letter = stream.sbumpc()) {
        tooLong = tooLong || line.size() == kMostRpcMessage;
        if (!tooLong) {
            line += static_cast<char>(letter);
        }
    }
    return tooLong ? LineRead::TooLong : LineRead::Whole;
}

}  // namespace

void serveLines(RpcConversation& conversation, std::istream& lines, std::chrono::milliseconds patience)
{
    std::string line;
    for (LineRead read = LineRead::Whole; (read = readLine(*lines.rdbuf(), line)) != LineRead::AtEnd;) {
        if (read == LineRead::TooLong) {
            conversation.refuseOversized();
        } else {
            conversation.handle(line);
        }
        conversation.finishWaits();
    }
    conversation.finishAll(patience);
}

}  // namespace W::host
