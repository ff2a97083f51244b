// The local wall clock and the local time zone of the system.
#pragma once

namespace qel::platform {

struct local_clock_reading {
    int year;
    int month; // 1..12
    int day;
    int hour;
    int minute;
    int second;
    int milliseconds;
};

// One reading of the local date and time; all zero when the system has no time to give.
local_clock_reading read_local_clock();

// Loads the runtime's time-zone data; not thread-safe, callers run it once.
void initialise_time_zone();
// The standard-time offset in seconds west of UTC, daylight saving not applied.
long standard_offset_seconds_west();

} // namespace qel::platform
