// Rounding to multiples and to decimal places.
#include <vdx/rounding.h>

#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

TEST(Rounding, ToMultiples) {
    const struct {
        double dValue, dStep, dFloor, dCeil, dNear;
    } rows[] = {
        {-7.3, 2.5, -7.5, -5, -7.5},
        {7.3, -2.5, 5, 7.5, 7.5},
        {6, 3, 6, 6, 6},
        {0.3, 0.1, 0.2, 0.30000000000000004, 0.30000000000000004},
        {-1e-20, 1, -1, 0, 0},
        {1e300, 1e-300, 1e300, 1e300, 1e300},
        {3.7, 0, 3.7, 3.7, 3.7},
        {INF, 2, INF, INF, INF},
        {5, INF, 0, INF, 0},
        {-5, -INF, -INF, 0, 0},
        {0, INF, 0, 0, 0},
        {5e-324, 1e-323, 0, 1e-323, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.dValue << " by " << row.dStep);
        EXPECT_EQ(mathFloor(row.dValue, row.dStep), row.dFloor);
        EXPECT_EQ(mathCeil(row.dValue, row.dStep), row.dCeil);
        EXPECT_EQ(mathNear(row.dValue, row.dStep), row.dNear);
    }
    EXPECT_TRUE(std::isnan(mathFloor(NOT_A_NUMBER)));
    EXPECT_TRUE(std::isnan(mathNear(1, NOT_A_NUMBER)));
    EXPECT_TRUE(std::signbit(mathCeil(-0.5)));
}

TEST(Rounding, MultiplesEncloseTheValue) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> values(-1e6, 1e6), steps(1e-3, 1e3);
    for (int i = 0; i < 100000; ++i) {
        const double dValue = values(random), dStep = steps(random), dHalves = std::floor(dValue) / 2;
        ASSERT_LE(mathFloor(dValue, dStep), dValue) << dStep;
        ASSERT_GE(mathCeil(dValue, dStep), dValue) << dStep;
        ASSERT_LE(std::fabs(mathNear(dValue, dStep) - dValue), dStep * 0.5000001) << dValue;
        ASSERT_EQ(mathFloor(dValue), std::floor(dValue));
        ASSERT_EQ(mathNear(dHalves), std::nearbyint(dHalves));
        ASSERT_EQ(mathRound(dHalves), std::round(dHalves));
    }
}

TEST(Rounding, ToDecimalPlaces) {
    const std::tuple<double, int, double> rows[] = {
        {0.49999999999999994, 0, 0},
        {1.005, 2, 1.0},
        {1.115, 2, 1.11},
        {-0.125, 2, -0.13},
        {2.675, 2, 2.67},
        {1234.5, -2, 1200},
        {-1250, -2, -1300},
        {1e300, -1, 1e300},
        {1e300, 5, 1e300},
        {1.5, 400, 1.5},
        {1.5, -400, 0},
        {5e-324, 308, 0},
        {INF, 2, INF},
        {4503599627370497.0, 1, 4503599627370497.0},
        {1.5, INT_MIN, 0},
    };
    for (const auto& [dValue, nDecimals, dExpected] : rows)
        EXPECT_EQ(mathRound(dValue, nDecimals), dExpected) << dValue << ' ' << nDecimals;
    EXPECT_TRUE(std::isnan(mathRound(NOT_A_NUMBER, 2)));
}

}  // namespace
