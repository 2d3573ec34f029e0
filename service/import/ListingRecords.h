// One channel or programme of a listing, made from its element, its children and their attributes. kFields in
// ListingRecords.cpp lists the children that are read. Listing.cpp feeds it from the XML parser.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Listing.h"
#include "ListingDetails.h"

namespace corvaned {

/// Builds records and passes them to the sink; broken ones are reported as skipped.
class RecordReader {
public:
    using Attributes = decltype(ListingElement::attributes);

    /// @param sink  must outlive the reader
    explicit RecordReader(ListingSink& sink) : m_sink(sink) {}

    /// Begins a record, if the element is one.
    /// @param line  where its start tag ends
    void begin(std::string_view element, Attributes attributes, int line);

    /// Begins a child of the record's element, or an element inside a child.
    void beginElement(std::string_view element, Attributes attributes);

    /// Adds to the text of the innermost open element.
    void addText(std::string_view text);

    void endElement();

    /// Ends the record that is open and hands it over.
    void end();

    /// Marks the open record as broken; the first reason counts. Has no effect between records.
    void setFault(std::string reason);

    /// From now on, marks records as broken if a string in them is not UTF-8.
    void checkEncoding() { m_checksEncoding = true; }

private:
    enum class Record {
        None,
        Channel,
        Programme,
    };
    using Element = ListingElement;

    // How a record's child is read.
    struct RecordField {
        Record record;
        std::string_view element;
        bool isOnce;  // of several, the first one counts
        // Returns false if something of the element has no field, so that it is kept as a detail. Null: all of it.
        bool (RecordReader::*take)(const Element& element);
    };
    static const RecordField kFields[];

    void countBytes(std::size_t more);
    void checkString(const std::string& string);
    void takeField(Element element);
    void keep(const Element& element);
    ListingStrings& stringsIn(const std::string& lang);
    bool takeString(const Element& element, std::string ListingStrings::*string);
    void keepSurplus(std::optional<Element>& plain, const Element& element);
    void beginChannel();
    void beginProgramme();
    void finishChannel();
    void settleStrings();
    void settleImage();
    void settleNumbers();
    void finishProgramme();

    bool takeDisplayName(const Element& element);
    bool takeLogicalNumber(const Element& element);
    bool takeIcon(const Element& element);
    bool takeTitle(const Element& element);
    bool takeEpisodeTitle(const Element& element);
    bool takeDescription(const Element& element);
    bool takeCategory(const Element& element);
    bool takeEpisodeNumber(const Element& element);
    bool takeDate(const Element& element);
    bool takeLength(const Element& element);
    bool takeImage(const Element& element);
    bool takeCredits(const Element& element);
    bool takeRating(const Element& element);

    ListingSink& m_sink;
    bool m_checksEncoding = false;
    Record m_record = Record::None;
    int m_line = 0;
    std::string m_fault;                   // why the open record cannot be used
    Element m_start;                       // the record's start tag
    std::vector<Element> m_open;           // a child of the record and the elements open in it
    std::size_t m_childBytes = 0;          // of them together
    std::size_t m_unread = 0;              // depth inside an element that is not read; 0 outside
    std::vector<std::string_view> m_seen;  // children that count once
    std::vector<std::string> m_details;
    std::size_t m_detailBytes = 0;

    ListingChannel m_channel;
    std::vector<Element> m_names;

    ListingProgramme m_programme;
    std::string m_programId;                  // "dd_progid"
    std::string m_seriesId;                   // "dd_seriesid"
    ListingImage m_icon;                      // the first one of a web address
    std::optional<std::size_t> m_iconDetail;  // its place among the details
    std::string m_poster;                     // the first <image> that is marked as one, or not marked
    std::string m_otherImage;                 // the first <image> of another kind
    int m_onscreenSeason = 0;
    int m_onscreenEpisode = 0;
    bool m_isNumbered = false;              // an "xmltv_ns" has given the numbers
    std::optional<Element> m_plainNumbers;  // the only "xmltv_ns" so far, if its field holds all of it
    std::optional<Element> m_plainRating;   // likewise
};

}  // namespace corvaned
