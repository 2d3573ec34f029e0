#include "DisplayZone.h"

#include <chrono>
#include <ctime>
#include <exception>

#include <date/tz.h>

namespace W::host {

std::optional<DisplayZone> DisplayZone::named(const std::string& name)
{
    try {
        return DisplayZone(ZoneKind::Named, 0, date::locate_zone(name));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

int DisplayZone::offsetAt(std::int64_t instant) const
{
    if (m_kind == ZoneKind::Named) {
        const date::sys_seconds time{std::chrono::seconds(instant)};
        return static_cast<int>(m_zone->get_info(time).offset.count());
    }
    if (m_kind == ZoneKind::Machine) {
        const auto time = static_cast<std::time_t>(instant);
        std::tm local{};
        return ::localtime_r(&time, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
    }
    return m_offset;
}

std::int64_t DisplayZone::instantOf(std::int64_t local) const
{
    constexpr std::int64_t kDay = 86400;
    // Zones change at most once in two days, so one of these offsets is right. The one before a change is tried first.
    const int before = offsetAt(local - kDay);
    const int after = offsetAt(local + kDay);
    if (localOf(local - before) == local) {
        return local - before;
    }
    if (localOf(local - after) == local) {
        return local - after;
    }
    return local - before;
}

}  // namespace W::host
