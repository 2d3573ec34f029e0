// libxml2's streaming parser in pull form. Its reader interface runs ahead of the node it shows, so that an error
// could not be laid at the door of one programme; with the parser's own events, an error arrives while exactly that
// programme is open. Which elements are read stands in kFields.
#include "Listing.h"

#include <fmt/format.h>
#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "OperatorError.h"
#include "XmltvTime.h"

namespace corvaned {
namespace {

constexpr std::size_t kTextLimit = 64 * 1024;       // bytes of one element's text
constexpr std::size_t kIdLimit = 1024;              // bytes of a channel id
constexpr std::uint64_t kPrologueLimit = 1 << 20;   // bytes before <tv>: declarations stay in memory

std::string_view view(const xmlChar* text)
{
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

// Leading and trailing blanks do not count in XMLTV, and a run of them is one.
std::string collapsed(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    bool blank = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            blank = !result.empty();
        } else {
            if (blank) {
                result += ' ';
                blank = false;
            }
            result += c;
        }
    }
    return result;
}

std::string lowered(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return c < 0x80 ? std::tolower(c) : c; });
    return text;
}

bool isNumber(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The decimal number that text begins with; 0 where there is none or it is beyond a million.
int leadingNumber(std::string_view text)
{
    constexpr int kLargest = 1000000;
    int value = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && value >= 0 && value <= kLargest ? value : 0;
}

// A wire client fetches images by http or https; a path of the listing's own site is of no use to it.
bool isWebAddress(std::string_view url)
{
    return url.substr(0, 7) == "http://" || url.substr(0, 8) == "https://";
}

// "xmltv_ns" counts from 0: "1 . 4/10 . 0/2" is season 2, episode 5.
void readXmltvNumbers(std::string_view text, int& season, int& episode)
{
    std::string compact;
    std::copy_if(text.begin(), text.end(), std::back_inserter(compact), [](char c) { return c != ' '; });
    const std::string_view numbers = compact;
    const std::size_t dot = numbers.find('.');
    const std::string_view first = numbers.substr(0, dot);
    const std::string_view second = dot == std::string_view::npos ? std::string_view() : numbers.substr(dot + 1);
    const auto oneBased = [](std::string_view number) {
        return number.empty() || !isNumber(number.substr(0, 1)) ? 0 : leadingNumber(number) + 1;
    };
    season = oneBased(first);
    episode = oneBased(second);
}

// "onscreen" is free text; only the common "S02E05" is understood.
void readOnscreenNumbers(const std::string& text, int& season, int& episode)
{
    const std::string form = lowered(text);
    const std::size_t s = form.find('s');
    const std::size_t e = form.find('e', s == std::string::npos ? 0 : s);
    if (s == std::string::npos || e == std::string::npos || !isNumber(form.substr(s + 1, 1)) ||
        !isNumber(form.substr(e + 1, 1))) {
        return;
    }
    season = leadingNumber(std::string_view(form).substr(s + 1));
    episode = leadingNumber(std::string_view(form).substr(e + 1));
}

bool isMovieGenre(const std::string& genre)
{
    constexpr std::string_view kMovie[] = {"movie", "movies", "film", "films", "feature film"};
    return std::find(std::begin(kMovie), std::end(kMovie), lowered(genre)) != std::end(kMovie);
}

// The errors that leave no doubt about the rest of the listing.
struct Forgivable {
    int code;
    const char* reason;  // null: the parser's own words are plain enough
};

constexpr Forgivable kForgivable[] = {
    {XML_ERR_NAME_REQUIRED, "a bare '&', which has to be written &amp;"},
    {XML_ERR_ENTITYREF_SEMICOL_MISSING, "a '&' that begins no entity; it has to be written &amp;"},
    {XML_ERR_UNDECLARED_ENTITY, nullptr},
    {XML_WAR_UNDECLARED_ENTITY, nullptr},
    {XML_ERR_INVALID_HEX_CHARREF, nullptr},
    {XML_ERR_INVALID_DEC_CHARREF, nullptr},
    {XML_ERR_INVALID_CHARREF, nullptr},
    {XML_ERR_INVALID_CHAR, "a control character"},
};

enum class Record {
    None,
    Channel,
    Programme,
};

class Reader {
public:
    Reader(ByteSource& source, std::string name, ListingSink& sink, std::uint64_t unpackedLimit)
        : m_source(source), m_name(std::move(name)), m_sink(sink), m_unpackedLimit(unpackedLimit)
    {}

    void run();

private:
    using Attributes = std::vector<std::pair<std::string_view, std::string>>;

    // How the text and attributes of a channel's or programme's child are taken up.
    struct Field {
        Record record;
        std::string_view element;
        void (Reader::*take)(std::string text);
    };
    static const Field kFields[];

    static xmlSAXHandler handlers();
    static Reader& self(void* context) { return *static_cast<Reader*>(context); }

    // Nothing may be thrown through libxml2: what `work` throws waits in m_thrown, and the parser stops.
    template <typename Work>
    void guarded(Work work) noexcept;

    int readBytes(char* buffer, int size);
    void startElement(std::string_view name, Attributes attributes);
    void endElement();
    void addText(std::string_view text);
    void noteError(const xmlError& error);
    xmlEntityPtr findEntity(const xmlChar* name);

    int line() const { return m_parser->input != nullptr ? m_parser->input->line : 0; }
    std::string attribute(std::string_view name) const;
    ListingText& textFor(const std::string& lang);
    void startRecord(Record record);
    void finishChannel();
    void settleTexts();
    void finishProgramme();
    void setFault(std::string reason);
    [[noreturn]] void refuse(int line, const std::string& reason) const;

    void takeDisplayName(std::string text);
    void takeLogicalNumber(std::string text);
    void takeIcon(std::string text);
    void takeTitle(std::string text);
    void takeEpisodeTitle(std::string text);
    void takeDescription(std::string text);
    void takeCategory(std::string text);
    void takeEpisodeNumber(std::string text);
    void takeDate(std::string text);
    void takeLength(std::string text);
    void takeImage(std::string text);

    ByteSource& m_source;
    std::string m_name;
    ListingSink& m_sink;
    std::uint64_t m_unpackedLimit;
    std::uint64_t m_unpacked = 0;
    xmlParserCtxtPtr m_parser = nullptr;
    std::exception_ptr m_thrown;
    std::map<std::string, xmlEntity, std::less<>> m_entities;
    std::map<std::string, std::string, std::less<>> m_entityTexts;

    int m_depth = 0;
    Record m_record = Record::None;
    int m_recordLine = 0;
    std::string m_fault;          // why the open record cannot be used
    std::string m_pendingFault;   // an error inside the start tag that is just being read
    const Field* m_field = nullptr;
    std::string m_text;
    Attributes m_attributes;      // of the record's start tag, then of the open field's

    ListingChannel m_channel;
    ListingProgramme m_programme;
    std::string m_genreLang;
    std::string m_programId;      // "dd_progid"
    bool m_poster = false;        // the image is marked as the poster
};

const Reader::Field Reader::kFields[] = {
    {Record::Channel, "display-name", &Reader::takeDisplayName},
    {Record::Channel, "lcn", &Reader::takeLogicalNumber},
    {Record::Channel, "icon", &Reader::takeIcon},
    {Record::Programme, "title", &Reader::takeTitle},
    {Record::Programme, "sub-title", &Reader::takeEpisodeTitle},
    {Record::Programme, "desc", &Reader::takeDescription},
    {Record::Programme, "category", &Reader::takeCategory},
    {Record::Programme, "episode-num", &Reader::takeEpisodeNumber},
    {Record::Programme, "date", &Reader::takeDate},
    {Record::Programme, "length", &Reader::takeLength},
    {Record::Programme, "icon", &Reader::takeIcon},
    {Record::Programme, "image", &Reader::takeImage},
};

template <typename Work>
void Reader::guarded(Work work) noexcept
{
    if (m_thrown) {
        return;
    }
    try {
        work();
    } catch (...) {
        m_thrown = std::current_exception();
        if (m_parser != nullptr) {
            xmlStopParser(m_parser);
        }
    }
}

xmlSAXHandler Reader::handlers()
{
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = [](void* context, const xmlChar* name, const xmlChar*, const xmlChar*, int, const xmlChar**,
                            int count, int, const xmlChar** values) {
        self(context).guarded([&] {
            // Once an error has been recovered from, the parser would drop every later entity, &amp; included.
            self(context).m_parser->wellFormed = 1;
            Attributes attributes;
            for (int i = 0; i < count; ++i) {
                const xmlChar** const value = values + 5 * static_cast<std::ptrdiff_t>(i);
                std::string text(reinterpret_cast<const char*>(value[3]), static_cast<std::size_t>(value[4] - value[3]));
                // The parser leaves an ampersand of an attribute in this form for the tree that it does not build.
                constexpr std::string_view kAmpersand = "&#38;";
                for (std::size_t at = 0; (at = text.find(kAmpersand, at)) != std::string::npos; ++at) {
                    text.replace(at, kAmpersand.size(), "&");
                }
                attributes.emplace_back(view(value[0]), std::move(text));
            }
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

void Reader::run()
{
    static std::once_flag prepared;
    std::call_once(prepared, [] {
        xmlInitParser();
        // Second lock on the door: the options below already open nothing outside the listing.
        xmlSetExternalEntityLoader([](const char*, const char*, xmlParserCtxtPtr) -> xmlParserInputPtr { return nullptr; });
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

int Reader::readBytes(char* buffer, int size)
{
    const std::size_t count = m_source.read(buffer, static_cast<std::size_t>(size));
    m_unpacked += count;
    if (m_unpacked > m_unpackedLimit) {
        throw OperatorError(fmt::format("{}: more than {} MiB after unpacking; split the listing", m_name,
                                        m_unpackedLimit >> 20));
    }
    if (m_depth == 0 && m_unpacked > kPrologueLimit) {
        throw OperatorError(
            fmt::format("{}: no <tv> in the first {} KiB; this is no XMLTV listing", m_name, kPrologueLimit >> 10));
    }
    return static_cast<int>(count);
}

void Reader::startElement(std::string_view name, Attributes attributes)
{
    ++m_depth;
    if (m_depth == 1) {
        if (name != "tv") {
            refuse(line(), fmt::format("the document is <{:.40}>, not <tv>; this is no XMLTV listing", name));
        }
    } else if (m_depth == 2) {
        m_attributes = std::move(attributes);
        startRecord(name == "channel" ? Record::Channel : name == "programme" ? Record::Programme : Record::None);
    } else if (m_depth == 3 && m_record != Record::None) {
        const auto* const field = std::find_if(std::begin(kFields), std::end(kFields), [&](const Field& row) {
            return row.record == m_record && row.element == name;
        });
        if (field != std::end(kFields)) {
            m_field = field;
            m_text.clear();
            m_attributes = std::move(attributes);
        }
    }
    if (!m_pendingFault.empty()) {
        setFault(std::exchange(m_pendingFault, {}));
    }
}

void Reader::endElement()
{
    if (m_depth == 3 && m_field != nullptr) {
        (this->*std::exchange(m_field, nullptr)->take)(collapsed(m_text));
    } else if (m_depth == 2) {
        if (m_record != Record::None && !m_fault.empty()) {
            m_sink.skip(m_recordLine, m_fault);
        } else if (m_record == Record::Channel) {
            finishChannel();
        } else if (m_record == Record::Programme) {
            finishProgramme();
        }
        m_record = Record::None;
    }
    --m_depth;
}

void Reader::addText(std::string_view text)
{
    // Text of an element inside the field's (a person's picture, say) is not the field's own.
    if (m_depth != 3 || m_field == nullptr) {
        return;
    }
    if (m_text.size() + text.size() > kTextLimit) {
        setFault(fmt::format("<{}> holds more than {} KiB of text", m_field->element, kTextLimit >> 10));
        return;
    }
    m_text += text;
}

xmlEntityPtr Reader::findEntity(const xmlChar* name)
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
    if (added) {
        xmlChar utf8[8] = {};
        utf8[xmlCopyCharMultiByte(utf8, static_cast<int>(html->value))] = 0;
        std::string& content = m_entityTexts[entry->first];
        content = view(utf8);
        entry->second.type = XML_ENTITY_DECL;
        entry->second.name = reinterpret_cast<const xmlChar*>(entry->first.c_str());
        entry->second.content = reinterpret_cast<xmlChar*>(content.data());
        entry->second.orig = entry->second.content;
        entry->second.length = static_cast<int>(content.size());
        entry->second.etype = XML_INTERNAL_PREDEFINED_ENTITY;
    }
    return &entry->second;
}

void Reader::noteError(const xmlError& error)
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
            m_pendingFault = reason;
        } else {
            setFault(reason);
        }
    } else if (error.level == XML_ERR_FATAL) {
        refuse(error.line, "not well-formed: " + message);
    }
}

std::string Reader::attribute(std::string_view name) const
{
    const auto found = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == name; });
    return found == m_attributes.end() ? std::string() : collapsed(found->second);
}

ListingText& Reader::textFor(const std::string& lang)
{
    std::vector<ListingText>& texts = m_programme.texts;
    const auto found =
        std::find_if(texts.begin(), texts.end(), [&](const ListingText& text) { return text.lang == lang; });
    if (found != texts.end()) {
        return *found;
    }
    texts.emplace_back().lang = lang;
    return texts.back();
}

void Reader::setFault(std::string reason)
{
    if (m_fault.empty()) {
        m_fault = std::move(reason);
    }
}

void Reader::refuse(int line, const std::string& reason) const
{
    throw OperatorError(fmt::format("{}:{}: {}", m_name, line, reason));
}

void Reader::startRecord(Record record)
{
    m_record = record;
    m_recordLine = line();
    m_fault.clear();
    m_field = nullptr;
    if (record == Record::Channel) {
        m_channel = {};
        m_channel.id = attribute("id");
        if (m_channel.id.empty()) {
            setFault("the channel has no id");
        } else if (m_channel.id.size() > kIdLimit) {
            setFault(fmt::format("the channel's id is longer than {} bytes", kIdLimit));
        }
    } else if (record == Record::Programme) {
        m_programme = {};
        m_genreLang.clear();
        m_programId.clear();
        m_poster = false;
        m_programme.channel = attribute("channel");
        m_programme.clump = leadingNumber(attribute("clumpidx"));
        std::string problem;
        if (m_programme.channel.empty()) {
            setFault("the programme names no channel");
        } else if (m_programme.channel.size() > kIdLimit) {
            setFault(fmt::format("the programme's channel id is longer than {} bytes", kIdLimit));
        }
        const std::string start = attribute("start");
        if (start.empty()) {
            setFault("the programme has no start");
        } else if (const std::optional<Instant> instant = parseXmltvTime(start, problem)) {
            m_programme.start = *instant;
        } else {
            setFault("start " + problem);
        }
        if (const std::string stop = attribute("stop"); !stop.empty()) {
            m_programme.stop = parseXmltvTime(stop, problem);
            if (!m_programme.stop) {
                setFault("stop " + problem);
            } else if (*m_programme.stop <= m_programme.start) {
                m_programme.stop.reset();
            }
        }
    }
}

void Reader::finishChannel()
{
    if (m_channel.name.empty()) {
        m_channel.name = m_channel.number.empty() ? m_channel.id : m_channel.number;
    }
    m_sink.addChannel(m_channel);
}

// A language without a title of its own has nothing to be listed under. Where none has a title, the programme keeps
// its slot all the same: a guide with a hole would be wrong about what is on.
void Reader::settleTexts()
{
    std::vector<ListingText>& texts = m_programme.texts;
    const auto untitled = [](const ListingText& text) { return text.title.empty(); };
    if (std::all_of(texts.begin(), texts.end(), untitled)) {
        texts.resize(1);
        texts.front().title = std::exchange(texts.front().episodeTitle, {});
    } else {
        texts.erase(std::remove_if(texts.begin(), texts.end(), untitled), texts.end());
    }
}

void Reader::finishProgramme()
{
    settleTexts();
    const ListingText& first = m_programme.texts.front();
    const bool movie = std::any_of(m_programme.genres.begin(), m_programme.genres.end(), isMovieGenre);
    m_programme.type = movie                                                         ? "movie"
                       : m_programme.season + m_programme.episode > 0 ? "series"
                                                                                     : "program";
    m_programme.key = !m_programId.empty()
                          ? m_programId
                          : fmt::format("{}\n{}\n{}\n{}\n{}", first.title.empty() ? m_programme.channel : first.title,
                                        first.episodeTitle, m_programme.season, m_programme.episode, m_programme.year);
    m_sink.addProgramme(m_programme);
}

void Reader::takeDisplayName(std::string text)
{
    if (isNumber(text)) {
        if (m_channel.number.empty()) {
            m_channel.number = std::move(text);
        }
    } else if (m_channel.name.empty()) {
        m_channel.name = std::move(text);
    }
}

void Reader::takeLogicalNumber(std::string text)
{
    if (isNumber(text)) {
        m_channel.number = std::move(text);
    }
}

void Reader::takeIcon(std::string)
{
    ListingImage& image = m_record == Record::Channel ? m_channel.icon : m_programme.image;
    std::string url = attribute("src");
    if (image.url.empty() && isWebAddress(url)) {
        image = {std::move(url), leadingNumber(attribute("width")), leadingNumber(attribute("height"))};
    }
}

void Reader::takeTitle(std::string text)
{
    std::string& title = textFor(attribute("lang")).title;
    if (title.empty()) {
        title = std::move(text);
    }
}

void Reader::takeEpisodeTitle(std::string text)
{
    std::string& title = textFor(attribute("lang")).episodeTitle;
    if (title.empty()) {
        title = std::move(text);
    }
}

void Reader::takeDescription(std::string text)
{
    std::string& description = textFor(attribute("lang")).description;
    if (description.empty()) {
        description = std::move(text);
    }
}

void Reader::takeCategory(std::string text)
{
    // The same genre in a second language would count as a second genre.
    std::vector<std::string>& genres = m_programme.genres;
    const std::string lang = attribute("lang");
    if (genres.empty()) {
        m_genreLang = lang;
    }
    if (!text.empty() && lang == m_genreLang && std::find(genres.begin(), genres.end(), text) == genres.end()) {
        genres.push_back(std::move(text));
    }
}

void Reader::takeEpisodeNumber(std::string text)
{
    const std::string system = attribute("system");
    if (system == "xmltv_ns") {
        readXmltvNumbers(text, m_programme.season, m_programme.episode);
    } else if (system == "dd_progid") {
        m_programId = std::move(text);
    } else if ((system.empty() || system == "onscreen") && m_programme.season + m_programme.episode == 0) {
        readOnscreenNumbers(text, m_programme.season, m_programme.episode);
    }
}

void Reader::takeDate(std::string text)
{
    m_programme.year = leadingNumber(std::string_view(text).substr(0, 4));
}

void Reader::takeLength(std::string text)
{
    const std::string units = attribute("units");
    const int length = leadingNumber(text);
    m_programme.runtime = units == "hours" ? length * 60 : units == "seconds" ? length / 60 : length;
}

void Reader::takeImage(std::string text)
{
    // The poster before any other picture; of several the first, which the listing holds for the best.
    const std::string type = attribute("type");
    const bool poster = type.empty() || type == "poster";
    if (isWebAddress(text) && ((poster && !m_poster) || m_programme.image.url.empty())) {
        m_programme.image = {std::move(text), 0, 0};
        m_poster = poster;
    }
}

}  // namespace

void readListing(ByteSource& source, const std::string& name, ListingSink& sink, std::uint64_t unpackedLimit)
{
    Reader(source, name, sink, unpackedLimit).run();
}

}  // namespace corvaned
