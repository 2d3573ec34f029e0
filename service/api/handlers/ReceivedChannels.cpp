#include "ReceivedChannels.h"

#include "Arguments.h"
#include "Digest.h"
#include "Lineup.h"

namespace corvaned {

void forEachReceivedChannel(EndpointCall& call, const std::function<void(const guide::Channel&)>& visit)
{
    const std::string& headend = call.arguments.string("headend");
    if (!lineup::isHeadend(call.guide, headend)) {
        guide::forEachChannel(call.guide, visit);
        return;
    }
    for (const lineup::Station& station : lineup::lineupOf(call.guide, headend)) {
        guide::findChannel(call.guide, station.source, [&](guide::Channel channel) {
            channel.number = station.number;
            visit(channel);
        });
    }
}

std::string receivedChecksum(EndpointCall& call)
{
    std::string checksum = guide::lineupChecksum(call.guide);
    const std::string& headend = call.arguments.string("headend");
    if (checksum.empty() || !lineup::isHeadend(call.guide, headend)) {
        return checksum;
    }
    // The line-up of a headend also changes with the operator's places.
    Digest digest;
    digest.add(checksum);
    for (const lineup::Station& station : lineup::lineupOf(call.guide, headend)) {
        digest.add(station.source);
        digest.add(station.number);
    }
    return digest.hex();
}

}  // namespace corvaned
