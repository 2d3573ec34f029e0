// One channel or programme of a listing, made from its element, its children and their attributes. kFields in
// ListingRecords.cpp lists the children that are read. Listing.cpp feeds it from the XML parser.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Listing.h"

namespace corvaned {

/// The string without blanks at its ends, and with one blank for each run of blanks, as XMLTV prescribes.
std::string collapsed(std::string_view text);

/// Whether the element groups fields of a record: <credits>, <rating>. Fields inside it are named "credits/actor".
bool isFieldGroup(std::string_view element);

/// Builds records and passes them to the sink; broken ones are reported as skipped.
class RecordReader {
public:
    /// Names must stay valid until the record ends.
    using Attributes = std::vector<std::pair<std::string_view, std::string>>;

    /// @param sink  must outlive the reader
    explicit RecordReader(ListingSink& sink) : m_sink(sink) {}

    /// Begins a record if the element is a channel or programme.
    /// @param line  the line where its start tag ends
    void begin(std::string_view element, Attributes attributes, int line);

    /// Begins a child of the record's element.
    void beginField(std::string_view element, Attributes attributes);

    /// Adds to the text of the open child.
    void addText(std::string_view text);

    void endField();

    /// Ends the open record and passes it on.
    void end();

    /// Marks the open record as broken; the first reason counts. Has no effect between records.
    void setFault(std::string reason);

private:
    enum class Record {
        None,
        Channel,
        Programme,
    };

    // A child of a record and the function that takes its text and attributes.
    struct Field {
        Record record;
        std::string_view element;
        void (RecordReader::*take)(const std::string& text);
    };
    static const Field kFields[];

    std::string attribute(std::string_view name) const;
    ListingText& textFor(const std::string& lang);
    void checkEncoding();
    void beginChannel();
    void beginProgramme();
    void finishChannel();
    void settleTexts();
    void finishProgramme();

    void takeDisplayName(const std::string& text);
    void takeLogicalNumber(const std::string& text);
    void takeIcon(const std::string& text);
    void takeTitle(const std::string& text);
    void takeEpisodeTitle(const std::string& text);
    void takeDescription(const std::string& text);
    void takeCategory(const std::string& text);
    void takeEpisodeNumber(const std::string& text);
    void takeDate(const std::string& text);
    void takeLength(const std::string& text);
    void takeImage(const std::string& text);
    void takeCredit(const std::string& text);
    void takeRating(const std::string& text);

    ListingSink& m_sink;
    Record m_record = Record::None;
    int m_line = 0;
    std::string m_fault;  // why the open record cannot be used
    const Field* m_field = nullptr;
    std::string m_text;
    Attributes m_attributes;  // of the record's start tag, then of the open field's

    ListingChannel m_channel;
    ListingProgramme m_programme;
    std::string m_genreLang;
    std::string m_programId;  // "dd_progid"
    std::string m_seriesId;   // "dd_seriesid"
    bool m_poster = false;    // the image is marked as the poster
};

}  // namespace corvaned
