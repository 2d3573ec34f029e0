// libxml2's SAX parser, which reads from a callback. Its xmlReader interface runs ahead of the node it shows, so that
// an error could not be attributed to one programme; an error among SAX events arrives while exactly that programme is
// open. ListingRecords.h makes the records.
#include "Listing.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

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
constexpr std::uint64_t kTagLimit = 256 << 10;     // bytes of one tag or entity
// The parser compares each attribute of a tag with all others, and keeps every name until the end.
constexpr int kAttributeLimit = 1000;
constexpr int kNameLimit = 5000;

std::string_view view(const xmlChar* string)
{
    return string == nullptr ? std::string_view() : reinterpret_cast<const char*>(string);
}

// Errors after which the rest of the listing can still be read.
struct Forgivable {
    int code;
    const char* reason;  // null: the parser's own message
};

constexpr Forgivable kForgivable[] = {
    {XML_ERR_NAME_REQUIRED, "a bare '&'; it must be written &amp;"},
    {XML_ERR_ENTITYREF_SEMICOL_MISSING, "a '&' that does not begin an entity; it must be written &amp;"},
    {XML_ERR_UNDECLARED_ENTITY, nullptr},
    {XML_WAR_UNDECLARED_ENTITY, nullptr},
    {XML_ERR_INVALID_HEX_CHARREF, nullptr},
    {XML_ERR_INVALID_DEC_CHARREF, nullptr},
    {XML_ERR_INVALID_CHARREF, nullptr},
    {XML_ERR_INVALID_CHAR, nullptr},  // a control character, or bytes that the encoding does not have
};

class ListingReader {
public:
    ListingReader(ByteSource& source, std::string name, ListingSink& sink, std::uint64_t unpackedLimit)
        : m_source(source), m_name(std::move(name)), m_unpackedLimit(unpackedLimit), m_records(sink)
    {}

    void run();

private:
    // An entity and its replacement text, to which it points.
    struct Entity {
        xmlEntity entity{};
        std::string text;
    };

    static xmlSAXHandler handlers();
    static ListingReader& self(void* context) { return *static_cast<ListingReader*>(context); }

    // Nothing may be thrown through libxml2: what `work` throws waits in m_thrown, nothing more is read or taken up,
    // and the parser comes to its end. (Stopping it outright frees buffers that it still holds pointers to.)
    template <typename Work>
    void guarded(Work work) noexcept;

    int readBytes(char* buffer, int size);
    void checkNoNul(std::string_view bytes);
    void checkTag(int attributes);
    void startElement(std::string_view name, RecordReader::Attributes attributes);
    void endElement();
    void forgetError();
    void noteError(const xmlError& error);
    xmlEntityPtr findEntity(const xmlChar* name);
    int line() const { return m_parser->input != nullptr ? m_parser->input->line : 0; }
    [[noreturn]] void refuse(std::int64_t line, const std::string& reason) const;

    ByteSource& m_source;
    std::string m_name;
    std::uint64_t m_unpackedLimit;
    std::uint64_t m_unpacked = 0;
    std::uint64_t m_tagBegin = 0;  // at most so many bytes had been read when the last tag or text ended
    std::int64_t m_lineRead = 1;   // of the last byte read; the parser may not be there yet
    bool m_inBytes = true;         // false if a character takes several: NULs are then parts of others
    bool m_ended = false;          // </tv> has been read
    xmlParserCtxtPtr m_parser = nullptr;
    std::exception_ptr m_thrown;
    std::map<std::string, Entity, std::less<>> m_entities;
    int m_charset = 0;  // the parser's, as the root element found it
    int m_depth = 0;
    std::string m_startTagFault;  // an error inside the start tag that is just being read
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
                            const xmlChar**, int count, int, const xmlChar** values) {
        self(context).guarded([&] {
            self(context).checkTag(namespaces + count);
            RecordReader::Attributes attributes;
            for (int i = 0; i < count; ++i) {
                const xmlChar** const value = values + 5 * static_cast<std::ptrdiff_t>(i);
                std::string unescaped(reinterpret_cast<const char*>(value[3]),
                                      static_cast<std::size_t>(value[4] - value[3]));
                // The parser leaves an ampersand of an attribute in this form for the tree that it does not build.
                constexpr std::string_view kAmpersand = "&#38;";
                for (std::size_t at = 0; (at = unescaped.find(kAmpersand, at)) != std::string::npos; ++at) {
                    unescaped.replace(at, kAmpersand.size(), "&");
                }
                attributes.emplace_back(view(value[0]), std::move(unescaped));
            }
            self(context).startElement(view(name), std::move(attributes));
        });
    };
    sax.endElementNs = [](void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
        self(context).guarded([&] { self(context).endElement(); });
    };
    sax.characters = [](void* context, const xmlChar* text, int length) {
        self(context).guarded([&] {
            self(context).m_tagBegin = self(context).m_unpacked;
            self(context).m_records.addText({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
        });
    };
    sax.ignorableWhitespace = sax.characters;
    sax.cdataBlock = sax.characters;
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
    xmlCtxtUseOptions(m_parser, XML_PARSE_NONET | XML_PARSE_RECOVER);
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
    // Comments and CDATA are bounded by the parser itself.
    const bool inTag =
        m_depth > 0 && m_parser->instate != XML_PARSER_COMMENT && m_parser->instate != XML_PARSER_CDATA_SECTION;
    if (inTag && m_unpacked - m_tagBegin > kTagLimit) {
        refuse(line(),
               fmt::format("a tag or entity of more than {} KiB; this is not an XMLTV listing", kTagLimit >> 10));
    }
    return static_cast<int>(count);
}

// A listing that has lost a block to a failed disk or download contains NULs in its place, and the parser takes the
// first one for the end.
void ListingReader::checkNoNul(std::string_view bytes)
{
    if (m_unpacked == bytes.size() && bytes.size() >= 2) {
        const auto first = static_cast<unsigned char>(bytes[0]);
        const auto second = static_cast<unsigned char>(bytes[1]);
        m_inBytes = first != 0 && second != 0 && first < 0xfe;
    }
    const std::size_t nul = m_inBytes ? bytes.find('\0') : std::string_view::npos;
    m_lineRead +=
        std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(nul, bytes.size())), '\n');
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
    m_charset = m_depth == 0 ? m_parser->charset : m_charset;
    forgetError();
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
    if (!m_startTagFault.empty()) {
        m_records.setFault(std::exchange(m_startTagFault, {}));
    }
}

// What the parser remembers of an error that it has recovered from would spoil the rest: it would drop every later
// entity, &amp; included, and after bytes that are not UTF-8 check no others.
void ListingReader::forgetError()
{
    m_parser->wellFormed = 1;
    m_parser->charset = m_charset;
}

void ListingReader::endElement()
{
    forgetError();
    m_tagBegin = m_unpacked;
    if (m_depth > 2) {
        m_records.endElement();
    } else if (m_depth == 2) {
        m_records.end();
    }
    m_ended = --m_depth == 0;
}

xmlEntityPtr ListingReader::findEntity(const xmlChar* name)
{
    if (xmlEntityPtr predefined = xmlGetPredefinedEntity(name); predefined != nullptr) {
        return predefined;
    }
    // Listings borrow HTML's entities without declaring them. In attributes the parser takes single bytes only.
    const htmlEntityDesc* const html = htmlEntityLookup(name);
    if (html == nullptr || m_parser->instate == XML_PARSER_ATTRIBUTE_VALUE) {
        return nullptr;
    }
    const auto [entry, added] = m_entities.try_emplace(std::string(view(name)));
    Entity& found = entry->second;
    if (added) {
        xmlChar utf8[8] = {};
        utf8[xmlCopyCharMultiByte(utf8, static_cast<int>(html->value))] = 0;
        found.text = view(utf8);
        found.entity.type = XML_ENTITY_DECL;
        found.entity.name = reinterpret_cast<const xmlChar*>(entry->first.c_str());
        found.entity.content = reinterpret_cast<xmlChar*>(found.text.data());
        found.entity.orig = found.entity.content;
        found.entity.length = static_cast<int>(found.text.size());
        found.entity.etype = XML_INTERNAL_PREDEFINED_ENTITY;
    }
    return &found.entity;
}

void ListingReader::noteError(const xmlError& error)
{
    const bool inAttribute = m_parser->instate == XML_PARSER_ATTRIBUTE_VALUE;
    const bool inText = m_parser->instate == XML_PARSER_CONTENT && m_depth > 0;
    const auto behindAmpersand = [&] {
        const xmlParserInputPtr input = m_parser->input;
        return input != nullptr && input->cur > input->base && input->cur[-1] == '&';
    };
    const auto* const row = std::find_if(std::begin(kForgivable), std::end(kForgivable),
                                         [&](const Forgivable& forgivable) { return forgivable.code == error.code; });
    const bool costsOneRecord = row != std::end(kForgivable) && (inText || inAttribute) &&
                                (error.code != XML_ERR_NAME_REQUIRED || behindAmpersand());
    const std::string message = collapsed(error.message != nullptr ? error.message : "error");
    if (costsOneRecord) {
        const std::string reason = row->reason != nullptr ? row->reason : message;
        if (inAttribute) {
            m_startTagFault = reason;
        } else {
            m_records.setFault(reason);
        }
    } else if (error.level == XML_ERR_FATAL) {
        // The reason why the parser gave up a tag is more useful than its message about the tag.
        refuse(error.line, "not well-formed: " + (m_startTagFault.empty() ? message : m_startTagFault));
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
