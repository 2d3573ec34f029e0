#include "OpenedService.h"

#include <cstdlib>
#include <ctime>

#include <fmt/format.h>

namespace W::host {

OpenedService::OpenedService(const CommonOptions& options)
    : m_options(options),
      m_runtime(options, Defaults::ForPeople),
      m_choice(m_runtime.configuration()),
      m_session(m_runtime, options.timeout()),
      m_operations(m_runtime, options.timeout())
{
    m_localtime = m_session.start();
    if (m_runtime.configuration().source("headend") != "default") {
        return;
    }
    // A service without a saved line-up is not an error.
    const Json answer = m_operations.response("loadHeadend", Json::array());
    const Json::json_pointer headend("/result/results/0/HeadendID");
    const Json::json_pointer device("/result/results/0/DeviceList/0/DeviceType");
    if (answer.contains(headend) && !answer[headend].get<std::string>().empty()) {
        m_choice.choose(answer[headend].get<std::string>(),
                        answer.contains(device) ? answer[device].get<std::string>() : std::string());
    }
}

std::int64_t OpenedService::now() const
{
    const WDateTime& clock = m_localtime.getUTC();
    return clock.hasInstant() ? clock.toTime_t() : std::time(nullptr);
}

DisplayZone OpenedService::zone(const std::string& name) const
{
    if (!name.empty()) {
        return DisplayZone::named(name).value();
    }
    const char* const machine = std::getenv("TZ");
    return machine && *machine ? DisplayZone::machine() : serviceZone(m_localtime);
}

std::list<WVLChannel> OpenedService::channels()
{
    std::list<WVLChannel> channels = m_session.fetchChannels();
    if (channels.empty()) {
        throw ServiceProblem(fmt::format("the line-up of headend \"{}\" has no channels", m_choice.headend()),
                             "choose another one with \"corvane lineup\" or --set headend=ID, or fill the service with "
                             "\"corvaned import\"");
    }
    return channels;
}

DisplayZone serviceZone(const WVLLocaltime& localtime)
{
    const int offset = localtime.getDifference().offsetSeconds();
    const auto zone = DisplayZone::named(localtime.getTimezone());
    const bool agrees =
        zone && localtime.getUTC().hasInstant() && zone->offsetAt(localtime.getUTC().toTime_t()) == offset;
    return agrees ? *zone : DisplayZone::fixed(offset);
}

}  // namespace W::host
