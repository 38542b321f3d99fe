// Rounding numbers to multiples and to decimal places.
#pragma once

#include <vdx/export.h>

// Example:
//   double dBelow = mathFloor(7.3, 2.5);     // 5
//   double dNear = mathNear(7.3, 2.5);       // 7.5
//   double dRounded = mathRound(-2.345, 1);  // -2.3
//
// The choice between two neighbours is made for the exact values of the arguments,
// which are binary fractions: 0.3 lies a little below three times 0.1, so
// mathFloor(0.3, 0.1) is 0.2. Only the result is then rounded to a double. The sign of
// dStep is ignored. A step of 0, a step so fine that it cannot change the number, and
// numbers that are infinite or not a number give the number back; a step that is not a
// number gives that. The multiples of an infinite step are 0 and the infinities.
//
// Thread-safety: all functions.

// The greatest multiple of dStep that is not above the value.
VDX_API double mathFloor(double dValue, double dStep = 1.0);

// The least multiple of dStep that is not below the value.
VDX_API double mathCeil(double dValue, double dStep = 1.0);

// The nearest multiple of dStep; half way, the one whose factor is even.
VDX_API double mathNear(double dValue, double dStep = 1.0);

// The number to nDecimals decimal places, half way away from zero; a negative count
// rounds to tens, hundreds and so on.
VDX_API double mathRound(double dValue, int nDecimals = 0);
