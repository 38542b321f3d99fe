// Rounding to multiples and to decimal places.
#include <vdx/rounding.h>

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/vectors.h"

namespace {

TEST(Rounding, ToMultiplesAndToDecimalPlaces) {
    const auto rows = readVectors("rounding.vec");
    ASSERT_EQ(rows.size(), 27u);
    for (const auto& row : rows) {
        std::vector<double> numbers;
        for (const std::string& strField : row)
            numbers.push_back(std::strtod(strField.c_str(), nullptr));
        SCOPED_TRACE(row[0] + ' ' + row[1]);
        if (row.size() == 3) {
            EXPECT_EQ(mathRound(numbers[0], static_cast<int>(numbers[1])), numbers[2]);
            continue;
        }
        EXPECT_EQ(mathFloor(numbers[0], numbers[1]), numbers[2]);
        EXPECT_EQ(mathCeil(numbers[0], numbers[1]), numbers[3]);
        EXPECT_EQ(mathNear(numbers[0], numbers[1]), numbers[4]);
    }
    EXPECT_TRUE(std::isnan(mathFloor(std::nan(""))));
    EXPECT_TRUE(std::isnan(mathNear(1, std::nan(""))));
    EXPECT_TRUE(std::isnan(mathRound(std::nan(""), 2)));
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

}  // namespace
