// Details of programmes, persons and series.

#include "RequestRows.h"

namespace W::test {

std::vector<RequestRow> detailRows()
{
    using O = WVorelOAI;
    return {
        {"getContentDetailInfo",
         "All",
         calling(&O::getContentDetailInfo, "id24", "s", 86400),
         {{"", "browse/content/id24?country=US&lang=en&headend=H1&device=X&sourceid=s&starttime=1970-01-02T00:00:00Z"},
          {"country=", "browse/content/id24?&lang=en&headend=H1&device=X&sourceid=s&starttime=1970-01-02T00:00:00Z"},
          {"language=", "browse/content/id24?country=US&headend=H1&device=X&sourceid=s&starttime=1970-01-02T00:00:00Z"},
          {"headend=",
           "browse/content/id24?country=US&lang=en&headend=&device=X&sourceid=s&starttime=1970-01-02T00:00:00Z"},
          {"device_type=",
           "browse/content/id24?country=US&lang=en&headend=H1&device=N&sourceid=s&starttime=1970-01-02T00:00:00Z"}}},
        {"getContentDetailInfo",
         "IdAlone",
         calling(&O::getContentDetailInfo, "id24", "", 0),
         {{"", "browse/content/id24?country=US&lang=en&headend=H1&device=X"},
          {"country=", "browse/content/id24?&lang=en&headend=H1&device=X"},
          {"language=", "browse/content/id24?country=US&headend=H1&device=X"},
          {"headend=", "browse/content/id24?country=US&lang=en&headend=&device=X"},
          {"device_type=", "browse/content/id24?country=US&lang=en&headend=H1&device=N"},
          {"country= language= headend= device_type=", "browse/content/id24?&headend=&device=N"}}},
        // Strings are not escaped, not even one that ends like the path of a search.
        {"getContentDetailInfo",
         "IdWithQuestionMark",
         calling(&O::getContentDetailInfo, "id?", "", 0),
         {{"", "browse/content/id??country=US&lang=en&headend=H1&device=X"},
          {"country=", "browse/content/id??&lang=en&headend=H1&device=X"},
          {"language=", "browse/content/id??country=US&headend=H1&device=X"},
          {"headend=", "browse/content/id??country=US&lang=en&headend=&device=X"},
          {"device_type=", "browse/content/id??country=US&lang=en&headend=H1&device=N"}}},
        {"getContentDetailInfo", "WithoutId", calling(&O::getContentDetailInfo, "", "s", 86400), {{"", nullptr}}},

        {"getPersonDetailInfo",
         "WithId",
         calling(&O::getPersonDetailInfo, "p26"),
         {{"", "browse/person/p26?country=US&lang=en"},
          {"country=", "browse/person/p26?&lang=en"},
          {"language=", "browse/person/p26?country=US"},
          {"country= language=", "browse/person/p26?"}}},
        {"getPersonDetailInfo",
         "IdWithQuestionMark",
         calling(&O::getPersonDetailInfo, "p?"),
         {{"", "browse/person/p??country=US&lang=en"},
          {"country=", "browse/person/p??&lang=en"},
          {"language=", "browse/person/p??country=US"}}},
        {"getPersonDetailInfo", "WithoutId", calling(&O::getPersonDetailInfo, ""), {{"", nullptr}}},

        {"getSeriesDetailInfo",
         "All",
         calling(&O::getSeriesDetailInfo, "id27", "s"),
         {{"", "browse/content/id27/series?country=US&headend=H1&device=X&lang=en&sourceid=s"},
          {"country=", "browse/content/id27/series?country=&headend=H1&device=X&lang=en&sourceid=s"},
          {"language=", "browse/content/id27/series?country=US&headend=H1&device=X&sourceid=s"},
          {"headend=", "browse/content/id27/series?country=US&headend=&device=X&lang=en&sourceid=s"},
          {"device_type=", "browse/content/id27/series?country=US&headend=H1&device=&lang=en&sourceid=s"},
          {"country= language= headend= device_type=",
           "browse/content/id27/series?country=&headend=&device=&sourceid=s"}}},
        {"getSeriesDetailInfo",
         "IdAlone",
         calling(&O::getSeriesDetailInfo, "id27", ""),
         {{"", "browse/content/id27/series?country=US&headend=H1&device=X&lang=en&sourceid="},
          {"country=", "browse/content/id27/series?country=&headend=H1&device=X&lang=en&sourceid="},
          {"language=", "browse/content/id27/series?country=US&headend=H1&device=X&sourceid="},
          {"headend=", "browse/content/id27/series?country=US&headend=&device=X&lang=en&sourceid="},
          {"device_type=", "browse/content/id27/series?country=US&headend=H1&device=&lang=en&sourceid="}}},
        {"getSeriesDetailInfo", "WithoutId", calling(&O::getSeriesDetailInfo, "", "s"), {{"", nullptr}}},
    };
}

}  // namespace W::test
