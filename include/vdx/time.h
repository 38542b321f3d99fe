// Ticks and timeouts on the boot clock; calendar time.
#pragma once

#include <sys/time.h>
#include <sys/types.h>
#include <cstdint>
#include <string>

#include <vdx/export.h>

// Example:
//   chTimeout limit(10000);
//   while (!limit.IsTimeout() && !ready())
//       vdxSleep(10);
//   ...
//   std::string day = chTime::getSystemTime().Format("%Y-%m-%d");
//
// Thread-safety: plain values without shared state. Arithmetic wraps at the
// ends of its fields.

// An instant on the boot clock, or a duration. After construction and arithmetic
// microseconds lies in [0, 1 000 000), except that an exact negative multiple of
// a million gives 1 000 000: chTick(5, -1000000) is {3, 1000000}.
struct VDX_API chTick {
    std::int32_t seconds;       // Whole seconds.
    std::int32_t microseconds;  // The rest.

    // Normalises.
    chTick(int nSeconds = 0, int nMicroseconds = 0);

    // Each adds or subtracts both fields, then normalises once.
    chTick operator+(const chTick& other) const;
    chTick operator-(const chTick& other) const;
    chTick& operator+=(const chTick& other);

    // By seconds, then by microseconds.
    bool operator<(const chTick& other) const;
    bool operator>(const chTick& other) const;
};

// The boot clock: never decreases, unaffected by the calendar clock.
class VDX_API chTimer {
public:
    static std::uint64_t GetTimeFromBoot_ms();  // Milliseconds since boot.
    static chTick GetTickFromBoot();            // The same as a tick, exact to the microsecond.
};

// A deadline on the boot clock.
struct VDX_API chTimeout {
    chTick deadline;  // {-1, -1}: never comes.

    // -1: never comes. Exact up to 2 147 483 ms (35.8 minutes); longer ones wrap.
    // Other negative values give a deadline in the past.
    explicit chTimeout(int nMilliseconds);
    void setTimeout(int nMilliseconds);

    // 0xFFFFFFFF for a deadline that never comes, 0 for one that has passed.
    std::uint32_t GetLeftMillisecond() const;

    // True from the deadline's own microsecond on.
    bool IsTimeout() const;
};

// A stopwatch, started by its construction.
struct VDX_API chTickTimer {
    chTick start;  // When it was started.

    chTickTimer();

    // Microseconds since the start; wraps after 71.6 minutes.
    std::uint32_t GetMicrosecond() const;

    // The same, and starts anew.
    std::uint32_t ResetTickTimer();
};

// A time limit in the form that select takes; {2 147 483 647, 0} is no limit.
struct VDX_API chTimeval {
    decltype(timeval::tv_sec) seconds;        // Whole seconds.
    decltype(timeval::tv_usec) microseconds;  // The rest.

    explicit chTimeval(int nMilliseconds);  // -1: no limit.

    // Returns the seconds stored.
    long setTimeout(int nMilliseconds);
};

// The system-time record.
struct SYSTEMTIME {
    std::uint16_t wYear;          // Such as 2026.
    std::uint16_t wMonth;         // 1 to 12.
    std::uint16_t wDayOfWeek;     // 0: Sunday.
    std::uint16_t wDay;           // 1 to 31.
    std::uint16_t wHour;          // 0 to 23.
    std::uint16_t wMinute;        // 0 to 59.
    std::uint16_t wSecond;        // 0 to 60.
    std::uint16_t wMilliseconds;  // 0 to 999.
};

// Fills in the local time. A change of the time zone of the process is seen from
// the next second on: each thread keeps the broken-down current second.
VDX_API void vdxGetLocalTime(SYSTEMTIME* pOut);

// The local time of its construction.
struct VDX_API chLocalTime : SYSTEMTIME {
    chLocalTime();
};

// A calendar instant: a day number and the milliseconds in that day. Day 719 560
// is 1970-01-01; the calendar is Gregorian for all days. No time zone is applied.
struct VDX_API chTime {
    std::int32_t days;          // Day number.
    std::int32_t milliseconds;  // In [0, 86 400 000) after normalising operations.

    chTime() : days(0), milliseconds(0) {}
    chTime(int nDays, int nMilliseconds);  // Normalises, in chTick's single step.

    // Seconds since 1970 as an unsigned 32-bit number: exact until 2106. Does not
    // normalise the milliseconds.
    chTime(long nSeconds, int nMilliseconds);

    // A date and a time of day; not normalised.
    chTime(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, int nMilliseconds);

    // The start of 1970.
    static const chTime& time1970();

    // The current time, UTC.
    static chTime getSystemTime();

    // Sets the system's clock. False without the privilege.
    static bool setSystemTime(const chTime& time);

    int GetYear() const;   // Such as 2026.
    int GetMonth() const;  // 1 to 12.
    int GetDay() const;    // 1 to 31.
    // The time of day: hour, minute, second, millisecond.
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetMillsSecond() const;

    int GetDayOfWeek() const;  // 0: Sunday.

    // The time since the start of day 0 in milliseconds, and in whole seconds.
    std::int64_t toMillsSeconds() const;
    std::int64_t toSeconds() const;

    // For differences: the seconds of an absolute date wrap modulo 2^32.
    chTick toTick() const;

    // Each acts on both fields, then normalises once.
    chTime operator+(const chTime& other) const;
    chTime operator-(const chTime& other) const;
    chTime& operator+=(const chTime& other);
    chTime& operator-=(const chTime& other);

    // By days, then by milliseconds.
    bool operator==(const chTime& other) const;
    bool operator!=(const chTime& other) const;
    bool operator<(const chTime& other) const;
    bool operator>(const chTime& other) const;
    bool operator<=(const chTime& other) const;
    bool operator>=(const chTime& other) const;

    // The time as text by the directives of strftime; the empty text when the
    // result exceeds 127 bytes or the format is null.
    std::string Format(const char* szFormat) const;
};

// An error code as a value. The library itself throws none.
struct VDX_API chException {
    std::uint32_t code = 0;  // The meaning is its user's.

    chException();
    ~chException();
    chException(const chException&) = default;
    chException& operator=(const chException&) = default;
};
