#include "ListingDetails.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

namespace corvaned {
namespace {

enum class Content : std::uint8_t {
    Text,           // required
    TextOrNothing,  // optional: the element has a meaning even when it is empty
    Nothing,
    TextAndElements,
    Elements,
};

struct Rule {
    std::string_view name;
    Content content;
    // Space-separated, in order. "*" after a name: may be repeated; "!": required.
    std::string_view children;
    // Space-separated. "=a|b" after a name: only these values are valid; "!": required.
    std::string_view attributes;
};

constexpr std::string_view kPerson = "image* url*";

// The elements of xmltv.dtd (2023), in its order. Elements that are missing here are read into fields completely.
constexpr Rule kRules[] = {
    {"display-name", Content::Text, "", "lang"},
    {"title", Content::Text, "", "lang"},
    {"sub-title", Content::Text, "", "lang"},
    {"desc", Content::Text, "", "lang"},
    {"director", Content::TextAndElements, kPerson, ""},
    {"actor", Content::TextAndElements, kPerson, "role guest=yes|no"},
    {"writer", Content::TextAndElements, kPerson, ""},
    {"adapter", Content::TextAndElements, kPerson, ""},
    {"producer", Content::TextAndElements, kPerson, ""},
    {"composer", Content::TextAndElements, kPerson, ""},
    {"editor", Content::TextAndElements, kPerson, ""},
    {"presenter", Content::TextAndElements, kPerson, ""},
    {"commentator", Content::TextAndElements, kPerson, ""},
    {"guest", Content::TextAndElements, kPerson, ""},
    {"date", Content::Text, "", ""},
    {"category", Content::Text, "", "lang"},
    {"keyword", Content::Text, "", "lang"},
    {"language", Content::Text, "", "lang"},
    {"orig-language", Content::Text, "", "lang"},
    {"length", Content::Text, "", "units!=seconds|minutes|hours"},
    {"icon", Content::Nothing, "", "src! width height"},
    {"url", Content::Text, "", "system"},
    {"country", Content::Text, "", "lang"},
    {"episode-num", Content::Text, "", "system"},
    {"video", Content::Elements, "present colour aspect quality", ""},
    {"audio", Content::Elements, "present stereo", ""},
    {"previously-shown", Content::Nothing, "", "start channel"},
    {"premiere", Content::TextOrNothing, "", "lang"},
    {"last-chance", Content::TextOrNothing, "", "lang"},
    {"new", Content::Nothing, "", ""},
    {"subtitles", Content::Elements, "language", "type=teletext|onscreen|deaf-signed"},
    {"rating", Content::Elements, "value! icon*", "system"},
    {"star-rating", Content::Elements, "value! icon*", "system"},
    {"review", Content::Text, "", "type!=text|url source reviewer lang"},
    {"image", Content::Text, "", "type=poster|backdrop|still|person|character size=1|2|3 orient=P|L system"},
    {"present", Content::Text, "", ""},
    {"colour", Content::Text, "", ""},
    {"aspect", Content::Text, "", ""},
    {"quality", Content::Text, "", ""},
    {"stereo", Content::Text, "", ""},
    {"value", Content::Text, "", ""},
};

const Rule* ruleOf(std::string_view name)
{
    static const std::unordered_map<std::string_view, const Rule*> kByName = [] {
        std::unordered_map<std::string_view, const Rule*> rules;
        for (const Rule& rule : kRules) {
            rules.emplace(rule.name, &rule);
        }
        return rules;
    }();
    const auto rule = kByName.find(name);
    return rule == kByName.end() ? nullptr : rule->second;
}

// Removes the part before the separator, and the separator, and returns the part.
std::string_view take(std::string_view& list, char separator)
{
    const std::string_view first = list.substr(0, list.find(separator));
    list.remove_prefix(std::min(first.size() + 1, list.size()));
    return first;
}

bool holds(std::string_view list, std::string_view value)
{
    while (!list.empty()) {
        if (take(list, '|') == value) {
            return true;
        }
    }
    return false;
}

// @return false if a required one is missing
bool appendAttributes(std::string& xml, const ListingElement& element, std::string_view rules)
{
    while (!rules.empty()) {
        std::string_view values = take(rules, ' ');
        std::string_view name = take(values, '=');
        const bool isNeeded = name.back() == '!';
        name.remove_suffix(isNeeded ? 1 : 0);
        const std::string& value = element.attribute(name);
        if (value.empty() || (!values.empty() && !holds(values, value))) {
            if (isNeeded) {
                return false;
            }
            continue;
        }
        xml.append(" ").append(name).append("=\"");
        appendEscaped(xml, value);
        xml += '"';
    }
    return true;
}

bool appendElement(std::string& xml, const ListingElement& element);

// @return false if a required one is missing
bool appendChildren(std::string& xml, const ListingElement& element, std::string_view rules)
{
    while (!rules.empty()) {
        std::string_view name = take(rules, ' ');
        const bool isRepeated = name.back() == '*';
        const bool isNeeded = name.back() == '!';
        name.remove_suffix(isRepeated || isNeeded ? 1 : 0);
        bool isThere = false;
        for (const ListingElement& child : element.children) {
            if (child.name == name && (!isThere || isRepeated)) {
                isThere = appendElement(xml, child) || isThere;
            }
        }
        if (isNeeded && !isThere) {
            return false;
        }
    }
    return true;
}

// @return false if the document type does not allow the element; xml is then unchanged
bool appendElement(std::string& xml, const ListingElement& element)
{
    const Rule* const rule = ruleOf(element.name);
    const std::size_t before = xml.size();
    if (rule == nullptr) {
        return false;
    }
    xml.append("<").append(element.name);
    bool isValid = appendAttributes(xml, element, rule->attributes);
    const std::size_t tagEnd = xml.size();
    xml += '>';
    if (rule->content != Content::Nothing && rule->content != Content::Elements) {
        appendEscaped(xml, element.text);
    }
    isValid = isValid && appendChildren(xml, element, rule->children);
    const bool isEmpty = xml.size() == tagEnd + 1;
    if (rule->content == Content::Text || rule->content == Content::TextAndElements) {
        isValid = isValid && !element.text.empty();
    } else if (rule->content == Content::Elements) {
        // <video/> has no meaning; <subtitles type="onscreen"/> and <subtitles/> have one.
        isValid = isValid && (!isEmpty || element.name == "subtitles");
    }
    if (!isValid) {
        xml.resize(before);
        return false;
    }
    if (isEmpty) {
        xml.replace(tagEnd, 1, "/>");
    } else {
        xml.append("</").append(element.name).append(">");
    }
    return true;
}

}  // namespace

const std::string& ListingElement::attribute(std::string_view key) const
{
    static const std::string kNone;
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == key; });
    return found == attributes.end() ? kNone : found->second;
}

std::string detailOf(const ListingElement& element)
{
    std::string xml;
    appendElement(xml, element);
    return xml;
}

std::size_t placeOf(std::string_view element)
{
    const Rule* const rule = ruleOf(element);
    return static_cast<std::size_t>((rule == nullptr ? std::end(kRules) : rule) - std::begin(kRules));
}

std::string_view nameOfDetail(std::string_view line)
{
    const auto* const end =
        std::find_if(line.begin() + 1, line.end(), [](char c) { return c == ' ' || c == '/' || c == '>'; });
    return line.substr(1, static_cast<std::size_t>(end - line.begin()) - 1);
}

void appendEscaped(std::string& xml, std::string_view string)
{
    const auto isMarkup = [](char c) { return c == '&' || c == '<' || c == '>' || c == '"'; };
    for (const char* rest = string.begin();;) {
        const char* const markup = std::find_if(rest, string.end(), isMarkup);
        xml.append(rest, markup);
        if (markup == string.end()) {
            return;
        }
        xml += *markup == '&' ? "&amp;" : *markup == '<' ? "&lt;" : *markup == '>' ? "&gt;" : "&quot;";
        rest = markup + 1;
    }
}

std::string joinedDetails(const std::vector<std::string>& lines)
{
    std::vector<std::pair<std::size_t, std::size_t>> order;  // each line by its place, then as it is
    for (const std::string& line : lines) {
        order.emplace_back(placeOf(nameOfDetail(line)), order.size());
    }
    std::sort(order.begin(), order.end());
    std::string joined;
    for (const auto& [place, line] : order) {
        joined.append(lines[line]).append("\n");
    }
    return joined;
}

std::vector<std::string_view> splitDetails(std::string_view details)
{
    std::vector<std::string_view> lines;
    while (!details.empty()) {
        lines.push_back(take(details, '\n'));
    }
    return lines;
}

}  // namespace corvaned
