// The table of children first, then a record from its begin to its end, then how each child is taken up.
#include "ListingRecords.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>
#include <libxml/xmlstring.h>

#include "ListingValues.h"
#include "XmltvTime.h"

namespace corvaned {
namespace {

constexpr std::size_t kTextLimit = 64UL * 1024;     // bytes of one element's text
constexpr std::size_t kIdLimit = 1024;              // bytes of a channel id
constexpr std::size_t kGenreLimit = 1024;           // bytes of a genre's name
constexpr std::size_t kCreditLimit = 100;           // people of one programme; further ones are left out
constexpr std::size_t kGenresLimit = 100;           // and genres, likewise
constexpr std::size_t kLanguageLimit = 100;         // of one programme
constexpr std::size_t kChildLimit = 1000;           // elements inside one; further ones are left out
constexpr std::size_t kChildBytesLimit = 1 << 20;   // bytes of one child of a record with all in it
constexpr std::size_t kDetailLimit = 256UL * 1024;  // bytes of details of one channel or programme

}  // namespace

const RecordReader::RecordField RecordReader::kFields[] = {
    {Record::Channel, "display-name", false, &RecordReader::takeDisplayName},
    {Record::Channel, "lcn", true, &RecordReader::takeLogicalNumber},
    {Record::Channel, "icon", false, &RecordReader::takeIcon},
    {Record::Channel, "url", false, nullptr},
    {Record::Programme, "title", false, &RecordReader::takeTitle},
    {Record::Programme, "sub-title", false, &RecordReader::takeEpisodeTitle},
    {Record::Programme, "desc", false, &RecordReader::takeDescription},
    {Record::Programme, "credits", false, &RecordReader::takeCredits},
    {Record::Programme, "date", true, &RecordReader::takeDate},
    {Record::Programme, "category", false, &RecordReader::takeCategory},
    {Record::Programme, "keyword", false, nullptr},
    {Record::Programme, "language", true, nullptr},
    {Record::Programme, "orig-language", true, nullptr},
    {Record::Programme, "length", true, &RecordReader::takeLength},
    {Record::Programme, "icon", false, &RecordReader::takeIcon},
    {Record::Programme, "url", false, nullptr},
    {Record::Programme, "country", false, nullptr},
    {Record::Programme, "episode-num", false, &RecordReader::takeEpisodeNumber},
    {Record::Programme, "video", true, nullptr},
    {Record::Programme, "audio", true, nullptr},
    {Record::Programme, "previously-shown", true, nullptr},
    {Record::Programme, "premiere", true, nullptr},
    {Record::Programme, "last-chance", true, nullptr},
    {Record::Programme, "new", true, nullptr},
    {Record::Programme, "subtitles", false, nullptr},
    {Record::Programme, "rating", false, &RecordReader::takeRating},
    {Record::Programme, "star-rating", false, nullptr},
    {Record::Programme, "review", false, nullptr},
    {Record::Programme, "image", false, &RecordReader::takeImage},
};

void RecordReader::begin(std::string_view element, Attributes attributes, int line)
{
    m_line = line;
    m_fault.clear();
    m_open.clear();
    m_unread = 0;
    m_seen.clear();
    m_details.clear();
    m_detailBytes = 0;
    m_record = element == "channel" ? Record::Channel : element == "programme" ? Record::Programme : Record::None;
    if (m_record == Record::None) {
        return;
    }
    for (auto& [name, value] : attributes) {
        checkString(value);
        value = collapsed(std::move(value));
    }
    m_start.attributes = std::move(attributes);
    if (m_record == Record::Channel) {
        beginChannel();
    } else {
        beginProgramme();
    }
}

void RecordReader::beginChannel()
{
    m_channel = {};
    m_names.clear();
    m_channel.id = m_start.attribute("id");
    if (m_channel.id.empty()) {
        setFault("the channel has no id");
    } else if (m_channel.id.size() > kIdLimit) {
        setFault(fmt::format("the channel's id is longer than {} bytes", kIdLimit));
    }
}

void RecordReader::beginProgramme()
{
    m_programme = {};
    m_programId.clear();
    m_seriesId.clear();
    m_iconDetail.reset();
    m_poster.clear();
    m_otherImage.clear();
    m_onscreenSeason = 0;
    m_onscreenEpisode = 0;
    m_isNumbered = false;
    m_plainNumbers.reset();
    m_plainRating.reset();
    m_programme.channel = m_start.attribute("channel");
    m_programme.clump = leadingNumber(m_start.attribute("clumpidx"));
    if (m_programme.channel.empty()) {
        setFault("the programme names no channel");
    } else if (m_programme.channel.size() > kIdLimit) {
        setFault(fmt::format("the programme's channel id is longer than {} bytes", kIdLimit));
    }
    std::string problem;
    const std::string& start = m_start.attribute("start");
    if (start.empty()) {
        setFault("the programme has no start");
    } else if (const std::optional<Instant> instant = parseXmltvTime(start, problem)) {
        m_programme.start = *instant;
    } else {
        setFault("start " + problem);
    }
    if (const std::string& stop = m_start.attribute("stop"); !stop.empty()) {
        m_programme.stop = parseXmltvTime(stop, problem);
        if (!m_programme.stop) {
            setFault("stop " + problem);
        } else if (*m_programme.stop <= m_programme.start) {
            m_programme.stop.reset();
        }
    }
    // Times are kept in seconds after the start, so that they move with it.
    for (const char* const name : {"pdc-start", "vps-start"}) {
        const std::string& given = m_start.attribute(name);
        const std::optional<Instant> time = given.empty() ? std::nullopt : parseXmltvTime(given, problem);
        if (time) {
            m_details.push_back(fmt::format("@{} {}", name, *time - m_programme.start));
        }
    }
    for (const char* const name : {"showview", "videoplus"}) {
        if (const std::string& value = m_start.attribute(name); !value.empty()) {
            std::string line = fmt::format(" {}=\"", name);
            appendEscaped(line, value);
            m_details.push_back(line + '"');
        }
    }
}

void RecordReader::beginElement(std::string_view element, Attributes attributes)
{
    const auto isField = [&] {
        return std::any_of(std::begin(kFields), std::end(kFields),
                           [&](const RecordField& row) { return row.record == m_record && row.element == element; });
    };
    if (m_unread > 0 || m_record == Record::None || !m_fault.empty() || (m_open.empty() && !isField()) ||
        (!m_open.empty() && m_open.back().children.size() == kChildLimit)) {
        ++m_unread;
        return;
    }
    if (m_open.empty()) {
        m_childBytes = 0;
    }
    Element& added = m_open.emplace_back();
    added.name = element;
    for (auto& [name, value] : attributes) {
        checkString(value);
        countBytes(name.size() + value.size());
        value = collapsed(std::move(value));
    }
    added.attributes = std::move(attributes);
}

void RecordReader::addText(std::string_view text)
{
    if (m_unread > 0 || m_open.empty()) {
        return;
    }
    Element& element = m_open.back();
    if (element.text.size() + text.size() > kTextLimit) {
        setFault(fmt::format("<{}> has more than {} KiB of text", element.name, kTextLimit >> 10));
        return;
    }
    element.text += text;
    countBytes(text.size());
}

void RecordReader::countBytes(std::size_t more)
{
    m_childBytes += more;
    if (m_childBytes > kChildBytesLimit) {
        setFault(fmt::format("<{}> has more than {} KiB", m_open.front().name, kChildBytesLimit >> 10));
    }
}

void RecordReader::checkString(const std::string& string)
{
    if (m_checksEncoding && xmlCheckUTF8(BAD_CAST string.c_str()) == 0) {
        setFault("a string that is not in the listing's encoding");
    }
}

void RecordReader::endElement()
{
    if (m_unread > 0) {
        --m_unread;
        return;
    }
    if (m_open.empty()) {
        return;
    }
    Element element = std::move(m_open.back());
    m_open.pop_back();
    checkString(element.text);
    element.text = collapsed(std::move(element.text));
    if (m_open.empty()) {
        takeField(std::move(element));
    } else {
        m_open.back().children.push_back(std::move(element));
    }
}

void RecordReader::takeField(Element element)
{
    const auto* const field = std::find_if(std::begin(kFields), std::end(kFields), [&](const RecordField& row) {
        return row.record == m_record && row.element == element.name;
    });
    if (field->isOnce) {
        if (std::find(m_seen.begin(), m_seen.end(), field->element) != m_seen.end()) {
            return;
        }
        m_seen.push_back(field->element);
    }
    if (field->take == nullptr || !(this->*field->take)(element)) {
        keep(element);
    }
}

void RecordReader::keep(const Element& element)
{
    std::string line = detailOf(element);
    m_detailBytes += line.size();
    if (m_detailBytes > kDetailLimit) {
        setFault(fmt::format("more than {} KiB of keywords, addresses and the like", kDetailLimit >> 10));
    } else if (!line.empty()) {
        m_details.push_back(std::move(line));
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

ListingStrings& RecordReader::stringsIn(const std::string& lang)
{
    std::vector<ListingStrings>& strings = m_programme.strings;
    const auto found =
        std::find_if(strings.begin(), strings.end(), [&](const ListingStrings& each) { return each.lang == lang; });
    if (found != strings.end()) {
        return *found;
    }
    if (strings.size() == kLanguageLimit) {
        setFault(fmt::format("the programme is in more than {} languages", kLanguageLimit));
        return strings.back();
    }
    strings.emplace_back().lang = lang;
    return strings.back();
}

void RecordReader::setFault(std::string reason)
{
    if (m_fault.empty()) {
        m_fault = std::move(reason);
    }
}

// Names are kept as details unless they are plainly a name and its number. The name comes first then, and the number
// second, so that the next import finds the same ones.
void RecordReader::finishChannel()
{
    const auto isName = [](const Element& element) { return !isChannelNumber(element.text); };
    const auto named = std::find_if(m_names.begin(), m_names.end(), isName);
    if (named != m_names.end()) {
        std::rotate(m_names.begin(), named, std::next(named));
    }
    if (!m_names.empty()) {
        const auto second = std::next(m_names.begin());
        if (m_channel.number.empty()) {
            const auto number = std::find_if_not(second, m_names.end(), isName);
            m_channel.number = number == m_names.end() ? std::string() : number->text;
        }
        const auto numbered =
            std::find_if(second, m_names.end(), [this](const Element& name) { return name.text == m_channel.number; });
        if (numbered != m_names.end()) {
            std::rotate(second, numbered, std::next(numbered));
        } else if (!m_channel.number.empty()) {
            m_names.insert(second, {"display-name", {}, m_channel.number, {}});
        }
    }
    m_channel.name = m_names.empty() ? m_channel.id : m_names.front().text;
    const std::size_t plainNames = m_channel.number.empty() ? 1 : 2;
    const bool isPlain =
        m_names.size() <= plainNames &&
        std::all_of(m_names.begin(), m_names.end(), [](const Element& name) { return name.attribute("lang").empty(); });
    if (!isPlain) {
        for (const Element& name : m_names) {
            keep(name);
        }
    }
    m_channel.details = joinedDetails(m_details);
    m_sink.addChannel(m_channel);
}

// A language without a title has nothing to be listed under; its other strings become details. If no language has a
// title, the programme keeps its slot all the same: a guide with a hole would be wrong about what is on.
void RecordReader::settleStrings()
{
    std::vector<ListingStrings>& strings = m_programme.strings;
    const auto untitled = [](const ListingStrings& each) { return each.title.empty(); };
    if (strings.empty()) {
        strings.emplace_back();
    }
    const bool isTitled = !std::all_of(strings.begin(), strings.end(), untitled);
    if (!isTitled) {
        strings.front().title = std::exchange(strings.front().episodeTitle, {});
    }
    for (std::size_t i = isTitled ? 0 : 1; i < strings.size(); ++i) {
        if (untitled(strings[i])) {
            keep({"sub-title", {{"lang", strings[i].lang}}, strings[i].episodeTitle, {}});
            keep({"desc", {{"lang", strings[i].lang}}, strings[i].description, {}});
        }
    }
    strings.erase(std::remove_if(strings.begin() + (isTitled ? 0 : 1), strings.end(), untitled), strings.end());
}

// A poster is preferred, then an icon. All of <image> are details, and so is the icon unless it becomes the field.
void RecordReader::settleImage()
{
    if (!m_poster.empty() || (!m_otherImage.empty() && !m_iconDetail)) {
        m_programme.image = {m_poster.empty() ? m_otherImage : m_poster, 0, 0};
    } else if (m_iconDetail) {
        m_programme.image = m_icon;
        m_details.erase(m_details.begin() + static_cast<std::ptrdiff_t>(*m_iconDetail));
    }
}

void RecordReader::settleNumbers()
{
    if (m_programme.season + m_programme.episode == 0) {
        m_programme.season = m_onscreenSeason;
        m_programme.episode = m_onscreenEpisode;
    }
}

void RecordReader::finishProgramme()
{
    settleStrings();
    settleImage();
    settleNumbers();
    std::stable_sort(
        m_programme.credits.begin(), m_programme.credits.end(),
        [](const ListingCredit& left, const ListingCredit& right) { return placeOf(left.job) < placeOf(right.job); });
    const ListingStrings& first = m_programme.strings.front();
    const bool movie = std::any_of(m_programme.genres.begin(), m_programme.genres.end(), isMovieGenre);
    m_programme.type = movie ? "movie" : m_programme.season + m_programme.episode > 0 ? "series" : "program";
    if (!m_programId.empty()) {
        m_programme.key = m_programId;
    } else {
        m_programme.key.append(first.title.empty() ? m_programme.channel : first.title).append("\n");
        m_programme.key.append(first.episodeTitle);
        for (const int number : {m_programme.season, m_programme.episode, m_programme.year}) {
            m_programme.key.append("\n").append(std::to_string(number));
        }
    }
    // If the listing has no episode numbers, a separate episode title marks a series.
    const bool namedPart = !first.episodeTitle.empty() && first.episodeTitle != first.title;
    const bool episodic = namedPart || m_programme.season + m_programme.episode > 0;
    m_programme.seriesKey = !m_seriesId.empty() ? m_seriesId : seriesOfProgramId(m_programId);
    if (m_programme.seriesKey.empty() && episodic && !movie) {
        m_programme.seriesKey = first.title;
    }
    m_programme.details = joinedDetails(m_details);
    m_sink.addProgramme(m_programme);
}

bool RecordReader::takeDisplayName(const Element& element)
{
    if (!element.text.empty()) {
        m_names.push_back(element);
    }
    return true;
}

bool RecordReader::takeLogicalNumber(const Element& element)
{
    if (isChannelNumber(element.text)) {
        m_channel.number = element.text;
    }
    return true;
}

// Of a programme, the icon may yet have to make room for a poster.
bool RecordReader::takeIcon(const Element& element)
{
    const ListingImage image = {element.attribute("src"), leadingNumber(element.attribute("width")),
                                leadingNumber(element.attribute("height"))};
    if (!isWebAddress(image.url)) {
        return false;
    }
    if (m_record == Record::Channel) {
        const bool isFirst = m_channel.icon.url.empty();
        if (isFirst) {
            m_channel.icon = image;
        }
        return isFirst;
    }
    if (!m_iconDetail) {
        m_icon = image;
        m_iconDetail = m_details.size();
    }
    return false;
}

// Of several in one language, the first counts.
bool RecordReader::takeString(const Element& element, std::string ListingStrings::*string)
{
    std::string& held = stringsIn(element.attribute("lang")).*string;
    if (held.empty() || element.text.empty()) {
        held += element.text;
        return true;
    }
    return false;
}

bool RecordReader::takeTitle(const Element& element)
{
    // The service's own exports write this for no title, because XMLTV's tools drop programmes without one.
    return element.text == kNoTitle || takeString(element, &ListingStrings::title);
}

bool RecordReader::takeEpisodeTitle(const Element& element)
{
    return takeString(element, &ListingStrings::episodeTitle);
}

bool RecordReader::takeDescription(const Element& element)
{
    return takeString(element, &ListingStrings::description);
}

// Categories in further languages would count as further genres.
bool RecordReader::takeCategory(const Element& element)
{
    std::vector<std::string>& genres = m_programme.genres;
    const std::string& lang = element.attribute("lang");
    if (element.text.size() > kGenreLimit) {
        setFault(fmt::format("<category> has more than {} bytes", kGenreLimit));
        return true;
    }
    if (element.text.empty()) {
        return true;
    }
    if (genres.empty()) {
        m_programme.genreLang = lang;
    }
    if (lang != m_programme.genreLang) {
        return false;
    }
    if (genres.size() < kGenresLimit && std::find(genres.begin(), genres.end(), element.text) == genres.end()) {
        genres.push_back(element.text);
    }
    return true;
}

// An element that a field holds as a whole becomes a detail, too, when another of its kind comes: an export writes
// either the field or the details.
void RecordReader::keepSurplus(std::optional<Element>& plain, const Element& element)
{
    if (plain) {
        keep(*std::exchange(plain, std::nullopt));
    }
    keep(element);
}

bool RecordReader::takeEpisodeNumber(const Element& element)
{
    const std::string& system = element.attribute("system");
    if (system == kContentIdSystem) {
        m_programme.content = exportedId(element.text);
        return true;
    }
    if (system == kSeriesIdSystem) {
        m_programme.series = exportedId(element.text);
        return true;
    }
    if (system == "xmltv_ns") {
        const std::string numbers = withoutBlanks(element.text);
        const bool isFirst = !m_isNumbered;
        if (isFirst) {
            readXmltvNumbers(numbers, m_programme.season, m_programme.episode);
            m_isNumbered = m_programme.season + m_programme.episode > 0;
        }
        if (isFirst && m_isNumbered && numbers == episodeNumbers(m_programme.season, m_programme.episode)) {
            m_plainNumbers = element;
        } else {
            keepSurplus(m_plainNumbers, element);
        }
        return true;
    }
    if (system == "dd_progid") {
        m_programId = element.text;
    } else if (system == "dd_seriesid") {
        m_seriesId = element.text;
    } else if ((system.empty() || system == "onscreen") && m_onscreenSeason + m_onscreenEpisode == 0) {
        readOnscreenNumbers(element.text, m_onscreenSeason, m_onscreenEpisode);
    }
    return false;
}

bool RecordReader::takeDate(const Element& element)
{
    constexpr std::size_t kYearDigits = 4;
    m_programme.year = leadingNumber(std::string_view(element.text).substr(0, kYearDigits));
    return m_programme.year > 0 && isNumber(element.text) && element.text.size() == kYearDigits;
}

bool RecordReader::takeLength(const Element& element)
{
    const std::string& units = element.attribute("units");
    const int length = leadingNumber(element.text);
    m_programme.runtime = units == "hours" ? length * 60 : units == "seconds" ? length / 60 : length;
    return m_programme.runtime > 0 && isNumber(element.text) && (units != "seconds" || length % 60 == 0);
}

bool RecordReader::takeImage(const Element& element)
{
    if (isWebAddress(element.text)) {
        const std::string& type = element.attribute("type");
        std::string& image = type.empty() || type == "poster" ? m_poster : m_otherImage;
        if (image.empty()) {
            image = element.text;
        }
    }
    return false;
}

bool RecordReader::takeCredits(const Element& element)
{
    for (const Element& person : element.children) {
        const bool isJob = placeOf(person.name) >= placeOf("director") && placeOf(person.name) <= placeOf("guest");
        if (!isJob || person.text.empty() || m_programme.credits.size() >= kCreditLimit) {
            continue;
        }
        ListingCredit credit{person.name, person.text, person.attribute("role"), {}};
        if (!person.children.empty() || !person.attribute("guest").empty()) {
            credit.details = detailOf(person);
        }
        m_programme.credits.push_back(std::move(credit));
    }
    return true;
}

bool RecordReader::takeRating(const Element& element)
{
    const auto value = std::find_if(element.children.begin(), element.children.end(),
                                    [](const Element& child) { return child.name == "value"; });
    const bool isFirst = m_programme.rating.empty();
    if (isFirst && value != element.children.end()) {
        m_programme.rating = value->text;
    }
    if (isFirst && !m_programme.rating.empty() && element.children.size() == 1 && element.attribute("system").empty()) {
        m_plainRating = element;
    } else {
        keepSurplus(m_plainRating, element);
    }
    return true;
}

}  // namespace corvaned
