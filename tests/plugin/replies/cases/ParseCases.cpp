#include "ParseCases.h"

#include <algorithm>

#include "VorelCommand.h"

namespace W::test {

std::vector<std::size_t>& clearings()
{
    static std::vector<std::size_t> lines;
    return lines;
}

const std::vector<ParserCase>& parserCases()
{
    static const std::vector<ParserCase> kCases = [] {
        std::vector<ParserCase> all;
        for (const auto& family :
             {configCases(), channelCases(), guideCases(), detailCases(), recommendCases(), viewerCases()}) {
            all.insert(all.end(), family.begin(), family.end());
        }
        return all;
    }();
    return kCases;
}

const ParserCase& parserCase(const std::string& name)
{
    const auto& all = parserCases();
    const auto found = std::find_if(all.begin(), all.end(), [&](const ParserCase& row) { return row.name == name; });
    if (found == all.end()) {
        throw std::out_of_range("no parser is named " + name);
    }
    return *found;
}

Tree fullReply(const ParserCase& row)
{
    Tree rsp = {{"stat", "OK"}};
    rsp.update(Tree::parse(row.payload));
    return rsp;
}

std::string replyBody(const Tree& rsp)
{
    return Tree{{"rsp", rsp}}.dump();
}

Shown withCounts(const ParserCase& row, Shown outputs)
{
    // A call that reads nothing shows which outputs are containers.
    const Shown untouched = row.parse({}).outputs;
    for (auto& [name, output] : outputs.items()) {
        if (untouched.at(name).contains("count")) {
            output = Shown{{"count", output.size()}, {"list", output}};
        }
    }
    return outputs;
}

Shown stated(const ParserCase& row, const char* outputs)
{
    return withCounts(row, Shown::parse(outputs));
}

}  // namespace W::test
