// Ticks, timeouts, calendar.
#include <vdx/time.h>

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <climits>
#include <ctime>
#include <tuple>
#include <utility>
#include <vector>

#include <vdx/platform.h>

using namespace std::chrono_literals;

namespace {

// Whole and part of a value: seconds and microseconds, or days and milliseconds.
using Parts = std::pair<long, long>;

Parts parts(const auto& value) {
    const auto& [nWhole, nPart] = value;
    return {nWhole, nPart};
}

}  // namespace

TEST(TimeValues, NormaliseInOneStepAndCompareByTheWholeFirst) {
    const std::tuple<const char*, Parts, Parts> rows[] = {
        {"carries", parts(chTick(5, 2'500'000)), {7, 500'000}},
        {"one unit less a bit", parts(chTick(0, 999'999)), {0, 999'999}},
        {"one unit", parts(chTick(0, 1'000'000)), {1, 0}},
        {"borrows", parts(chTick(5, -1)), {4, 999'999}},
        {"exact negative multiple", parts(chTick(5, -1'000'000)), {3, 1'000'000}},
        {"wraps", parts(chTick(INT_MAX, 1'000'000)), {INT_MIN, 0}},
        {"the least", parts(chTick(0, INT_MIN)), {-2148, 516'352}},
        {"sum", parts(chTick(5, 700'000) + chTick(2, 800'000)), {8, 500'000}},
        {"sum in place", parts(chTick(5, 700'000) += chTick(2, 800'000)), {8, 500'000}},
        {"difference", parts(chTick(5, 700'000) - chTick(2, 800'000)), {2, 900'000}},
        {"time value", parts(chTimeval(2500)), {2, 500'000}},
        {"negative time value", parts(chTimeval(-1500)), {-1, -500'000}},
        {"time value without limit", parts(chTimeval(-1)), {INT_MAX, 0}},
        {"no time", parts(chTime()), {0, 0}},
        {"the first second", parts(chTime::time1970()), {719'560, 0}},
        {"time of seconds", parts(chTime(86'400L * 34'722 + 5, 7)), {754'282, 5007}},
        {"seconds count modulo 2^32", parts(chTime((1L << 32) + 86'400, 0)), {719'561, 0}},
        {"a single step", parts(chTime(10, -86'400'000)), {8, 86'400'000}},
        {"sum of times in place", parts(chTime(5, 10) += chTime(6, 86'399'991)), {12, 1}},
        {"difference of times in place", parts(chTime(5, 10) -= chTime(6, 11)), {-2, 86'399'999}},
    };
    for (const auto& [szLabel, value, expected] : rows)
        EXPECT_EQ(value, expected) << szLabel;
    const chTick a(-1, 5), b(0, 0), c(0, 1);
    EXPECT_TRUE(a < b && b < c && b > a && c > b && !(b < a) && !(c < b) && !(a < a) && !(a > a));
    const chTime d(5, 10), e(5, 11), f(6, 0);
    EXPECT_TRUE(d == d && d != e && d < e && e < f && f > d && d <= d && d >= d && !(f <= d) && e >= d);
}

TEST(chTimer, FollowsTheMonotonicClock) {
    const auto ofSystem = [] { return std::chrono::steady_clock::now().time_since_epoch() / 1ms; };
    const auto ofTick = [](const Parts& tick) { return tick.first * 1000 + tick.second / 1000; };
    const std::vector<std::int64_t> times{std::int64_t(vdxGetTickCount()), ofSystem(),
                                          ofTick(parts(chTimer::GetTickFromBoot())), ofSystem(),
                                          std::int64_t(chTimer::GetTimeFromBoot_ms())};
    EXPECT_TRUE(std::ranges::is_sorted(times)) << testing::PrintToString(times);
}

TEST(chTimeout, ComesOnTimeNeverOrAtOnce) {
    chTimeout limit(40);
    vdxSleep(45);
    EXPECT_TRUE(limit.IsTimeout());
    limit.setTimeout(2'147'483);
    EXPECT_FALSE(limit.IsTimeout());
    EXPECT_NEAR(limit.GetLeftMillisecond(), 2'147'483u, 2000);
    // At once, in the past, and 2^31 microseconds, which wrap.
    for (const int nMilliseconds : {0, -5, 2'147'484}) {
        limit.setTimeout(nMilliseconds);
        EXPECT_TRUE(limit.IsTimeout()) << nMilliseconds;
        EXPECT_EQ(limit.GetLeftMillisecond(), 0u) << nMilliseconds;
    }
    const chTimeout never(-1);
    EXPECT_EQ(parts(never.deadline), Parts(-1, -1));
    EXPECT_EQ(never.GetLeftMillisecond(), 0xFFFFFFFFU);
    EXPECT_FALSE(never.IsTimeout());
    EXPECT_EQ(chTimeval(0).setTimeout(-1), INT_MAX);
}

TEST(chTickTimer, MeasuresAndStartsAnew) {
    chTickTimer timer;
    vdxSleep(30);
    EXPECT_GE(timer.ResetTickTimer(), 30'000u);
    EXPECT_LT(timer.GetMicrosecond(), 30'000u);
    timer.start = chTimer::GetTickFromBoot() - chTick(4295, 0);  // 4295 s are 32 704 us more than 2^32 us.
    EXPECT_LT(timer.GetMicrosecond(), 10'032'704u);
}

TEST(chTime, DaysThereAndBackAgainstTheCLibrary) {
    const chTime firstByTheRule(-4800, 3, 1, 0, 0, 0, 0);  // Dates to day numbers: from this one on.
    for (int nDay = -3'000'000; nDay < 3'000'000; nDay += 13) {
        const time_t nSeconds = time_t{86'400} * (nDay - chTime::time1970().days);
        tm fields{};
        char szExpected[80];
        strftime(szExpected, sizeof szExpected, "%Y-%m-%d %w %j", gmtime_r(&nSeconds, &fields));
        const chTime time(nDay, 0);
        ASSERT_EQ(time.Format("%Y-%m-%d %w %j"), szExpected);
        if (time < firstByTheRule) continue;
        ASSERT_EQ(chTime(time.GetYear(), time.GetMonth(), time.GetDay(), 0, 0, 0, 0), time) << szExpected;
    }
}

TEST(chTime, KeepsItsFieldsAndIsNow) {
    const chTime leap(2024, 2, 29, 13, 45, 7, 89);
    EXPECT_EQ(leap.Format("%Y-%m-%d %a %H:%M:%S"), "2024-02-29 Thu 13:45:07");
    EXPECT_EQ(leap.Format(nullptr), "");
    EXPECT_EQ(leap.Format(std::string(127, 'x').c_str()), std::string(127, 'x'));
    EXPECT_EQ(leap.Format(std::string(128, 'x').c_str()), "");
    EXPECT_EQ(leap.GetMillsSecond(), 89);
    EXPECT_EQ(leap.toSeconds(), 739'342LL * 86'400 + 13 * 3600 + 45 * 60 + 7);
    EXPECT_EQ(leap.toMillsSeconds(), leap.toSeconds() * 1000 + 89);
    EXPECT_EQ(parts((leap - chTime(2024, 2, 28, 13, 45, 7, 90)).toTick()), Parts(86'399, 999'000));
    const std::int64_t nNow = (chTime::getSystemTime() - chTime::time1970()).toSeconds();
    EXPECT_NEAR(static_cast<double>(nNow), static_cast<double>(time(nullptr)), 5);
}

TEST(LocalTime, AgreesWithTheCLibraryInEveryZone) {
    for (const char* szZone : {"Asia/Kathmandu", "America/St_Johns", "UTC"}) {
        timeval set{}, before{}, after{};
        gettimeofday(&set, nullptr);  // Not time, which may still be in the second before.
        setenv("TZ", szZone, 1);
        tzset();
        SYSTEMTIME now{};
        do {  // The zone is looked at once a second: a later one, and the same for both readings.
            vdxSleep(10);
            gettimeofday(&before, nullptr);
            vdxGetLocalTime(&now);
            gettimeofday(&after, nullptr);
        } while (before.tv_sec == set.tv_sec || before.tv_sec != after.tv_sec);
        const chTime shown(now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, 0);
        const tm fields = *localtime(&before.tv_sec);
        EXPECT_EQ((shown - chTime::time1970()).toSeconds(), before.tv_sec + fields.tm_gmtoff) << szZone;
        EXPECT_EQ(now.wDayOfWeek, fields.tm_wday) << szZone;
        EXPECT_TRUE(now.wMilliseconds >= before.tv_usec / 1000 && now.wMilliseconds <= after.tv_usec / 1000);
        EXPECT_EQ(chLocalTime().wYear, now.wYear);
    }
}
