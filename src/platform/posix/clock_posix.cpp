// Local time through clock_gettime and localtime_r; the zone through tzset and `timezone`.
#include "platform/clock.h"

#include <ctime>
#include <time.h>

namespace qel::platform {

local_clock_reading read_local_clock() {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        now.tv_sec = std::time(nullptr); // whole seconds are still the right time
        now.tv_nsec = 0;
    }
    std::tm local{};
    // Without zone data the time is still right in UTC; without even that, nothing is.
    if (now.tv_sec < 0 || (!localtime_r(&now.tv_sec, &local) && !gmtime_r(&now.tv_sec, &local)))
        return {};
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(now.tv_nsec / 1000000)};
}

void initialise_time_zone() {
    tzset();
}

long standard_offset_seconds_west() {
    return timezone;
}

} // namespace qel::platform
