// Results as JSON, for `corvane rpc`. A record becomes an object whose keys are its setters' names without "set"; every
// field is present. RecordJson.cpp holds one table per record class.
#pragma once

#include <list>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "WContainer.h"
#include "WContentProvider.h"
#include "WDateTime.h"
#include "WVLChannel.h"
#include "WVLConcierge.h"
#include "WVLContent.h"
#include "WVLDownloadURL.h"
#include "WVLGenre.h"
#include "WVLHeadend.h"
#include "WVLImage.h"
#include "WVLPerson.h"
#include "WVLQuiz.h"
#include "WVLService.h"

namespace W::host {

/// Keeps the order in which keys are written.
using Json = nlohmann::ordered_json;

inline Json toJson(const std::string& string)
{
    return string;
}
inline Json toJson(bool value)
{
    return value;
}
inline Json toJson(int value)
{
    return value;
}
inline Json toJson(unsigned int value)
{
    return value;
}

/// `{"utc":"2026-11-21T01:30:00Z","offset":"+09:00"}`; null for a part that is not set.
Json toJson(const WDateTime& time);
/// `{"Name":…,"ServiceType":…,"ID":…}`
Json toJson(const WContentProvider& provider);

Json toJson(const WVLImage& record);
Json toJson(const WVLChannel& record);
Json toJson(const WVLGenre& record);
Json toJson(const WVLRepGenre& record);
Json toJson(const WVLPerson& record);
Json toJson(const WVLContent& record);
Json toJson(const WVLCombination& record);
Json toJson(const WVLConcierge& record);
Json toJson(const WVLDevice& record);
Json toJson(const WVLHeadend& record);
Json toJson(const WVLCityCode& record);
Json toJson(const WVLAnswer& record);
Json toJson(const WVLQuiz& record);
Json toJson(const WVLDownloadURL& record);
Json toJson(const WVLEvent& record);
Json toJson(const WVLLog& record);
Json toJson(const WVLCertificationRule& record);
Json toJson(const WVLLocaltime& record);
Json toJson(const WVLSession& record);

template <class Record>
Json toJson(const std::list<Record>& list)
{
    Json array = Json::array();
    for (const Record& record : list) {
        array.push_back(toJson(record));
    }
    return array;
}

/// `{"count":N,"data":[…]}`
template <class Record>
Json toJson(const WContainer<Record>& container)
{
    return {{"count", container.getCount()}, {"data", toJson(container.getData())}};
}

/// `{"0":"name"}`
inline Json toJson(const std::map<int, std::string>& names)
{
    Json object = Json::object();
    for (const auto& [number, name] : names) {
        object[std::to_string(number)] = name;
    }
    return object;
}

/// `[[0,{…}],…]`
template <class Record>
Json toJson(const std::multimap<int, Record>& records)
{
    Json array = Json::array();
    for (const auto& [number, record] : records) {
        array.push_back(Json::array({number, toJson(record)}));
    }
    return array;
}

/// JSON in one line. Bytes that are not UTF-8 become U+FFFD.
inline std::string toLine(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace W::host
