// The time zone of the machine the library runs on, as the operating system describes it.
#pragma once

namespace fk::platform {

// A day of the year on which the clocks change, repeated every year.
struct ZoneTransition {
    int month = 0;   // 1..12
    int week = 0;    // 1..4: that occurrence of the weekday in the month; 5: the last one
    int weekday = 0; // 0 Sunday .. 6 Saturday
    int hour = 0;    // local clock time just before the change
    int minute = 0;
};

// Biases in minutes, west positive: UTC = local time + bias + standardBias (or + daylightBias
// while daylight saving is in effect).
struct HostZone {
    int bias = 0;
    int standardBias = 0;
    int daylightBias = 0;
    bool hasDaylight = false;
    ZoneTransition daylightStart;  // the change to daylight saving
    ZoneTransition standardStart;  // the change back to standard time
};

// The host's current zone; false (and UTC) when the system does not say.
bool readHostZone(HostZone& zone);

} // namespace fk::platform
