#pragma once
// The in-place gates on one entry, every read and write through the dit
// array's checked accessors. This is the whole road for the dynamic form and
// for calls the packed kernels decline, and the reference they are tested
// against: a packed kernel must leave every entry as these do.

#include <cmath>
#include <complex>
#include <cstdint>

#include "qudit/dit_array.h"
#include "qudit/gates/spread_rule.h"
#include "qudit/predicate.h"

namespace vortan::qudit {

/// Moves each target's level up (cycle) or down (shift) by one on the ring of
/// its recorded dimension, in list order. Throws std::out_of_range where the
/// dit array refuses the step or the result, having written earlier targets.
template <class T>
void step_levels(T& dits, const Targets& targets, bool up) {
    for (const std::int32_t target : targets) {
        auto dit = dits[target];
        // Adding d - 1 on the ring of the dit is subtracting one.
        dits[target] = dit + (up ? 1 : static_cast<Dit>(dit).dimension - 1);
    }
}

/// Exchanges two whole dits, value and dimension.
template <class T>
void exchange(T& dits, std::int32_t qudit1, std::int32_t qudit2) {
    const Dit first = static_cast<const T&>(dits)[qudit1];
    const Dit second = static_cast<const T&>(dits)[qudit2];
    dits[qudit1] = second;
    dits[qudit2] = first;
}

/// e^(2 pi i v f / d) with the angle formed as (v * f) * (2 pi / d). A dit of a
/// packed form has few possible (value, dimension) pairs, so each factor is
/// computed once per call: the same sines, not one per entry.
class ClockFactors {
public:
    explicit ClockFactors(double fraction) : fraction_(fraction) {}

    std::complex<double> operator()(const Dit& dit) {
        if (dit.value >= 4 || dit.dimension >= 5) return compute(dit);
        const std::size_t slot = dit.value * 5 + dit.dimension;
        if (!known_[slot]) {
            cache_[slot] = compute(dit);
            known_[slot] = true;
        }
        return cache_[slot];
    }

private:
    std::complex<double> compute(const Dit& dit) const {
        const double angle = (static_cast<double>(dit.value) * fraction_) * (TWO_PI / static_cast<double>(dit.dimension));
        return {std::cos(angle), std::sin(angle)};
    }
    double fraction_;
    std::complex<double> cache_[20];
    bool known_[20] = {};
};

/// a * b as the compiler's own complex product computes it, for one b and
/// many a: b is kept as (re, re) and (-im, im), so the product is two
/// lane-wise multiplies and one add (x + -y is x - y exactly), and that
/// product itself where both parts come out NaN, for its recovery of
/// infinities. Written with lanes because the compiler, vectorising the
/// plain four products, computes them a second time in scalar for the NaN
/// test: a walk would pay two products per entry, not one.
class Multiplier {
    using Lanes = double __attribute__((vector_size(16)));

public:
    Multiplier() = default;
    explicit Multiplier(std::complex<double> b) : real_{b.real(), b.real()}, imag_{-b.imag(), b.imag()}, b_(b) {}

    std::complex<double> operator()(std::complex<double> a) const {
        const Lanes product = Lanes{a.real(), a.imag()} * real_ + Lanes{a.imag(), a.real()} * imag_;
        if (std::isnan(product[0]) && std::isnan(product[1])) [[unlikely]]
            return a * b_;
        return {product[0], product[1]};
    }

private:
    Lanes real_{}, imag_{};
    std::complex<double> b_;
};

/// Multiplies by the clock factor of each target in list order, so rounding
/// follows the list.
template <class T>
void turn_clock(std::complex<double>& amplitude, const T& dits, const Targets& targets, ClockFactors& factor) {
    for (const std::int32_t target : targets) amplitude = amplitude * factor(dits[target]);
}

}  // namespace vortan::qudit
