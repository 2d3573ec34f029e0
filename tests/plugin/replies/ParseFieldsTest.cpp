// The fields that every parser reads: the full reply, and then every key in turn missing, null, of every wrong type,
// huge and negative; at least 3,000 replies. The expected results are derived from those of the full reply, which the
// row states: values are distinct, so that a missing key removes its value. Any other effect is stated in the row.
//

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iostream>
#include <limits>
#include <set>

#include <gtest/gtest.h>

#include "ParseCases.h"

namespace W::test {
namespace {

using Values = std::set<std::string>;

/// A value of the reply as the tests compare it; empty if no record shows it.
std::string valueString(const Tree& leaf)
{
    const std::string text = leaf.get<std::string>();
    return text == "unread" ? std::string() : text;
}

bool isEmptyString(const Tree& value)
{
    return value.is_string() && value.get_ref<const std::string&>().empty();
}

/// Whether a record shows a value of the reply: as a string, as a number, or as an instant, which always ends with Z.
bool shows(const Shown& shown, const std::string& value)
{
    if (shown.is_string()) {
        return shown == value || shown == value + "Z";
    }
    return shown.is_number_integer() && std::to_string(shown.get<long>()) == value;
}

bool holdsOneOf(const Shown& record, const Values& values)
{
    return record.is_object() && std::any_of(record.begin(), record.end(), [&](const Shown& member) {
               return std::any_of(values.begin(), values.end(), [&](const std::string& v) { return shows(member, v); });
           });
}

/// Removes from a record or list, at any depth, the records that directly contain one of the values.
void removeHolders(Shown& shown, const Values& values)
{
    if (shown.is_array()) {
        Shown kept = Shown::array();
        for (Shown& element : shown) {
            if (!holdsOneOf(element, values)) {
                kept.push_back(std::move(element));
            }
        }
        shown = std::move(kept);
        for (Shown& element : shown) {
            removeHolders(element, values);
        }
        return;
    }
    if (!shown.is_object()) {
        return;
    }
    for (auto member = shown.begin(); member != shown.end();) {
        removeHolders(*member, values);
        const bool gone = holdsOneOf(*member, values) || (member->is_array() && member->empty());
        member = gone ? shown.erase(member) : std::next(member);
    }
}

/// Empties the members that show one of the values.
void removeValues(Shown& shown, const Values& values)
{
    if (shown.is_array()) {
        for (Shown& element : shown) {
            removeValues(element, values);
        }
        return;
    }
    if (!shown.is_object()) {
        return;
    }
    for (auto member = shown.begin(); member != shown.end();) {
        const bool gone =
            std::any_of(values.begin(), values.end(), [&](const std::string& value) { return shows(*member, value); });
        // An unreadable instant has no offset, unless the parser attaches that of the server.
        const bool takesOffsetAlong = gone && member.key() == "at" && shown.value("offset", "") == "+00:00";
        removeValues(*member, values);
        const bool emptied = member->is_object() && member->empty();
        member = gone || emptied ? shown.erase(member) : std::next(member);
        if (takesOffsetAlong) {
            shown.erase("offset");
            return;
        }
    }
}

/// Applies one of these two functions to all outputs.
void removeFrom(Shown& outputs, const Values& values, void (*remove)(Shown&, const Values&))
{
    for (Shown& output : outputs) {
        if (output.is_structured() && output.contains("at") && remove == removeHolders && holdsOneOf(output, values)) {
            output = Shown::object();
        } else if (output.is_structured()) {
            remove(output, values);
        } else if (std::any_of(values.begin(), values.end(), [&](const std::string& v) { return shows(output, v); })) {
            output = output.is_string() ? Shown("") : Shown(0);
        }
    }
}

void collectValues(const Tree& tree, Values& values)
{
    if (!tree.is_structured()) {
        if (!valueString(tree).empty()) {
            values.insert(valueString(tree));
        }
        return;
    }
    for (const Tree& child : tree) {
        collectValues(child, values);
    }
}

Values valuesOf(const Tree& tree)
{
    Values values;
    collectValues(tree, values);
    return values;
}

/// The values that the objects of an array directly contain.
Values directValues(const Tree& array)
{
    Values values;
    for (const Tree& element : array) {
        for (const Tree& member : element) {
            if (!member.is_structured() && !valueString(member).empty()) {
                values.insert(valueString(member));
            }
        }
    }
    return values;
}

bool matches(const std::string& path, const std::string& pattern)
{
    std::size_t at = 0;
    for (const char letter : pattern) {
        if (letter == '*') {
            while (at < path.size() && path[at] != '/') {
                ++at;
            }
        } else if (at >= path.size() || path[at++] != letter) {
            return false;
        }
    }
    return at == path.size();
}

const ImageAt* imageAt(const ParserCase& row, const std::string& path)
{
    const auto found = std::find_if(row.images.begin(), row.images.end(),
                                    [&](const ImageAt& image) { return matches(path, image.path); });
    return found != row.images.end() ? &*found : nullptr;
}

const char* flagAt(const ParserCase& row, const std::string& path)
{
    for (const auto& [flagPath, output] : row.flags) {
        if (path == flagPath) {
            return output;
        }
    }
    return nullptr;
}

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

std::string keyOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/// One key of the full reply, in the order of reading.
struct Key {
    std::string path;
    Tree value;
    bool isElement;  ///< is an element of an array
};

void collectKeys(const Tree& tree, const std::string& path, std::vector<Key>& keys)
{
    const bool inArray = tree.is_array();
    for (const auto& [name, value] : tree.items()) {
        const std::string childPath = std::string(path).append("/").append(name);
        keys.push_back({childPath, value, inArray});
        if (value.is_structured()) {
            collectKeys(value, childPath, keys);
        }
    }
}

std::vector<Key> keysOf(const ParserCase& row)
{
    std::vector<Key> keys;
    collectKeys(Tree::parse(row.payload), "", keys);
    return keys;
}

int g_statedReplies = 0;

struct Parser : ::testing::TestWithParam<ParserCase> {
    FakeHost host;
    WVorelOAI object;
    const ParserCase& row = GetParam();

    Results parse(const Tree& rsp, Outputs outputs = Outputs::Fresh)
    {
        Calling calling;
        calling.body = replyBody(rsp);
        calling.owner = &object;
        calling.outputs = outputs;
        host.forgetLines();
        return row.parse(calling);
    }

    void expect(const Tree& rsp, int status, const Shown& outputs)
    {
        ++g_statedReplies;
        const Results results = parse(rsp);
        EXPECT_EQ(results.status, status) << replyBody(rsp);
        EXPECT_EQ(results.outputs, outputs) << replyBody(rsp) << "\n" << Shown::diff(outputs, results.outputs);
    }

    Tree replaced(const std::string& path, const Tree& value)
    {
        Tree rsp = fullReply(row);
        rsp[Pointer(path)] = value;
        return rsp;
    }

    Tree without(const std::string& path)
    {
        Tree rsp = fullReply(row);
        rsp[Pointer(parentOf(path))].erase(keyOf(path));
        return rsp;
    }

    const Absence* absenceOf(const std::string& path)
    {
        const auto found = std::find_if(row.absences.begin(), row.absences.end(),
                                        [&](const Absence& absence) { return path == absence.path; });
        return found != row.absences.end() ? &*found : nullptr;
    }

    /// Removes from the outputs what a missing key removes.
    void takeOut(const std::string& path, const Tree& value, Shown& outputs)
    {
        const ImageAt* const image = imageAt(row, path);
        const ImageAt* const imageOfUrl = keyOf(path) == "url" ? imageAt(row, parentOf(path)) : nullptr;
        if (const char* const flag = flagAt(row, path)) {
            outputs[flag] = false;
        } else if (image != nullptr && image->when != ReadWhen::Always) {
            removeFrom(outputs, valuesOf(value), removeHolders);
        } else if (imageOfUrl != nullptr &&
                   (imageOfUrl->when == ReadWhen::UrlPresent || imageOfUrl->when == ReadWhen::UrlNonEmpty)) {
            removeFrom(outputs, valuesOf(fullReply(row)[Pointer(parentOf(path))]), removeHolders);
        } else if (!value.is_structured()) {
            removeFrom(outputs, valuesOf(value), removeValues);
        } else {
            if (value.is_array()) {
                removeFrom(outputs, directValues(value), removeHolders);
            }
            for (const auto& [name, child] : value.items()) {
                takeOut(std::string(path).append("/").append(name), child, outputs);
            }
        }
    }

    /// Expects the results of a reply in which a key is missing, or has a value that counts as missing.
    void expectAbsent(const Tree& rsp, const Key& key)
    {
        if (const Absence* const absence = absenceOf(key.path)) {
            expect(rsp, absence->status, stated(row, absence->outputs));
            return;
        }
        // Images without values cannot be told apart here; other tests cover them.
        const std::string imagePath = imageAt(row, key.path) != nullptr ? key.path : parentOf(key.path);
        if (imageAt(row, imagePath) != nullptr && valuesOf(fullReply(row)[Pointer(imagePath)]).empty()) {
            return;
        }
        Shown outputs = Shown::parse(row.outputs);
        takeOut(key.path, key.value, outputs);
        expect(rsp, 0, withCounts(row, std::move(outputs)));
    }

    /// Expects the results of a reply in which reading a key throws: what was read before it, if that is kept.
    void expectUnreadable(const Tree& rsp, const Key& key)
    {
        // If a value is stored as a whole, everything from its first key on is lost.
        std::string from = key.path;
        for (std::string path = key.path; !path.empty(); path = parentOf(path)) {
            if (imageAt(row, path) != nullptr || (row.wholeList != nullptr && path == row.wholeList)) {
                from = path;
            }
        }
        Values lost;
        Shown outputs = Shown::parse(row.outputs);
        bool reached = false;
        for (const Key& each : keysOf(row)) {
            reached = reached || each.path == from;
            if (!reached || each.value.is_structured()) {
                continue;
            }
            if (const char* const flag = flagAt(row, each.path)) {
                outputs[flag] = false;
            } else if (!valueString(each.value).empty()) {
                lost.insert(valueString(each.value));
            }
        }
        removeFrom(outputs, lost, removeHolders);
        removeFrom(outputs, lost, removeValues);
        const Shown fresh = row.parse({}).outputs;
        for (const auto& [name, output] : fresh.items()) {
            if (output.contains("count")) {
                outputs[name] = {{"count", row.onException == OutputsOnException::Clears ? -1 : 0},
                                 {"list", Shown::array()}};
            } else if (row.onException == OutputsOnException::Resets) {
                outputs[name] = Shown::object();
            }
        }
        expect(rsp, row.onException == OutputsOnException::Passes ? kThrown : row.unreadable, outputs);
        expectUnreadableLines();
    }

    void expectUnreadableLines()
    {
        const std::vector<Line> lines = host.lines();
        const bool isCaught = row.onException != OutputsOnException::Passes;
        const std::string caught = std::string("[") + row.function + "] Exception Caught: ";
        const auto found =
            std::find_if(lines.begin(), lines.end(), [&](const Line& line) { return line.text.rfind(caught, 0) == 0; });
        ASSERT_EQ(found != lines.end(), isCaught);
        if (!isCaught) {
            return;
        }
        EXPECT_EQ(found->level, 8u);
        EXPECT_EQ(found->flags, 0u);
        EXPECT_GT(found->text.size(), caught.size());
        ASSERT_EQ(lines.end() - found, 2) << "the error line is the last";
        const std::string failed =
            std::string("[") + row.function + "] #ERROR WSTATUS:" + WSTATUS2STRING(row.unreadable) + "(" +
            std::to_string(row.unreadable) + ")\tFILE:ContentsManager/WLib/Plugins/Corvane/src/VorelCommand(";
        EXPECT_EQ(found[1].text.rfind(failed, 0), 0u) << found[1].text;
        EXPECT_EQ(found[1].level, 1u);
        EXPECT_EQ(found[1].flags, 0u);
    }
};

TEST_P(Parser, ReadsEveryKeyIntoItsField)
{
    expect(fullReply(row), 0, stated(row));
    EXPECT_TRUE(host.texts(1).empty());
}

TEST_P(Parser, ReplacesWhatContainersHeld)
{
    const Results results = parse(fullReply(row), Outputs::Filled);
    EXPECT_EQ(results.status, 0);
    const Shown expected = stated(row);
    for (const auto& [name, output] : expected.items()) {
        if (output.contains("count")) {
            EXPECT_EQ(results.outputs.at(name), output) << name;
        }
    }
}

TEST_P(Parser, IsTestedWithADistinctValueForEveryKey)
{
    Values values;
    const Shown flat = Shown::parse(row.outputs).flatten();
    for (const Key& key : keysOf(row)) {
        if (key.value.is_structured() || valueString(key.value).empty() || flagAt(row, key.path) != nullptr) {
            continue;
        }
        const std::string value = valueString(key.value);
        EXPECT_TRUE(values.insert(value).second) << key.path << ": " << value << " is there twice";
        const bool isShown =
            std::any_of(flat.begin(), flat.end(), [&](const Shown& leaf) { return shows(leaf, value); });
        EXPECT_TRUE(isShown || absenceOf(key.path) != nullptr) << key.path << " is not in the stated records";
    }
}

TEST_P(Parser, ReadsNoOtherKey)
{
    std::set<std::string> keys;
    for (const ParserCase& each : parserCases()) {
        for (const Key& key : keysOf(each)) {
            if (!key.isElement) {
                keys.insert(keyOf(key.path));
            }
        }
    }
    // Only the first element of an array has all keys; in the others some are missing on purpose.
    Tree rsp = fullReply(row);
    const auto topUp = [&keys](Tree& target) {
        for (const std::string& key : keys) {
            if (!target.contains(key)) {
                target[key] = "unread";
            }
        }
    };
    topUp(rsp);
    for (const Key& key : keysOf(row)) {
        if (key.value.is_object() && key.path.find_first_of("123456789") == std::string::npos) {
            topUp(rsp[Pointer(key.path)]);
        }
    }
    expect(rsp, 0, stated(row));
}

TEST_P(Parser, MissingKeysReadAsEmpty)
{
    for (const Key& key : keysOf(row)) {
        SCOPED_TRACE(key.path);
        if (!key.isElement) {
            expectAbsent(without(key.path), key);
        }
    }
}

TEST_P(Parser, NullReadsAsEmpty)
{
    for (const Key& key : keysOf(row)) {
        SCOPED_TRACE(key.path);
        if (!key.isElement) {
            expectAbsent(replaced(key.path, nullptr), key);
        }
    }
}

TEST_P(Parser, ObjectsAndArraysInsteadOfStringsAreUnreadable)
{
    for (const Key& key : keysOf(row)) {
        if (key.value.is_structured() || key.value == "unread") {
            continue;
        }
        for (const Tree& wrong : {Tree{{"a", "b"}}, Tree::array({"a"}), Tree::object(), Tree::array()}) {
            SCOPED_TRACE(key.path + " is " + wrong.dump());
            const ImageAt* const image = keyOf(key.path) == "url" ? imageAt(row, parentOf(key.path)) : nullptr;
            // An empty object counts as a missing "url" if its presence is the condition.
            if (image != nullptr && image->when == ReadWhen::UrlPresent && wrong.empty() && !isEmptyString(key.value)) {
                expectAbsent(replaced(key.path, wrong), key);
            } else if (image == nullptr || image->when != ReadWhen::UrlPresent || !wrong.empty()) {
                expectUnreadable(replaced(key.path, wrong), key);
            }
        }
    }
}

TEST_P(Parser, ScalarsAndArraysInsteadOfObjectsAreUnreadable)
{
    for (const Key& key : keysOf(row)) {
        if (!key.value.is_object()) {
            continue;
        }
        for (const Tree& wrong : {Tree("text"), Tree(""), Tree(5), Tree(true), Tree::array(), Tree::array({"a"})}) {
            SCOPED_TRACE(key.path + " is " + wrong.dump());
            const ImageAt* const image = imageAt(row, key.path);
            const bool hasNoMembers = !wrong.is_array() || wrong.empty();
            if (image != nullptr && image->when == ReadWhen::HasMembers && hasNoMembers) {
                expectAbsent(replaced(key.path, wrong), key);
            } else {
                expectUnreadable(replaced(key.path, wrong), key);
            }
        }
    }
}

TEST_P(Parser, ObjectsInsteadOfArraysAreUnreadable)
{
    for (const Key& key : keysOf(row)) {
        SCOPED_TRACE(key.path);
        if (key.value.is_array()) {
            expectUnreadable(replaced(key.path, {{"a", "b"}}), key);
        }
    }
}

TEST_P(Parser, ValuesWithoutElementsCountAsEmptyArrays)
{
    for (const Key& key : keysOf(row)) {
        if (!key.value.is_array()) {
            continue;
        }
        for (const Tree& wrong : {Tree("text"), Tree(5), Tree(true), Tree::object(), Tree::array()}) {
            SCOPED_TRACE(key.path + " is " + wrong.dump());
            expectAbsent(replaced(key.path, wrong), key);
        }
    }
}

/// A string, number or bool in the place of a string, and the string and the number that are read from it.
struct Scalar {
    Tree value;
    std::string text;
    int number;
};

std::vector<Scalar> scalars()
{
    constexpr std::size_t kLong = 70000;  // makes the reply so long that it is read in pieces
    const std::string letters(kLong, 'x');
    const std::string digits(kLong, '9');
    return {
        {4711, "4711", 4711},
        {-4711, "-4711", -4711},
        {2.5, "2.5", 2},
        {true, "true", 0},
        {"other", "other", 0},
        {"12abc", "12abc", 12},
        {"-17", "-17", -17},
        {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615", INT_MAX},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808", INT_MIN},
        {1e300, "1.0000000000000001e+300", 1},
        {"99999999999999999999", "99999999999999999999", INT_MAX},
        {"-99999999999999999999", "-99999999999999999999", INT_MIN},
        {letters, letters, 0},
        {digits, digits, INT_MAX},
    };
}

/// Puts a scalar in the place of a value. @return false if no record shows the value as a string or number
bool replaceValue(Shown& shown, const std::string& value, const Scalar& by)
{
    if (!shown.is_structured()) {
        if (!shows(shown, value)) {
            return false;
        }
        shown = shown.is_string() ? Shown(by.text) : Shown(by.number);
        return true;
    }
    bool found = false;
    for (auto member = shown.begin(); member != shown.end();) {
        const bool isTime = shown.is_object() && (member.key() == "at" || member.key() == "offset");
        const bool replaced = !isTime && replaceValue(*member, value, by);
        found = found || replaced;
        const bool gone = shown.is_object() && replaced && isDefault(*member);
        member = gone ? shown.erase(member) : std::next(member);
    }
    return found;
}

/// The expected outputs for a scalar in the place of a key's string.
Shown withScalar(const ParserCase& row, const Key& key, const Absence* absence, const Scalar& scalar)
{
    Shown outputs = Shown::parse(absence != nullptr ? absence->outputs : row.outputs);
    const std::string value = valueString(key.value);
    const char* const flag = flagAt(row, key.path);
    if (absence != nullptr && keyOf(key.path) == "time") {
        // "100-200": a number without "-" is the beginning of a span.
        const int index = std::stoi(keyOf(parentOf(key.path)));
        if (scalar.number != 0) {
            outputs["list"][index]["start"] = static_cast<unsigned int>(scalar.number);
        }
    } else if (flag != nullptr) {
        outputs[flag] = false;
    } else if (absence == nullptr) {
        for (auto& output : outputs) {
            if (replaceValue(output, value, scalar)) {
                return outputs;
            }
        }
        // No scalar is a time, and a value that is neither a string nor a number is one.
        removeFrom(outputs, {value}, removeValues);
    }
    return outputs;
}

TEST_P(Parser, ScalarsInsteadOfStringsAreReadAsStrings)
{
    for (const Key& key : keysOf(row)) {
        if (key.value.is_structured() || valueString(key.value).empty()) {
            continue;
        }
        const Absence* const absence = absenceOf(key.path);
        for (const Scalar& scalar : scalars()) {
            SCOPED_TRACE(key.path + " is " + scalar.value.dump().substr(0, 40));
            expect(replaced(key.path, scalar.value), absence != nullptr ? absence->status : 0,
                   withCounts(row, withScalar(row, key, absence, scalar)));
        }
    }
}

/// Counts the replies whose results were compared.
class Matrix : public ::testing::Environment {
public:
    void TearDown() override
    {
        const auto* const all = ::testing::UnitTest::GetInstance();
        std::set<std::string> keys;
        for (const ParserCase& row : parserCases()) {
            for (const Key& key : keysOf(row)) {
                std::string name = row.name + key.path;
                name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }),
                           name.end());
                if (!key.isElement) {
                    keys.insert(name);
                }
            }
        }
        std::cout << "figure: replies with a stated result: " << g_statedReplies << ", of " << parserCases().size()
                  << " parsers with " << keys.size() << " keys\n";
        if (all->test_to_run_count() == all->total_test_count()) {
            EXPECT_GE(g_statedReplies, 3000);
        }
    }
};

[[maybe_unused]] const auto* const kMatrix = ::testing::AddGlobalTestEnvironment(new Matrix);

INSTANTIATE_TEST_SUITE_P(Rows, Parser, ::testing::ValuesIn(parserCases()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace

}  // namespace W::test
