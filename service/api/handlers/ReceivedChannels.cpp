#include "ReceivedChannels.h"

#include "Arguments.h"
#include "Digest.h"
#include "Lineup.h"

namespace corvaned {

void forEachReceivedChannel(EndpointCall& call, const std::function<void(const guide::Channel&)>& visit)
{
    const std::string& headend = call.arguments.text("headend");
    if (!lineup::isHeadend(call.connection, headend)) {
        guide::forEachChannel(call.connection, visit);
        return;
    }
    for (const lineup::Station& station : lineup::lineupOf(call.connection, headend)) {
        guide::findChannel(call.connection, station.source, [&](guide::Channel channel) {
            channel.number = station.number;
            visit(channel);
        });
    }
}

std::string receivedChecksum(EndpointCall& call)
{
    const std::string checksum = guide::lineupChecksum(call.connection);
    const std::string& headend = call.arguments.text("headend");
    if (checksum.empty() || !lineup::isHeadend(call.connection, headend)) {
        return checksum;
    }
    // The line-up of a headend also changes with the operator's places.
    Digest digest;
    digest.add(checksum);
    for (const lineup::Station& station : lineup::lineupOf(call.connection, headend)) {
        digest.add(station.source);
        digest.add(station.number);
    }
    return digest.hex();
}

}  // namespace corvaned
