// One row per parser: a full reply with a distinct value for every key, the exact results, and the differences between
// parsers. The rows are in ParseCases<Family>.cpp; the tests in Parse*Test.cpp use them all and edit the replies.
#pragma once

#include <array>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "FakeHost.h"
#include "ParseRecords.h"
#include "WVorelOAI.h"

namespace W::test {

/// The body of a reply whose list is empty.
inline constexpr char kEmptyListReply[] = R"({"list":[]})";

/// A reply to edit. Members keep their order, which in the rows is the order in which they are read.
using Tree = nlohmann::ordered_json;
using Pointer = Tree::json_pointer;

/// The status of a parser that threw an exception.
inline constexpr int kThrown = 1000000;

/// The status and outputs of a parser.
struct Results {
    int status = 0;
    Shown outputs;
};

/// The contents of the outputs before the call.
enum class Outputs {
    Fresh,
    Filled,  ///< values that the parser keeps or replaces
};

/// The arguments of a parser.
struct Calling {
    std::string body;
    WVorelOAI* owner = nullptr;
    UINT64 reference = 0;
    WDateTime clock = WDateTime::fromString("-05:30", WDateTime::FORMAT_OFFSET, WDateTime::TIMEZONE_NONE);
    Outputs outputs = Outputs::Fresh;
};

/// The condition for reading an image.
enum class ReadWhen {
    Always,
    UrlPresent,
    UrlNonEmpty,
    HasMembers,
};

/// An image object in the reply; "*" means any index.
struct ImageAt {
    const char* path;
    ReadWhen when;
};

/// A key whose absence changes more than its own value: the whole result is stated.
struct Absence {
    const char* path;
    int status;
    const char* outputs;  ///< as in ParserCase::outputs
};

/// What happens to the outputs if the JSON library throws. Outputs that are not containers keep what was read.
enum class OutputsOnException {
    Clears,  ///< -57 and the containers cleared
    Resets,  ///< -57 and a new output
    Passes,  ///< the exception reaches the caller, the containers do not change
};

struct ParserCase {
    const char* name;      ///< unique
    const char* function;  ///< name in the parser's lines
    std::function<Results(const Calling&)> parse;
    const char* payload;  ///< members of "rsp" after "stat"
    const char* outputs;  ///< by name; a container as its list
    std::vector<ImageAt> images = {};
    std::vector<Absence> absences = {};
    OutputsOnException onException = OutputsOnException::Clears;
    int unreadable = -57;  ///< status after an exception
    /// Reply keys that become true in an output: path, output.
    std::vector<std::pair<const char*, const char*>> flags = {};
    int cancelTests = 0;  ///< number of them while the full reply is read; 0 if it cannot be cancelled
    const char* cancelLine = nullptr;
    const char* wholeList = nullptr;  ///< array of the reply that a record gets as a whole or not at all
};

/// For failure messages.
inline void PrintTo(const ParserCase& row, std::ostream* out)
{
    *out << row.name;
}

const std::vector<ParserCase>& parserCases();
/// The row with a name.
const ParserCase& parserCase(const std::string& name);

/// "rsp" of the full reply.
Tree fullReply(const ParserCase& row);
/// {"rsp": ...} as a string.
std::string replyBody(const Tree& rsp);
/// Outputs with the counts of the containers, which the rows leave out.
Shown withCounts(const ParserCase& row, Shown outputs);
Shown stated(const ParserCase& row, const char* outputs);
inline Shown stated(const ParserCase& row)
{
    return stated(row, row.outputs);
}

// -- Parts of the rows

std::vector<ParserCase> configCases();
std::vector<ParserCase> channelCases();
std::vector<ParserCase> guideCases();
std::vector<ParserCase> detailCases();
std::vector<ParserCase> recommendCases();
std::vector<ParserCase> viewerCases();

/// The number of lines printed since the start of the test, for each time a container was cleared.
std::vector<std::size_t>& clearings();

/// A container that a host may have derived: it keeps its own list, so it contains only what came through the virtual
/// operations. Records when it is cleared.
template <class Record>
class WatchedContainer final : public WContainer<Record> {
public:
    const std::list<Record>& getData() const override { return m_list; }
    void setData(const std::list<Record>& list) override { m_list = list; }
    std::list<Record>& data() override { return m_list; }
    void clear() override
    {
        m_list.clear();
        WContainer<Record>::clear();
        clearings().push_back(FakeHost::current()->lines().size());
    }

private:
    std::list<Record> m_list;
};

inline void fill(std::string& text)
{
    text = "before";
}
inline void fill(int& number)
{
    number = -7;
}
inline void fill(bool& flag)
{
    flag = true;
}
inline void fill(WDateTime& time)
{
    time = WDateTime::fromTime_t(1);
}
inline void fill(WResource& record)
{
    record.setResourceID("before");
}
inline void fill(std::map<int, std::string>& states)
{
    states[0] = "before";
}
inline void fill(std::multimap<int, WVLCityCode>& cities)
{
    cities.emplace(0, WVLCityCode());
}
template <class Record>
void fill(std::list<Record>& list)
{
    fill(list.emplace_back());
}
template <class Record>
void fill(WContainer<Record>& container)
{
    fill(container.data());
    container.setCount(77);
}

/// Returns a function that calls `call(command, calling, outputs...)` and shows the outputs under their names.
template <class Command, class... Output, class Call>
std::function<Results(const Calling&)> parser(std::array<const char*, sizeof...(Output)> names, Call call)
{
    return [names, call](const Calling& calling) {
        Command command(nullptr, nullptr, calling.owner, WContentProvider("Corvane", 14));
        std::tuple<Output...> outputs{};
        if (calling.outputs == Outputs::Filled) {
            std::apply([](auto&... output) { (fill(output), ...); }, outputs);
        }
        Results results;
        std::apply(
            [&](auto&... output) {
                try {
                    results.status = call(command, calling, output...);
                } catch (const std::exception&) {
                    results.status = kThrown;
                }
                std::size_t index = 0;
                results.outputs = Shown::object();
                ((results.outputs[names[index++]] = show(output)), ...);
            },
            outputs);
        return results;
    };
}

/// A parser of the body, without outputs.
template <class Command>
ParserCase acknowledgement(const char* function, int (Command::*parse)(const std::string&))
{
    return {function, function,
            parser<Command>({}, [parse](Command& command, const Calling& in) { return (command.*parse)(in.body); }),
            "{}", "{}"};
}

/// A parser that reads the body into one record.
template <class Command, class Record>
std::function<Results(const Calling&)> recordParser(const char* output,
                                                    int (Command::*parse)(const std::string&, Record&))
{
    return parser<Command, Record>({output}, [parse](Command& command, const Calling& in, Record& record) {
        return (command.*parse)(in.body, record);
    });
}

}  // namespace W::test
