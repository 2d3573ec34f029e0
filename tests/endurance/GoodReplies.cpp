#include "GoodReplies.h"

#include <filesystem>
#include <vector>

#include "ExchangeFile.h"
#include "Operations.h"

namespace W::test {

namespace {

std::string read(const vorel::Operation& operation)
{
    if (operation.verb == vorel::Verb::Download) {
        return {};
    }
    const std::filesystem::path file =
        std::filesystem::path(CORVANE_EXCHANGES) / (std::string(operation.name) + ".exchange");
    for (const ExchangeStep& step : readExchange(file, {}).steps) {
        if (step.operation == operation.name && step.request.has_value() && step.reply.code == 200) {
            return step.reply.body;
        }
    }
    throw std::runtime_error(file.string() + " has no good reply");
}

std::vector<std::string> readAll()
{
    std::vector<std::string> all;
    for (const vorel::Operation& operation : vorel::kOperations) {
        all.push_back(read(operation));
    }
    return all;
}

}  // namespace

const std::string& goodReply(unsigned int key)
{
    static const std::vector<std::string> s_replies = readAll();
    return s_replies.at(key - vorel::kFirstKey);
}

}  // namespace W::test
