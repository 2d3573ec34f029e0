// Replies for measurements: a schedule as the service sends it.
#pragma once

#include <cstddef>
#include <string>

namespace W::bench {

/// A schedule reply: programmes of about 290 bytes with a poster and two genres, spread evenly over the channels.
/// @param size  in bytes; the result may differ by one programme per channel
std::string schedule(std::size_t size, int channels);

}  // namespace W::bench
