// Reads programmes channel by channel, from replies and from the schedule file.
#pragma once

#include <list>

#include "Reply.h"
#include "WVLChannel.h"
#include "WVLContent.h"

namespace W::vorel {

/// Reads a channel. Copies of it share its contents.
inline WVLChannel readChannel(const Json::Value& object, Fields<WVLChannel> fields, const ReadingRules& rules)
{
    WVLChannel channel;
    readFields(object, fields, channel, rules);
    return channel;
}

/// Reads a channel object with its programmes in the array "content".
inline void readProgrammes(const Json::Value& object, Fields<WVLChannel> channelFields, Fields<WVLContent> fields,
                           const ReadingRules& rules, std::list<WVLContent>& list)
{
    const WVLChannel channel = readChannel(object, channelFields, rules);
    const Json::Value& contents = member(object, "content");
    for (Json::ArrayIndex index = 0, count = contents.size(); index < count; ++index) {
        WVLContent& content = list.emplace_back();
        readFields(contents[index], fields, content, rules);
        content.setChannel(channel);
    }
}

}  // namespace W::vorel
