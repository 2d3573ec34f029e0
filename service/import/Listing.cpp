// Reads a listing with libxml2's SAX parser. Errors arrive between the events of the programme that they are in, so
// that one broken programme costs one programme; the xmlReader interface reads ahead and cannot attribute them.
// ListingRecords.h makes the records.
#include "Listing.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include "ListingRecords.h"
#include "ListingValues.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr std::uint64_t kPrologueLimit = 1 << 20;  // bytes before <tv>: declarations stay in memory
constexpr int kDepthLimit = 100;                   // elements within one another
constexpr std::uint64_t kTagLimit = 256 << 10;     // bytes of one tag, comment or entity
// The parser compares each attribute of a tag with all others, and keeps every name until the end.
constexpr int kAttributeLimit = 1000;
constexpr int kNameLimit = 5000;

std::string_view view(const xmlChar* string)
{
    return string == nullptr ? std::string_view() : reinterpret_cast<const char*>(string);
}

// Errors after which the rest of the listing can still be read. The parser has one code for errors in text and in
// comments or tags, so their messages tell them apart; one that is worded otherwise refuses the listing.
struct Forgivable {
    int code;
    std::string_view messageStart;
    const char* reason;  // null: the parser's own message
};

constexpr std::string_view kNotUtf8 = "Input is not proper UTF-8";
constexpr Forgivable kForgivable[] = {
    {XML_ERR_NAME_REQUIRED, "xmlParseEntityRef: ", "a bare '&'; it must be written &amp;"},
    {XML_ERR_ENTITYREF_SEMICOL_MISSING, "", "a '&' that does not begin an entity; it must be written &amp;"},
    {XML_ERR_UNDECLARED_ENTITY, "Entity '", nullptr},
    {XML_WAR_UNDECLARED_ENTITY, "Entity '", nullptr},
    {XML_ERR_INVALID_HEX_CHARREF, "", nullptr},
    {XML_ERR_INVALID_DEC_CHARREF, "", nullptr},
    {XML_ERR_INVALID_CHARREF, "", nullptr},
    {XML_ERR_INVALID_CHAR, "xmlParseCharRef: ", nullptr},
    {XML_ERR_INVALID_CHAR, "PCDATA invalid Char", nullptr},
    {XML_ERR_INVALID_CHAR, "invalid character in attribute", nullptr},
    {XML_ERR_INVALID_CHAR, kNotUtf8, nullptr},
    {XML_ERR_INVALID_CHAR, "Char 0x", nullptr},  // a code point that is not a character
};

// The parser gets this character, which no listing may contain, in place of every entity, and m_entityTexts gets the
// entity's text: after an error that it has recovered from, the parser passes on no entities in text.
constexpr char kMark = '\x1a';

xmlEntity* markEntity()
{
    static xmlChar s_content[] = {kMark, 0};
    static xmlEntity s_entity = [] {
        xmlEntity entity{};
        entity.type = XML_ENTITY_DECL;
        entity.name = BAD_CAST "mark";
        entity.content = s_content;
        entity.orig = s_content;
        entity.length = 1;
        entity.etype = XML_INTERNAL_PREDEFINED_ENTITY;
        return entity;
    }();
    return &s_entity;
}

std::size_t marksIn(std::string_view text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), kMark));
}

class ListingReader {
public:
    ListingReader(ByteSource& source, std::string name, ListingSink& sink, std::uint64_t unpackedLimit)
        : m_source(source), m_name(std::move(name)), m_unpackedLimit(unpackedLimit), m_records(sink)
    {}

    void run();

private:
    static xmlSAXHandler handlers();
    static ListingReader& self(void* context) { return *static_cast<ListingReader*>(context); }

    // Runs `work` and keeps its exception in m_thrown, since none may pass through libxml2. After that nothing more is
    // read, so that the parser ends by itself. (xmlStopParser frees buffers that the parser still uses.)
    template <typename Work>
    void guarded(Work work) noexcept;

    int readBytes(char* buffer, int size);
    void checkNoNul(std::string_view bytes);
    void checkTag(int attributes);
    void startElement(std::string_view name, RecordReader::Attributes attributes);
    void endElement();
    void addText(std::string_view text);
    void addEntities(std::size_t count);
    void fillMarks(RecordReader::Attributes& attributes, std::size_t marksInNamespaces);
    void settleFault();
    void noteError(const xmlError& error);
    xmlEntityPtr findEntity(const xmlChar* name);
    int line() const { return xmlSAX2GetLineNumber(m_parser); }
    [[noreturn]] void refuse(std::int64_t line, const std::string& reason) const;

    ByteSource& m_source;
    std::string m_name;
    std::uint64_t m_unpackedLimit;
    std::uint64_t m_unpacked = 0;
    std::uint64_t m_tagBegin = 0;  // bytes read when the last tag, text or comment ended
    std::int64_t m_lineRead = 1;   // of the last byte read; the parser may not have reached it
    bool m_inBytes = true;         // false for UTF-16 and UTF-32, where NUL bytes are parts of characters
    bool m_ended = false;          // </tv> has been read
    xmlParserCtxtPtr m_parser = nullptr;
    std::exception_ptr m_thrown;
    std::vector<std::string> m_entityTexts;  // of the entities since the last text or tag, in their order
    std::string m_fault;                     // the last forgivable error since the last text or tag
    int m_depth = 0;
    RecordReader m_records;
};

template <typename Work>
void ListingReader::guarded(Work work) noexcept
{
    if (m_thrown) {
        return;
    }
    try {
        work();
    } catch (...) {
        m_thrown = std::current_exception();
    }
}

xmlSAXHandler ListingReader::handlers()
{
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = [](void* context, const xmlChar* name, const xmlChar*, const xmlChar*, int namespaces,
                            const xmlChar** uris, int count, int, const xmlChar** values) {
        self(context).guarded([&] {
            self(context).checkTag(namespaces + count);
            RecordReader::Attributes attributes;
            for (int i = 0; i < count; ++i) {
                const xmlChar** const value = values + 5 * static_cast<std::ptrdiff_t>(i);
                attributes.emplace_back(view(value[0]), std::string(reinterpret_cast<const char*>(value[3]),
                                                                    static_cast<std::size_t>(value[4] - value[3])));
            }
            std::size_t marks = 0;
            for (int i = 0; i < namespaces; ++i) {
                marks += marksIn(view(uris[2 * static_cast<std::ptrdiff_t>(i) + 1]));
            }
            self(context).fillMarks(attributes, marks);
            self(context).startElement(view(name), std::move(attributes));
        });
    };
    sax.endElementNs = [](void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
        self(context).guarded([&] { self(context).endElement(); });
    };
    sax.characters = [](void* context, const xmlChar* text, int length) {
        self(context).guarded([&] {
            self(context).addText({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
        });
    };
    sax.ignorableWhitespace = sax.characters;
    sax.cdataBlock = sax.characters;
    sax.comment = [](void* context, const xmlChar*) { self(context).m_tagBegin = self(context).m_unpacked; };
    sax.processingInstruction = [](void* context, const xmlChar*, const xmlChar*) {
        self(context).m_tagBegin = self(context).m_unpacked;
    };
    sax.getEntity = [](void* context, const xmlChar* name) -> xmlEntityPtr {
        xmlEntityPtr entity = nullptr;
        self(context).guarded([&] { entity = self(context).findEntity(name); });
        return entity;
    };
    sax.serror = [](void* context, xmlErrorPtr error) {
        self(context).guarded([&] { self(context).noteError(*error); });
    };
    return sax;
}

void ListingReader::run()
{
    static std::once_flag prepared;
    std::call_once(prepared, [] {
        xmlInitParser();
        // A second safeguard: with the options below, the parser opens nothing outside the listing anyway.
        xmlSetExternalEntityLoader(
            [](const char*, const char*, xmlParserCtxtPtr) -> xmlParserInputPtr { return nullptr; });
    });

    xmlSAXHandler sax = handlers();
    const auto read = [](void* context, char* buffer, int size) {
        int count = -1;
        self(context).guarded([&] { count = self(context).readBytes(buffer, size); });
        return count;
    };
    m_parser = xmlCreateIOParserCtxt(&sax, this, read, nullptr, this, XML_CHAR_ENCODING_NONE);
    if (m_parser == nullptr) {
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
        throw std::bad_alloc();
    }
    // XML_PARSE_OLDSAX: the parser asks getEntity for &amp; and the other predefined entities as well.
    xmlCtxtUseOptions(m_parser, XML_PARSE_NONET | XML_PARSE_RECOVER | XML_PARSE_OLDSAX);
    xmlParseDocument(m_parser);
    xmlFreeDoc(m_parser->myDoc);
    xmlFreeParserCtxt(m_parser);
    m_parser = nullptr;
    if (m_thrown) {
        std::rethrow_exception(m_thrown);
    }
}

int ListingReader::readBytes(char* buffer, int size)
{
    const std::size_t count = m_source.read(buffer, static_cast<std::size_t>(size));
    m_unpacked += count;
    if (m_unpacked > m_unpackedLimit) {
        throw OperatorError(
            fmt::format("{}: more than {} MiB after unpacking; split the listing", m_name, m_unpackedLimit >> 20));
    }
    checkNoNul({buffer, count});
    if (m_depth == 0 && !m_ended && m_unpacked > kPrologueLimit) {
        throw OperatorError(
            fmt::format("{}: no <tv> in the first {} KiB; this is not an XMLTV listing", m_name, kPrologueLimit >> 10));
    }
    if (m_depth > 0 && m_unpacked - m_tagBegin > kTagLimit) {
        refuse(line(), fmt::format("a tag, comment or entity of more than {} KiB; take it out of the listing",
                                   kTagLimit >> 10));
    }
    return static_cast<int>(count);
}

// A listing that lost a block to a failed disk or download contains NULs instead, and the parser takes the first NUL
// for the end of the listing.
void ListingReader::checkNoNul(std::string_view bytes)
{
    if (m_unpacked == bytes.size() && bytes.size() >= 2) {
        const auto first = static_cast<unsigned char>(bytes[0]);
        const auto second = static_cast<unsigned char>(bytes[1]);
        m_inBytes = first != 0 && second != 0 && first < 0xfe;
    }
    const std::size_t nul = m_inBytes ? bytes.find('\0') : std::string_view::npos;
    for (std::size_t at = 0; (at = bytes.substr(0, nul).find('\n', at)) != std::string_view::npos; ++at) {
        ++m_lineRead;
    }
    if (nul != std::string_view::npos) {
        refuse(m_lineRead, "a NUL character: the file is damaged; download it again");
    }
}

void ListingReader::checkTag(int attributes)
{
    m_tagBegin = m_unpacked;
    if (attributes > kAttributeLimit) {
        refuse(line(), fmt::format("a tag with {} attributes; this is not an XMLTV listing", attributes));
    }
    if (xmlDictSize(m_parser->dict) > kNameLimit) {
        refuse(line(),
               fmt::format("more than {} names of elements and attributes; this is not an XMLTV listing", kNameLimit));
    }
}

void ListingReader::startElement(std::string_view name, RecordReader::Attributes attributes)
{
    ++m_depth;
    if (m_depth > kDepthLimit) {
        refuse(line(), fmt::format("elements more than {} deep; this is not an XMLTV listing", kDepthLimit));
    }
    if (m_depth == 1 && name != "tv") {
        refuse(line(), fmt::format("the document is <{:.40}>, not <tv>; this is not an XMLTV listing", name));
    } else if (m_depth == 2) {
        m_records.begin(name, std::move(attributes), line());
    } else if (m_depth > 2) {
        m_records.beginElement(name, std::move(attributes));
    }
    settleFault();
}

void ListingReader::endElement()
{
    addEntities(m_entityTexts.size());
    settleFault();
    m_tagBegin = m_unpacked;
    if (m_depth > 2) {
        m_records.endElement();
    } else if (m_depth == 2) {
        m_records.end();
    }
    m_ended = --m_depth == 0;
}

void ListingReader::addText(std::string_view text)
{
    m_tagBegin = m_unpacked;
    addEntities(m_entityTexts.size());
    settleFault();
    if (text != std::string_view(&kMark, 1)) {
        m_records.addText(text);
    }
}

// Adds the oldest entities to the text.
void ListingReader::addEntities(std::size_t count)
{
    if (count == 0) {
        return;
    }
    const auto end = m_entityTexts.begin() + static_cast<std::ptrdiff_t>(count);
    for (auto text = m_entityTexts.begin(); text != end; ++text) {
        m_records.addText(*text);
    }
    m_entityTexts.erase(m_entityTexts.begin(), end);
}

// Puts the entities of a start tag into its attributes; the ones before them are in the text before the tag.
void ListingReader::fillMarks(RecordReader::Attributes& attributes, std::size_t marksInNamespaces)
{
    if (m_entityTexts.empty()) {
        return;
    }
    std::size_t marks = marksInNamespaces;
    for (const auto& [name, value] : attributes) {
        marks += marksIn(value);
    }
    addEntities(m_entityTexts.size() - std::min(marks, m_entityTexts.size()));
    auto text = m_entityTexts.cbegin();
    for (auto& [name, value] : attributes) {
        for (std::size_t at = 0; (at = value.find(kMark, at)) != std::string::npos && text != m_entityTexts.cend();) {
            value.replace(at, 1, *text);
            at += text->size();
            ++text;
        }
    }
    m_entityTexts.clear();
}

// A fault between two records is only seen to be in text if more text follows it. If a tag follows at once, the fault
// costs that tag's record.
void ListingReader::settleFault()
{
    if (!m_fault.empty()) {
        m_records.setFault(std::exchange(m_fault, {}));
    }
}

xmlEntityPtr ListingReader::findEntity(const xmlChar* name)
{
    if (const xmlEntity* const predefined = xmlGetPredefinedEntity(name); predefined != nullptr) {
        m_entityTexts.emplace_back(view(predefined->content));
        return markEntity();
    }
    // Listings borrow HTML's entities without declaring them.
    const htmlEntityDesc* const html = htmlEntityLookup(name);
    if (html == nullptr) {
        return nullptr;
    }
    xmlChar utf8[8] = {};
    utf8[xmlCopyCharMultiByte(utf8, static_cast<int>(html->value))] = 0;
    m_entityTexts.emplace_back(view(utf8));
    return markEntity();
}

void ListingReader::noteError(const xmlError& error)
{
    const std::string message = collapsed(error.message != nullptr ? error.message : "error");
    const auto* const row =
        std::find_if(std::begin(kForgivable), std::end(kForgivable), [&](const Forgivable& forgivable) {
            return forgivable.code == error.code &&
                   message.compare(0, forgivable.messageStart.size(), forgivable.messageStart) == 0;
        });
    if (row != std::end(kForgivable)) {
        m_fault = row->reason != nullptr ? row->reason : message;
        if (row->messageStart == kNotUtf8) {
            m_records.checkEncoding();  // the parser reports the first such bytes only
        }
    } else if (error.level == XML_ERR_FATAL) {
        // The reason why the parser gave up a tag is more useful than its message about the tag.
        refuse(error.line, "not well-formed: " + (m_fault.empty() ? message : m_fault));
    }
}

void ListingReader::refuse(std::int64_t line, const std::string& reason) const
{
    throw OperatorError(fmt::format("{}:{}: {}", m_name, line, reason));
}

}  // namespace

void readListing(ByteSource& source, const std::string& name, ListingSink& sink, std::uint64_t unpackedLimit)
{
    ListingReader(source, name, sink, unpackedLimit).run();
}

}  // namespace corvaned
