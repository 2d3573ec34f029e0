#include "Sample.h"

namespace corvaned {

void importSample(const std::string& guide, Instant now, const Zone& zone)
{
    constexpr Instant kSampleDay = 946684800;  // 2000-01-01 00:00 UTC
    constexpr int kDaysBack = 1;
    constexpr int kDaysAhead = 8;
    const Instant today = zone.midnight(now);
    ImportOptions options;
    options.shifts = [today](const ListedSpan&) {
        std::vector<std::int64_t> shifts;
        for (int day = -kDaysBack; day <= kDaysAhead; ++day) {
            shifts.push_back(today + day * kDay - kSampleDay);
        }
        return shifts;
    };
    importGuide(guide, {{"sample", [] { return openMemory(sampleListing(), "sample"); }}}, options);
}

}  // namespace corvaned
