// The table of children, then the steps of a record from begin to end, then the functions that read the children.
#include "ListingRecords.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>

#include <fmt/format.h>
#include <libxml/xmlstring.h>

#include "XmltvTime.h"

namespace corvaned {
namespace {

constexpr std::size_t kTextLimit = 64UL * 1024;  // bytes of one element's text
constexpr std::size_t kIdLimit = 1024;           // bytes of a channel id
constexpr std::size_t kGenreLimit = 1024;        // bytes of a genre's name
constexpr std::size_t kNumberLimit = 32;         // digits of a channel number
constexpr std::size_t kCreditLimit = 100;        // people of one programme; further ones are ignored
constexpr std::size_t kGenresLimit = 100;        // genres of one programme; further ones are ignored
constexpr std::size_t kLanguageLimit = 100;      // languages of one programme

std::string lowered(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return c < 0x80 ? std::tolower(c) : c; });
    return text;
}

bool isNumber(std::string_view text)
{
    return !text.empty() && text.size() <= kNumberLimit &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The decimal number at the start of a string; 0 if there is none or it is above a million.
int leadingNumber(std::string_view text)
{
    constexpr int kLargest = 1000000;
    int value = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && value >= 0 && value <= kLargest ? value : 0;
}

// Clients fetch images over http or https, so other addresses and relative paths are of no use.
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

// "onscreen" is free text; only the common format "S02E05" is read.
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

// An id from an export of the service; 0 if it is not one.
std::int64_t exportedId(std::string_view text)
{
    std::int64_t id = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), id);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && id > 0 ? id : 0;
}

bool isMovieGenre(const std::string& genre)
{
    constexpr std::string_view kMovie[] = {"movie", "movies", "film", "films", "feature film"};
    return std::find(std::begin(kMovie), std::end(kMovie), lowered(genre)) != std::end(kMovie);
}

// Episodes ("EP...") share the part of their programme id before the dot. Other ids are of films and single programmes.
std::string seriesOfProgramId(const std::string& id)
{
    return id.substr(0, 2) == "EP" && id.find('.') != std::string::npos ? id.substr(0, id.find('.')) : std::string();
}

}  // namespace

bool isFieldGroup(std::string_view element)
{
    return element == "credits" || element == "rating";
}

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

const RecordReader::Field RecordReader::kFields[] = {
    {Record::Channel, "display-name", &RecordReader::takeDisplayName},
    {Record::Channel, "lcn", &RecordReader::takeLogicalNumber},
    {Record::Channel, "icon", &RecordReader::takeIcon},
    {Record::Programme, "title", &RecordReader::takeTitle},
    {Record::Programme, "sub-title", &RecordReader::takeEpisodeTitle},
    {Record::Programme, "desc", &RecordReader::takeDescription},
    {Record::Programme, "category", &RecordReader::takeCategory},
    {Record::Programme, "episode-num", &RecordReader::takeEpisodeNumber},
    {Record::Programme, "date", &RecordReader::takeDate},
    {Record::Programme, "length", &RecordReader::takeLength},
    {Record::Programme, "icon", &RecordReader::takeIcon},
    {Record::Programme, "image", &RecordReader::takeImage},
    {Record::Programme, "credits/director", &RecordReader::takeCredit},
    {Record::Programme, "credits/actor", &RecordReader::takeCredit},
    {Record::Programme, "credits/presenter", &RecordReader::takeCredit},
    {Record::Programme, "credits/guest", &RecordReader::takeCredit},
    {Record::Programme, "credits/commentator", &RecordReader::takeCredit},
    {Record::Programme, "credits/writer", &RecordReader::takeCredit},
    {Record::Programme, "credits/producer", &RecordReader::takeCredit},
    {Record::Programme, "credits/composer", &RecordReader::takeCredit},
    {Record::Programme, "rating/value", &RecordReader::takeRating},
};

void RecordReader::begin(std::string_view element, Attributes attributes, int line)
{
    m_attributes = std::move(attributes);
    m_line = line;
    m_fault.clear();
    m_text.clear();
    m_field = nullptr;
    m_record = element == "channel" ? Record::Channel : element == "programme" ? Record::Programme : Record::None;
    checkEncoding();
    if (m_record == Record::Channel) {
        beginChannel();
    } else if (m_record == Record::Programme) {
        beginProgramme();
    }
}

void RecordReader::beginChannel()
{
    m_channel = {};
    m_channel.id = attribute("id");
    if (m_channel.id.empty()) {
        setFault("the channel has no id");
    } else if (m_channel.id.size() > kIdLimit) {
        setFault(fmt::format("the channel's id is longer than {} bytes", kIdLimit));
    }
}

void RecordReader::beginProgramme()
{
    m_programme = {};
    m_genreLang.clear();
    m_programId.clear();
    m_seriesId.clear();
    m_poster = false;
    m_programme.channel = attribute("channel");
    m_programme.clump = leadingNumber(attribute("clumpidx"));
    if (m_programme.channel.empty()) {
        setFault("the programme names no channel");
    } else if (m_programme.channel.size() > kIdLimit) {
        setFault(fmt::format("the programme's channel id is longer than {} bytes", kIdLimit));
    }
    std::string problem;
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

void RecordReader::beginField(std::string_view element, Attributes attributes)
{
    const auto* const field = std::find_if(std::begin(kFields), std::end(kFields), [&](const Field& row) {
        return row.record == m_record && row.element == element;
    });
    if (field != std::end(kFields)) {
        m_field = field;
        m_text.clear();
        m_attributes = std::move(attributes);
        checkEncoding();
    }
}

// The parser reports the first bytes that are not UTF-8, and checks none after that.
void RecordReader::checkEncoding()
{
    const auto isUtf8 = [](const std::string& string) { return xmlCheckUTF8(BAD_CAST string.c_str()) != 0; };
    if (!isUtf8(m_text) || !std::all_of(m_attributes.begin(), m_attributes.end(),
                                        [&](const auto& attribute) { return isUtf8(attribute.second); })) {
        setFault("text that is not in the listing's encoding");
    }
}

void RecordReader::addText(std::string_view text)
{
    if (m_field == nullptr) {
        return;
    }
    if (m_text.size() + text.size() > kTextLimit) {
        setFault(fmt::format("<{}> has more than {} KiB of text", m_field->element, kTextLimit >> 10));
        return;
    }
    m_text += text;
}

void RecordReader::endField()
{
    if (m_field != nullptr) {
        checkEncoding();
        (this->*m_field->take)(collapsed(m_text));
        m_field = nullptr;
    }
}

void RecordReader::end()
{
    const Record record = std::exchange(m_record, Record::None);
    if (record == Record::None) {
        return;
    }
    if (!m_fault.empty()) {
        m_sink.skip(m_line, m_fault);
    } else if (record == Record::Channel) {
        finishChannel();
    } else {
        finishProgramme();
    }
}

std::string RecordReader::attribute(std::string_view name) const
{
    const auto found = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == name; });
    return found == m_attributes.end() ? std::string() : collapsed(found->second);
}

ListingText& RecordReader::textFor(const std::string& lang)
{
    std::vector<ListingText>& texts = m_programme.texts;
    const auto found =
        std::find_if(texts.begin(), texts.end(), [&](const ListingText& text) { return text.lang == lang; });
    if (found != texts.end()) {
        return *found;
    }
    if (texts.size() == kLanguageLimit) {
        setFault(fmt::format("the programme is in more than {} languages", kLanguageLimit));
        return texts.back();
    }
    texts.emplace_back().lang = lang;
    return texts.back();
}

void RecordReader::setFault(std::string reason)
{
    if (m_fault.empty()) {
        m_fault = std::move(reason);
    }
}

void RecordReader::finishChannel()
{
    if (m_channel.name.empty()) {
        m_channel.name = m_channel.number.empty() ? m_channel.id : m_channel.number;
    }
    m_sink.addChannel(m_channel);
}

// Drops the languages without a title, since nothing can be listed under them. If no language has a title, the
// programme keeps its slot, so that the guide does not show a hole.
void RecordReader::settleTexts()
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

void RecordReader::finishProgramme()
{
    settleTexts();
    const ListingText& first = m_programme.texts.front();
    const bool movie = std::any_of(m_programme.genres.begin(), m_programme.genres.end(), isMovieGenre);
    m_programme.type = movie ? "movie" : m_programme.season + m_programme.episode > 0 ? "series" : "program";
    m_programme.key = !m_programId.empty()
                          ? m_programId
                          : fmt::format("{}\n{}\n{}\n{}\n{}", first.title.empty() ? m_programme.channel : first.title,
                                        first.episodeTitle, m_programme.season, m_programme.episode, m_programme.year);
    // If the listing has no episode numbers, a separate episode title marks a series.
    const bool namedPart = !first.episodeTitle.empty() && first.episodeTitle != first.title;
    const bool episodic = namedPart || m_programme.season + m_programme.episode > 0;
    m_programme.seriesKey = !m_seriesId.empty() ? m_seriesId : seriesOfProgramId(m_programId);
    if (m_programme.seriesKey.empty() && episodic && !movie) {
        m_programme.seriesKey = first.title;
    }
    m_sink.addProgramme(m_programme);
}

void RecordReader::takeDisplayName(const std::string& text)
{
    if (isNumber(text)) {
        if (m_channel.number.empty()) {
            m_channel.number = text;
        }
    } else if (m_channel.name.empty()) {
        m_channel.name = text;
    }
}

void RecordReader::takeLogicalNumber(const std::string& text)
{
    if (isNumber(text)) {
        m_channel.number = text;
    }
}

void RecordReader::takeIcon(const std::string&)
{
    ListingImage& image = m_record == Record::Channel ? m_channel.icon : m_programme.image;
    std::string url = attribute("src");
    if (image.url.empty() && isWebAddress(url)) {
        image = {std::move(url), leadingNumber(attribute("width")), leadingNumber(attribute("height"))};
    }
}

void RecordReader::takeTitle(const std::string& text)
{
    std::string& title = textFor(attribute("lang")).title;
    if (title.empty()) {
        title = text;
    }
}

void RecordReader::takeEpisodeTitle(const std::string& text)
{
    std::string& title = textFor(attribute("lang")).episodeTitle;
    if (title.empty()) {
        title = text;
    }
}

void RecordReader::takeDescription(const std::string& text)
{
    std::string& description = textFor(attribute("lang")).description;
    if (description.empty()) {
        description = text;
    }
}

void RecordReader::takeCategory(const std::string& text)
{
    // Ignores categories in a second language: they are translations, not further genres.
    std::vector<std::string>& genres = m_programme.genres;
    const std::string lang = attribute("lang");
    if (text.size() > kGenreLimit) {
        setFault(fmt::format("<category> has more than {} bytes", kGenreLimit));
        return;
    }
    if (genres.empty()) {
        m_genreLang = lang;
    }
    if (genres.size() < kGenresLimit && !text.empty() && lang == m_genreLang &&
        std::find(genres.begin(), genres.end(), text) == genres.end()) {
        genres.push_back(text);
    }
}

void RecordReader::takeEpisodeNumber(const std::string& text)
{
    const std::string system = attribute("system");
    if (system == "xmltv_ns") {
        readXmltvNumbers(text, m_programme.season, m_programme.episode);
    } else if (system == "dd_progid") {
        m_programId = text;
    } else if (system == "dd_seriesid") {
        m_seriesId = text;
    } else if (system == kContentIdSystem) {
        m_programme.content = exportedId(text);
    } else if (system == kSeriesIdSystem) {
        m_programme.series = exportedId(text);
    } else if ((system.empty() || system == "onscreen") && m_programme.season + m_programme.episode == 0) {
        readOnscreenNumbers(text, m_programme.season, m_programme.episode);
    }
}

void RecordReader::takeDate(const std::string& text)
{
    m_programme.year = leadingNumber(std::string_view(text).substr(0, 4));
}

void RecordReader::takeLength(const std::string& text)
{
    const std::string units = attribute("units");
    const int length = leadingNumber(text);
    m_programme.runtime = units == "hours" ? length * 60 : units == "seconds" ? length / 60 : length;
}

void RecordReader::takeImage(const std::string& text)
{
    // A poster is preferred to other images; of several, the first one counts.
    const std::string type = attribute("type");
    const bool poster = type.empty() || type == "poster";
    if (isWebAddress(text) && ((poster && !m_poster) || m_programme.image.url.empty())) {
        m_programme.image = {text, 0, 0};
        m_poster = poster;
    }
}

void RecordReader::takeCredit(const std::string& text)
{
    if (!text.empty() && m_programme.credits.size() < kCreditLimit) {
        const std::string_view job = m_field->element.substr(m_field->element.find('/') + 1);
        m_programme.credits.push_back({std::string(job), text, attribute("role")});
    }
}

void RecordReader::takeRating(const std::string& text)
{
    if (m_programme.rating.empty()) {
        m_programme.rating = text;
    }
}

}  // namespace corvaned
