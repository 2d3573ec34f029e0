// The channels that a request's headend carries: which ones a viewer sees, and by which numbers.
#pragma once

#include <functional>
#include <string>

#include "EndpointHandlers.h"
#include "Guide.h"

namespace corvaned {

/// Calls back for each channel that the headend of the request carries, with its number there and in order of these
/// numbers. If the service does not know the headend, or the request names none, these are all channels of the guide.
/// The record is valid during the call.
void forEachReceivedChannel(EndpointCall& call, const std::function<void(const guide::Channel&)>& visit);

/// A digest that differs between the line-ups that forEachReceivedChannel() visits; empty while the guide is empty.
std::string receivedChecksum(EndpointCall& call);

}  // namespace corvaned
