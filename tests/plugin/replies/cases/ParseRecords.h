// Records as JSON, so that a test states a whole result as one string and a difference names the field. All getters of
// all records are shown; a member of an object is left out if it is empty, 0, false or an empty record or list.
#pragma once

#include <list>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "WCorvaneOAI.h"

namespace W::test {

using Shown = nlohmann::json;

/// True for values that are left out of objects.
bool isDefault(const Shown& value);

Shown show(const std::string& text);
Shown show(int number);
Shown show(unsigned int number);
Shown show(bool flag);
/// {"at": instant as a string, "offset": "+09:00"}
Shown show(const WDateTime& time);
Shown show(const WVLImage& record);
Shown show(const WVLChannel& record);
Shown show(const WVLGenre& record);
Shown show(const WVLRepGenre& record);
Shown show(const WVLPerson& record);
Shown show(const WVLContent& record);
Shown show(const WVLCombination& record);
Shown show(const WVLConcierge& record);
Shown show(const WVLDevice& record);
Shown show(const WVLHeadend& record);
Shown show(const WVLCityCode& record);
Shown show(const WVLAnswer& record);
Shown show(const WVLQuiz& record);
Shown show(const WVLDownloadURL& record);
Shown show(const WVLEvent& record);
Shown show(const WVLLog& record);
Shown show(const WVLCertificationRule& record);
Shown show(const WVLLocaltime& record);
Shown show(const WVLSession& record);
/// [{"key": ..., "name": ...}, ...]
Shown show(const std::map<int, std::string>& states);
/// [{"key": ..., members of the city}, ...]
Shown show(const std::multimap<int, WVLCityCode>& cities);

template <class Record>
Shown show(const std::list<Record>& list)
{
    Shown shown = Shown::array();
    for (const Record& record : list) {
        shown.push_back(show(record));
    }
    return shown;
}

/// {"count": ..., "list": [...]}, both always.
template <class Record>
Shown show(const WContainer<Record>& container)
{
    return {{"count", container.getCount()}, {"list", show(container.getData())}};
}

}  // namespace W::test
