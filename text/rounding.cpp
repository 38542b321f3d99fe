// Rounding numbers to multiples and to decimal places.
#include <vdx/rounding.h>

#include <cmath>

namespace {

// From here on every double is a whole number.
constexpr double WHOLE = 4503599627370496.0;  // 2^52

enum class Direction { Down, Up, Even };

// What rounding adds to a count of whole steps (towards zero) with this rest, which has
// the sign of the value.
double correction(Direction direction, double dSteps, double dRest, double dStep) {
    switch (direction) {
        case Direction::Down:
            return dRest < 0 ? -1 : 0;
        case Direction::Up:
            return dRest > 0 ? 1 : 0;
        case Direction::Even:
            break;
    }
    const double dTwice = std::fabs(dRest) * 2;
    const bool bAway = dTwice > dStep || (dTwice == dStep && std::fmod(dSteps, 2.0) != 0);
    return bAway ? std::copysign(1.0, dRest) : 0;
}

double roundToStep(double dValue, double dStep, Direction direction) {
    if (std::isnan(dStep)) return dStep;
    dStep = std::fabs(dStep);
    if (dStep == 0 || !std::isfinite(dValue) || !(std::fabs(dValue / dStep) < WHOLE)) return dValue;
    // The rest is exact; the rounded quotient alone would not tell on which side of a
    // multiple the value lies.
    const double dRest = std::fmod(dValue, dStep);
    double dSteps = std::round((dValue - dRest) / dStep);
    dSteps += correction(direction, dSteps, dRest, dStep);
    // No step, and not 0 times one that may be infinite.
    return dSteps == 0 ? std::copysign(0.0, dValue) : dSteps * dStep;
}

// Half away from zero of dScaled, which is a product or quotient rounded from what it
// stands for; dError has the sign of the true value less dScaled.
double roundHalfAway(double dScaled, double dError) {
    const double dWhole = std::trunc(dScaled);
    const bool bHalf = std::fabs(dScaled - dWhole) == 0.5;
    const bool bTowardsZero = bHalf && dError != 0 && std::signbit(dError) != std::signbit(dScaled);
    return bTowardsZero ? dWhole : std::round(dScaled);
}

double roundToDecimals(double dValue, double dPower) {
    const double dScaled = dValue * dPower;
    if (!(std::fabs(dScaled) < WHOLE)) return dValue;
    return roundHalfAway(dScaled, std::fma(dValue, dPower, -dScaled)) / dPower;
}

double roundToTens(double dValue, double dPower) {
    const double dScaled = dValue / dPower;
    if (!(std::fabs(dScaled) < WHOLE)) return dValue;
    return roundHalfAway(dScaled, std::fma(-dScaled, dPower, dValue)) * dPower;
}

}  // namespace

double mathFloor(double dValue, double dStep) {
    return roundToStep(dValue, dStep, Direction::Down);
}

double mathCeil(double dValue, double dStep) {
    return roundToStep(dValue, dStep, Direction::Up);
}

double mathNear(double dValue, double dStep) {
    return roundToStep(dValue, dStep, Direction::Even);
}

double mathRound(double dValue, int nDecimals) {
    constexpr int MOST = 308;  // 10^308 is the greatest power that is a double.
    if (!std::isfinite(dValue) || nDecimals > MOST) return dValue;
    if (nDecimals < -MOST) return std::copysign(0.0, dValue);
    if (nDecimals >= 0) return roundToDecimals(dValue, std::pow(10.0, nDecimals));
    return roundToTens(dValue, std::pow(10.0, -nDecimals));
}
