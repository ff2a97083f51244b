// Local time through GetLocalTime; the zone through the C runtime's _tzset and its standard
// offset. msvcrt.dll, which mingw-w64 links by default, has no _get_timezone (it came with
// msvcr80), so the offset is read from `_timezone`, the variable _get_timezone reports.
#include "platform/clock.h"

#include "platform/win/windows_api.h"

#include <time.h>

namespace qel::platform {

local_clock_reading read_local_clock() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,         now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds};
}

void initialise_time_zone() {
    _tzset();
}

long standard_offset_seconds_west() {
    return _timezone;
}

} // namespace qel::platform
