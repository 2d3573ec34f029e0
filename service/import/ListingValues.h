// The forms of strings in XMLTV listings: numbers, episode numbers, addresses. XmltvTime.h reads times.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvaned {

/// The string without blanks at its ends, and with one blank for each run of blanks, as XMLTV prescribes.
std::string collapsed(std::string string);

/// Whether it consists of digits, at most 32.
bool isNumber(std::string_view string);

/// Whether it is a channel's number: "5", "5.1" or "5-1".
bool isChannelNumber(std::string_view string);

/// The decimal number at the start of a string; 0 if there is none or it is above a million.
int leadingNumber(std::string_view string);

/// A wire client fetches images by http or https; a path of the listing's own site is of no use to it.
bool isWebAddress(std::string_view url);

std::string withoutBlanks(std::string_view string);

/// Reads numbers of the system "xmltv_ns", which counts from 0: "1.4/10.0/2" is season 2, episode 5. A number that is
/// not there is 0.
/// @param numbers  without blanks
void readXmltvNumbers(std::string_view numbers, int& season, int& episode);

/// Reads numbers of the system "onscreen", which is free text; only the common format "S02E05" is read. Otherwise
/// season and episode are unchanged.
void readOnscreenNumbers(const std::string& string, int& season, int& episode);

/// The numbers of an episode in the system "xmltv_ns", which counts from 0: "1.4." is season 2, episode 5.
/// @param season, episode  0 if not known
std::string episodeNumbers(std::int64_t season, std::int64_t episode);

/// An id from an export of the service; 0 if it is not one.
std::int64_t exportedId(std::string_view string);

/// Whether a category says that the programme is a film.
bool isMovieGenre(const std::string& genre);

/// Episodes share the part of their programme id ("dd_progid") before the dot; films and single programmes begin
/// otherwise, and get "".
std::string seriesOfProgramId(const std::string& id);

}  // namespace corvaned
