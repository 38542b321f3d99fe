// Rounding to multiples and to decimal places.
#include <vdx/rounding.h>

#include <cmath>

#include <gtest/gtest.h>

#include "support/vectors.h"

namespace {

TEST(Rounding, ToMultiplesAndToDecimalPlaces) {
    const auto rows = readVectors("rounding.vec");
    ASSERT_EQ(rows.size(), 28u);
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

}  // namespace
