// Channels, headends and cities.

#include "RequestRows.h"

namespace W::test {

std::vector<RequestRow> channelRows()
{
    using O = WVorelOAI;
    return {
        {"getChannelList",
         "WithChecksum",
         calling(&O::getChannelList, "sum"),
         {{"", "channel/gallery?country=US&lang=en&headend=H1&device=X&checksum=sum"},
          {"country=", "channel/gallery?country=&lang=en&headend=H1&device=X&checksum=sum"},
          {"language=", "channel/gallery?country=US&headend=H1&device=X&checksum=sum"},
          {"headend=", "channel/gallery?country=US&lang=en&headend=&device=X&checksum=sum"},
          {"device_type=", "channel/gallery?country=US&lang=en&headend=H1&device=N&checksum=sum"},
          {"country= language= headend= device_type=", "channel/gallery?country=&headend=&device=N&checksum=sum"}}},
        {"getChannelList",
         "WithoutChecksum",
         calling(&O::getChannelList, ""),
         {{"", "channel/gallery?country=US&lang=en&headend=H1&device=X"},
          {"country=", "channel/gallery?country=&lang=en&headend=H1&device=X"},
          {"language=", "channel/gallery?country=US&headend=H1&device=X"},
          {"headend=", "channel/gallery?country=US&lang=en&headend=&device=X"},
          {"device_type=", "channel/gallery?country=US&lang=en&headend=H1&device=N"}}},

        {"getHeadend",
         "WithZipCode",
         calling(&O::getHeadend, "12 345"),
         {{"", "channel/headend?country=US&zipcode=12%20345"},
          {"country=", "channel/headend?country=&zipcode=12%20345"}}},
        {"getHeadend",
         "WithoutZipCode",
         calling(&O::getHeadend, ""),
         {{"", "channel/headend?country=US&zipcode="}, {"country=", "channel/headend?country=&zipcode="}}},

        {"getCityList",
         "NoArguments",
         calling(&O::getCityList),
         {{"", "channel/headend_kor?country=US&type=city"}, {"country=", "channel/headend_kor?country=&type=city"}}},
        {"getCityList_browse",
         "NoArguments",
         calling(&O::getCityList_browse),
         {{"", "channel/headend_browse?country=US&type=list"},
          {"country=", "channel/headend_browse?country=&type=list"}}},
        {"getHeadend_Kor",
         "WithCode",
         calling(&O::getHeadend_Kor, "c16"),
         {{"", "channel/headend_kor?country=US&type=headend&code=c16"},
          {"country=", "channel/headend_kor?country=&type=headend&code=c16"}}},
        {"getHeadend_Kor",
         "WithoutCode",
         calling(&O::getHeadend_Kor, ""),
         {{"", "channel/headend_kor?country=US&type=headend&code="},
          {"country=", "channel/headend_kor?country=&type=headend&code="}}},
        {"getHeadend_browse",
         "WithCode",
         calling(&O::getHeadend_browse, "c17"),
         {{"", "channel/headend_browse?country=US&type=headend&code=c17"},
          {"country=", "channel/headend_browse?country=&type=headend&code=c17"}}},
        {"getHeadend_browse",
         "WithoutCode",
         calling(&O::getHeadend_browse, ""),
         {{"", "channel/headend_browse?country=US&type=headend&code="},
          {"country=", "channel/headend_browse?country=&type=headend&code="}}},

        {"getLineupTest",
         "WithHeadend",
         calling(&O::getLineupTest, "h22"),
         {{"", "channel/lineup_test?country=US&headend=h22"},
          {"country=", "channel/lineup_test?country=&headend=h22"}}},
        {"getLineupTest",
         "WithoutHeadend",
         calling(&O::getLineupTest, ""),
         {{"", "channel/lineup_test?country=US&headend="}, {"country=", "channel/lineup_test?country=&headend="}}},

        {"saveHeadend",
         "NoArguments",
         calling(&O::saveHeadend),
         {{"", "user/save_headend", "country=US&headend=H1&device=X"},
          {"country=", "user/save_headend", "&headend=H1&device=X"},
          {"headend=", "user/save_headend", "country=US&headend=&device=X"},
          {"device_type=", "user/save_headend&device=N", "country=US&headend=H1"},
          {"country= headend= device_type=", "user/save_headend&device=N", "&headend="}}},
        {"loadHeadend",
         "NoArguments",
         calling(&O::loadHeadend),
         {{"", "user/load_headend?country=US"}, {"country=", "user/load_headend?country="}}},
    };
}

}  // namespace W::test
