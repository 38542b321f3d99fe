// Calendar time.
#include <vdx/time.h>

#include <ctime>

#include "base/normalise.h"

using vdx::wrapAdd;
using vdx::wrapMul;
using vdx::wrapSub;

namespace {

constexpr std::int32_t DAY_MILLISECONDS = 86'400'000;
constexpr std::int32_t DAY_SECONDS = 86'400;
constexpr std::int32_t DAY_1970 = 719'560;

struct Date {
    std::int64_t nYear;
    int nMonth;
    int nDay;
};

// The rule of Fliegel and Van Flandern for Julian Day Numbers, shifted so that
// 1970-01-01 is day 719 560. Divisions truncate towards zero.
std::int32_t dayNumber(std::int64_t nYear, std::int64_t nMonth, std::int64_t nDay) {
    const std::int64_t a = (nMonth - 14) / 12;
    const std::int64_t nDays = (1461 * (nYear + 4800 + a)) / 4 + (367 * (nMonth - 2 - 12 * a)) / 12 -
                               (3 * ((nYear + 4900 + a) / 100)) / 4 + nDay - 32'075 - 1'721'028;
    return static_cast<std::int32_t>(nDays);
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

// The inverse for every day: counts from a 1 March, so that the leap day is the
// last of its year, in cycles of 400 years (146 097 days).
Date dateOf(std::int32_t nDayNumber) {
    constexpr std::int64_t MARCH_0000 = DAY_1970 - 719'468;
    const std::int64_t nDays = nDayNumber - MARCH_0000;
    const std::int64_t nCycle = floorDivide(nDays, 146'097);
    const std::int64_t nInCycle = nDays - nCycle * 146'097;
    const std::int64_t nYear = (nInCycle - nInCycle / 1460 + nInCycle / 36'524 - nInCycle / 146'096) / 365;
    const std::int64_t nInYear = nInCycle - (365 * nYear + nYear / 4 - nYear / 100);
    const std::int64_t nMarchMonth = (5 * nInYear + 2) / 153;
    const int nDay = static_cast<int>(nInYear - (153 * nMarchMonth + 2) / 5 + 1);
    const int nMonth = static_cast<int>(nMarchMonth < 10 ? nMarchMonth + 3 : nMarchMonth - 9);
    return {nYear + nCycle * 400 + (nMonth <= 2 ? 1 : 0), nMonth, nDay};
}

}  // namespace

chTime::chTime(int nDays, int nMilliseconds) : days(nDays), milliseconds(nMilliseconds) {
    vdx::normalise(days, milliseconds, DAY_MILLISECONDS);
}

chTime::chTime(long nSeconds, int nMilliseconds) {
    const auto nUnsigned = static_cast<std::uint32_t>(nSeconds);
    days = static_cast<std::int32_t>(nUnsigned / DAY_SECONDS) + DAY_1970;
    milliseconds = wrapAdd(static_cast<std::int32_t>(nUnsigned % DAY_SECONDS) * 1000, nMilliseconds);
}

chTime::chTime(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, int nMilliseconds)
    : days(dayNumber(nYear, nMonth, nDay)) {
    const std::int32_t nSeconds = wrapAdd(wrapAdd(wrapMul(nMinute, 60), wrapMul(nHour, 3600)), nSecond);
    milliseconds = wrapAdd(wrapMul(nSeconds, 1000), nMilliseconds);
}

const chTime& chTime::time1970() {
    static const chTime s_time1970(DAY_1970, 0);
    return s_time1970;
}

chTime chTime::getSystemTime() {
    timeval now{};
    gettimeofday(&now, nullptr);
    const auto nDays = static_cast<int>(now.tv_sec / DAY_SECONDS);
    const auto nMilliseconds = static_cast<int>((now.tv_sec % DAY_SECONDS) * 1000 + now.tv_usec / 1000);
    return chTime(nDays, nMilliseconds) + time1970();
}

bool chTime::setSystemTime(const chTime& time) {
    const chTime since = time - time1970();
    timeval value{};
    value.tv_sec = static_cast<time_t>(since.days) * DAY_SECONDS + since.milliseconds / 1000;
    value.tv_usec = (since.milliseconds % 1000) * 1000;
    return settimeofday(&value, nullptr) == 0;
}

int chTime::GetYear() const {
    return static_cast<int>(dateOf(days).nYear);
}
int chTime::GetMonth() const {
    return dateOf(days).nMonth;
}
int chTime::GetDay() const {
    return dateOf(days).nDay;
}
int chTime::GetHour() const {
    return milliseconds / 3'600'000;
}
int chTime::GetMinute() const {
    return milliseconds % 3'600'000 / 60'000;
}
int chTime::GetSecond() const {
    return milliseconds / 1000 % 60;
}
int chTime::GetMillsSecond() const {
    return milliseconds % 1000;
}

int chTime::GetDayOfWeek() const {
    const std::int64_t nRest = (static_cast<std::int64_t>(days) + 2) % 7;
    return static_cast<int>(nRest < 0 ? nRest + 7 : nRest);
}

std::int64_t chTime::toMillsSeconds() const {
    return static_cast<std::int64_t>(days) * DAY_MILLISECONDS + milliseconds;
}

std::int64_t chTime::toSeconds() const {
    return static_cast<std::int64_t>(days) * DAY_SECONDS + milliseconds / 1000;
}

chTick chTime::toTick() const {
    return chTick(wrapAdd(wrapMul(days, DAY_SECONDS), milliseconds / 1000), (milliseconds % 1000) * 1000);
}

chTime chTime::operator+(const chTime& other) const {
    return chTime(wrapAdd(days, other.days), wrapAdd(milliseconds, other.milliseconds));
}

chTime chTime::operator-(const chTime& other) const {
    return chTime(wrapSub(days, other.days), wrapSub(milliseconds, other.milliseconds));
}

chTime& chTime::operator+=(const chTime& other) {
    return *this = *this + other;
}
chTime& chTime::operator-=(const chTime& other) {
    return *this = *this - other;
}

bool chTime::operator==(const chTime& other) const {
    return days == other.days && milliseconds == other.milliseconds;
}
bool chTime::operator!=(const chTime& other) const {
    return !(*this == other);
}
bool chTime::operator<(const chTime& other) const {
    return days != other.days ? days < other.days : milliseconds < other.milliseconds;
}
bool chTime::operator>(const chTime& other) const {
    return other < *this;
}
bool chTime::operator<=(const chTime& other) const {
    return !(other < *this);
}
bool chTime::operator>=(const chTime& other) const {
    return !(*this < other);
}

std::string chTime::Format(const char* szFormat) const {
    if (!szFormat) return {};
    const Date date = dateOf(days);
    tm fields{};
    fields.tm_sec = GetSecond();
    fields.tm_min = GetMinute();
    fields.tm_hour = GetHour();
    fields.tm_mday = date.nDay;
    fields.tm_mon = date.nMonth - 1;
    fields.tm_year = static_cast<int>(date.nYear - 1900);
    fields.tm_wday = GetDayOfWeek();
    // The rule for day numbers ends 4800 years before our era: taken from a year alike.
    const std::int64_t nAlike = 2000 + date.nYear % 400;
    fields.tm_yday = dayNumber(nAlike, date.nMonth, date.nDay) - dayNumber(nAlike, 1, 1);
    char buffer[128];
    return std::string(buffer, strftime(buffer, sizeof buffer, szFormat, &fields));
}
