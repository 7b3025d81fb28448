#pragma once
// Huge fractions folded back by the gate's period before evaluation.

#include <cmath>
#include <limits>

#include "qudit/limits.h"

namespace vortan::qudit {

/// Period of the fractional clock, shift and cycle in their fraction on a dit
/// of any dimension: d divides 6 for every d up to MAX_DIMENSION.
inline constexpr double CLOCK_PERIOD = 6.0;
static_assert(MAX_DIMENSION == 3, "CLOCK_PERIOD must be a multiple of every dimension");
/// Period of the fractional Hadamard: H^4 = 1.
inline constexpr double HADAMARD_PERIOD = 4.0;
/// Period of the fractional i-swap in its fraction: its angle is f * pi/2.
inline constexpr double I_SWAP_PERIOD = 4.0;

/// Below 2^24 a fraction is evaluated as written, so results stay what they
/// always were, bit for bit: the rounding of its phases stays near 1e-8
/// radians at most, about the resolution of the floats a host reads. Beyond,
/// the rounding grows with |fraction| until the gate stops being unitary (a
/// Hadamard's probabilities sum to 1.07 at 1e15) or its phase overflows to
/// NaN (near 1e308), so the fraction is first reduced by the period; std::fmod
/// is exact, so the remainder is the same power of the gate. Infinities and
/// NaN are left as they are.
inline double reduce_by_period(double fraction, double period) {
    const double size = std::abs(fraction);
    if (size < 0x1p24 || size > std::numeric_limits<double>::max()) return fraction;
    return std::fmod(fraction, period);
}

}  // namespace vortan::qudit
