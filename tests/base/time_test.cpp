// Ticks, timeouts, calendar.
#include <vdx/time.h>

#include <gtest/gtest.h>
#include <climits>
#include <ctime>

#include <vdx/platform.h>

namespace {

constexpr int MIN = INT_MIN;

}  // namespace

TEST(chTick, NormalisesInOneStep) {
    const struct {
        int s, us, ns, nus;
    } rows[] = {{5, 2'500'000, 7, 500'000},    {5, -1, 4, 999'999},
                {5, -1'000'000, 3, 1'000'000}, {0, 0, 0, 0},
                {0, 999'999, 0, 999'999},      {0, 1'000'000, 1, 0},
                {0, -2'500'000, -3, 500'000},  {INT_MAX, 1'000'000, MIN, 0},
                {0, MIN, -2148, 516'352}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.s << " " << row.us);
        const chTick tick(row.s, row.us);
        EXPECT_EQ(tick.seconds, row.ns);
        EXPECT_EQ(tick.microseconds, row.nus);
    }
}

TEST(chTick, AddsSubtractsAndCompares) {
    const chTick a(5, 700'000), b(2, 800'000);
    EXPECT_EQ((a + b).seconds, 8);
    EXPECT_EQ((a + b).microseconds, 500'000);
    EXPECT_EQ((a - b).seconds, 2);
    EXPECT_EQ((a - b).microseconds, 900'000);
    chTick sum = a;
    sum += b;
    EXPECT_EQ(sum.microseconds, 500'000);
    EXPECT_TRUE(b < a && a > b && !(a < a) && !(a > a));
    EXPECT_TRUE(chTick(5, 1) > chTick(5, 0) && chTick(-1, 5) < chTick(0, 0));
}

TEST(chTimer, AgreesWithItself) {
    const std::uint64_t nBefore = chTimer::GetTimeFromBoot_ms();
    const chTick tick = chTimer::GetTickFromBoot();
    const std::uint64_t nAfter = chTimer::GetTimeFromBoot_ms();
    const auto nTick = static_cast<std::uint64_t>(tick.seconds) * 1000 +
                       static_cast<std::uint64_t>(tick.microseconds) / 1000;
    EXPECT_LE(nBefore, nTick);
    EXPECT_LE(nTick, nAfter);
}

TEST(chTimeout, MinusOneNeverComes) {
    const chTimeout never(-1);
    EXPECT_EQ(never.deadline.seconds, -1);
    EXPECT_EQ(never.deadline.microseconds, -1);
    EXPECT_EQ(never.GetLeftMillisecond(), 0xFFFFFFFFU);
    EXPECT_FALSE(never.IsTimeout());
}

TEST(chTimeout, ComesOnTimeAndWrapsWhenTooLong) {
    EXPECT_TRUE(chTimeout(0).IsTimeout());
    EXPECT_TRUE(chTimeout(-5).IsTimeout());
    EXPECT_EQ(chTimeout(-5).GetLeftMillisecond(), 0u);
    chTimeout limit(2'147'483);
    EXPECT_FALSE(limit.IsTimeout());
    EXPECT_NEAR(limit.GetLeftMillisecond(), 2'147'483u, 2000);
    limit.setTimeout(2'147'484);  // 2^31 microseconds: wraps into the past.
    EXPECT_TRUE(limit.IsTimeout());
    limit.setTimeout(40);
    vdxSleep(45);
    EXPECT_TRUE(limit.IsTimeout());
    EXPECT_EQ(limit.GetLeftMillisecond(), 0u);
}

TEST(chTickTimer, MeasuresAndStartsAnew) {
    chTickTimer timer;
    vdxSleep(30);
    EXPECT_GE(timer.GetMicrosecond(), 30'000u);
    EXPECT_GE(timer.ResetTickTimer(), 30'000u);
    EXPECT_LT(timer.GetMicrosecond(), 30'000u);
    timer.start = chTimer::GetTickFromBoot() - chTick(4295, 0);  // 4295 s are 32 704 us more than 2^32 us.
    EXPECT_LT(timer.GetMicrosecond(), 10'032'704u);
}

TEST(chTimeval, TakesMilliseconds) {
    const struct {
        int ms;
        long s, us;
    } rows[] = {
        {-1, 2'147'483'647, 0}, {2500, 2, 500'000}, {0, 0, 0}, {999, 0, 999'000}, {-1500, -1, -500'000}};
    for (const auto& row : rows) {
        chTimeval limit(row.ms);
        EXPECT_EQ(limit.seconds, row.s) << row.ms;
        EXPECT_EQ(limit.microseconds, row.us) << row.ms;
        EXPECT_EQ(limit.setTimeout(row.ms), row.s);
    }
}

TEST(chTime, EveryDayThereAndBackAgainstTheCLibrary) {
    for (std::int64_t nDay = -800'000; nDay < 3'000'000; nDay += 13) {
        const time_t nSeconds = static_cast<time_t>(nDay) * 86'400;
        tm expected{};
        gmtime_r(&nSeconds, &expected);
        const chTime time(static_cast<int>(nDay) + 719'560, 0);
        ASSERT_EQ(time.GetYear(), expected.tm_year + 1900) << nDay;
        ASSERT_EQ(time.GetMonth(), expected.tm_mon + 1) << nDay;
        ASSERT_EQ(time.GetDay(), expected.tm_mday) << nDay;
        ASSERT_EQ(time.GetDayOfWeek(), expected.tm_wday) << nDay;
        if (expected.tm_year + 1900 > -4000) {
            ASSERT_EQ(chTime(time.GetYear(), time.GetMonth(), time.GetDay(), 0, 0, 0, 0).days, time.days)
                << nDay;
        }
    }
}

TEST(chTime, KeepsItsFields) {
    const chTime leap(2024, 2, 29, 13, 45, 7, 89);
    EXPECT_EQ(leap.days, 739'342);
    EXPECT_EQ(leap.GetHour(), 13);
    EXPECT_EQ(leap.GetMinute(), 45);
    EXPECT_EQ(leap.GetSecond(), 7);
    EXPECT_EQ(leap.GetMillsSecond(), 89);
    EXPECT_EQ(leap.toSeconds(), 739'342LL * 86'400 + 13 * 3600 + 45 * 60 + 7);
    EXPECT_EQ(leap.toMillsSeconds(), leap.toSeconds() * 1000 + 89);
    EXPECT_EQ(chTime(86'400L * 19'782 + 5, 7).days, 739'342);
    EXPECT_EQ(chTime(86'400L * 19'782 + 5, 7).milliseconds, 5007);
    EXPECT_EQ(chTime((1L << 32) + 86'400, 0).days, 719'561);  // Seconds count modulo 2^32.
    EXPECT_EQ(chTime(3'000'000'000L, 0).GetYear(), 2065);
    EXPECT_EQ(chTime(10, -86'400'000).days, 8);  // The single step, as in chTick.
    EXPECT_EQ(chTime(10, -86'400'000).milliseconds, 86'400'000);
    EXPECT_EQ(chTime().days, 0);
    EXPECT_EQ(chTime::time1970().days, 719'560);
    const chTick difference = (leap - chTime(2024, 2, 28, 13, 45, 7, 90)).toTick();
    EXPECT_EQ(difference.seconds, 86'399);
    EXPECT_EQ(difference.microseconds, 999'000);
}

TEST(chTime, ComparesByDayThenTime) {
    const chTime a(5, 10), b(5, 11), c(6, 0);
    EXPECT_TRUE(a == a && a != b && a < b && b < c && c > a && a <= a && a >= a && !(c <= a) && b >= a);
    chTime sum = a;
    sum += c;
    EXPECT_EQ(sum, chTime(11, 10));
    sum -= a;
    EXPECT_EQ(sum, c);
}

TEST(chTime, SystemTimeIsNow) {
    const std::int64_t nBefore = time(nullptr);
    const std::int64_t nNow = chTime::getSystemTime().toSeconds() - 719'560LL * 86'400;
    EXPECT_GE(nNow, nBefore);
    EXPECT_LE(nNow, nBefore + 5);
}

TEST(chTime, FormatsByStrftime) {
    const chTime time(2024, 12, 31, 23, 59, 58, 1);
    EXPECT_EQ(time.Format("%Y-%m-%d %H:%M:%S %j %a %b %u"), "2024-12-31 23:59:58 366 Tue Dec 2");
    EXPECT_EQ(chTime::time1970().Format("%Y"), "1970");
    EXPECT_EQ(time.Format(""), "");
    EXPECT_EQ(time.Format(nullptr), "");
    EXPECT_EQ(time.Format(std::string(127, 'x').c_str()), std::string(127, 'x'));
    EXPECT_EQ(time.Format(std::string(128, 'x').c_str()), "");
    EXPECT_EQ(chTime(-1'000'000, -5).Format("%d").size(), 2u);
}

TEST(LocalTime, AgreesWithTheCLibraryInEveryZone) {
    for (const char* szZone : {"Asia/Kathmandu", "America/St_Johns", "UTC"}) {
        timeval set{}, before{}, after{};
        gettimeofday(&set, nullptr);
        setenv("TZ", szZone, 1);
        tzset();
        SYSTEMTIME now{};
        do {  // The zone is looked at once a second: a later one, and the same for both readings.
            vdxSleep(10);
            gettimeofday(&before, nullptr);
            vdxGetLocalTime(&now);
            gettimeofday(&after, nullptr);
        } while (before.tv_sec == set.tv_sec || before.tv_sec != after.tv_sec);
        tm expected{};
        localtime_r(&before.tv_sec, &expected);
        EXPECT_EQ(now.wYear, expected.tm_year + 1900) << szZone;
        EXPECT_EQ(now.wMonth, expected.tm_mon + 1) << szZone;
        EXPECT_EQ(now.wDayOfWeek, expected.tm_wday) << szZone;
        EXPECT_EQ(now.wDay, expected.tm_mday) << szZone;
        EXPECT_EQ(now.wHour, expected.tm_hour) << szZone;
        EXPECT_EQ(now.wMinute, expected.tm_min) << szZone;
        EXPECT_EQ(now.wSecond, expected.tm_sec) << szZone;
        EXPECT_GE(now.wMilliseconds, before.tv_usec / 1000) << szZone;
        EXPECT_LE(now.wMilliseconds, after.tv_usec / 1000) << szZone;
        EXPECT_EQ(chLocalTime().wYear, now.wYear);
    }
}
