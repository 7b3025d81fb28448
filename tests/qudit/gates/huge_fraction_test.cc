// Fractional gates at every size of fraction: ordinary ones evaluated exactly
// as written, bit for bit; huge ones folded back by the gate's period, so that
// the gate stays the same power of itself and unitary.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Complex, testing::Term, testing::Terms, testing::state_of, testing::terms_of;

// Up to 2^24 - 0.5, past the periods 4 and 6 and their multiples, with
// denormals and signs of both kinds.
const double ordinary[] = {0.5, -0.75, 1.0 / 3, 2.5, 7.25, -11.5, 123.456, -98765.4321, 1e6 + 0.1,
                           16777215.5, -16777215.5, 1e-300, 4.9e-324, -2.2e-310, 0.0, -0.0};
const double huge[] = {0x1p24, -0x1p24 - 2, 1e15, 1e15 + 1, -1e15 - 0.5, 1e16, 1e16 + 2, 1e300, 1e308, -1e308,
                       std::numeric_limits<double>::max()};

Complex turn(double angle) { return {std::cos(angle), std::sin(angle)}; }

/// The same values in order and the same bits, after dropping from `want`
/// what the merge prunes.
void expect_bits(const Terms& got, Terms want, const std::string& where) {
    std::erase_if(want, [](const Term& t) { return negligible(t.amplitude); });
    ASSERT_EQ(got.size(), want.size()) << where;
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_TRUE(got[i].values == want[i].values && !std::memcmp(&got[i].amplitude, &want[i].amplitude, sizeof(Complex)))
            << where << " entry " << i << ": " << got[i].amplitude << " vs " << want[i].amplitude;
}

// Element (k, j) of H^f as the kernel evaluates it: the angle
// (d - r) * 2pi * c / d, H^2 and H^3 as plain products, and the four
// coefficients from the eigenphases in the order 0, -pi/2, pi, +pi/2.
Complex hadamard_power_as_written(int d, double f, int k, int j) {
    const auto h = [d](int r, int c) {
        const double a = double(d - r) * 6.283185307179586 * double(c) / double(d), x = 1.0 / std::sqrt(double(d));
        return Complex(std::cos(a) * x, std::sin(a) * x);
    };
    const auto times_h = [d, h](auto left, int r, int c) {
        Complex sum = 0.0;
        for (int i = 0; i < d; ++i) sum += left(r, i) * h(i, c);
        return sum;
    };
    const auto h2 = [&](int r, int c) { return times_h(h, r, c); };
    const Complex powers[] = {Complex(k == j), h(k, j), h2(k, j), times_h(h2, k, j)};
    Complex m = 0.0;
    for (int n = 0; n < 4; ++n) {
        const double y = f - n, t1 = y * -1.5707963267948966;
        Complex c = 0.0;
        for (const Complex term : {turn(y * 0.0), turn(t1), turn(y * 3.141592653589793), Complex(std::cos(t1), std::sin(-t1))}) c += term;
        m += c * 0.25 * powers[n];
    }
    return m;
}

TEST(HugeFractions, ordinary_fractions_are_evaluated_as_written_bit_for_bit) {
    for (double f : ordinary) {
        const std::string at = std::to_string(f);
        // A qutrit and a qubit at every pair of values, both targets of one clock.
        Terms terms, want;
        for (int a = 0; a < 3; ++a)
            for (int b = 0; b < 2; ++b) {
                terms.push_back({{a, b}, {0.25 + 0.125 * a, -0.0625 * (b + 1)}});
                want.push_back({{a, b}, terms.back().amplitude * turn((a * f) * (6.283185307179586 / 3)) * turn((b * f) * (6.283185307179586 / 2))});
            }
        auto clock = state_of({3, 2}, terms);
        clock->fractional_clock({0, 1}, f, {});
        expect_bits(terms_of(*clock), want, at + " clock");

        for (int d : {2, 3}) {
            auto state = state_of({d}, {{{1}, {0.5, 0.75}}});
            state->fractional_hadamard({0}, f, {});
            want.clear();
            for (int k = 0; k < d; ++k) want.push_back({{k}, hadamard_power_as_written(d, f, k, 1) * Complex(0.5, 0.75)});
            expect_bits(terms_of(*state), want, at + " hadamard");
        }

        // Shift and cycle are the Hadamard, the clock and the inverse Hadamard.
        for (double sign : {1.0, -1.0}) {
            const Terms some = {{{0, 1}, {0.6, 0.1}}, {{2, 0}, {-0.3, 0.5}}, {{1, 1}, {0.2, -0.4}}};
            auto gate = state_of({3, 2}, some), steps = state_of({3, 2}, some);
            sign > 0 ? gate->fractional_shift({1, 0}, f, {}) : gate->fractional_cycle({1, 0}, f, {});
            steps->hadamard({1, 0}, {});
            steps->fractional_clock({1, 0}, sign * f, {});
            steps->inverse_hadamard({1, 0}, {});
            expect_bits(terms_of(*gate), terms_of(*steps), at + " shift or cycle");
        }

        const Complex a{0.6, 0.8};
        auto s = state_of({2, 2}, {{{0, 1}, a}, {{1, 1}, 0.5}});
        s->i_swap(0, 1, f, {});
        const double theta = f * 1.5707963267948966;
        expect_bits(terms_of(*s), {{{0, 1}, Complex(std::cos(theta), 0.0) * a}, {{1, 1}, 0.5}, {{1, 0}, Complex(0.0, std::sin(theta)) * a}},
                    at + " i_swap");
    }
}

// Past 2^24 each gate acts bit for bit as at its fraction reduced by its
// period, an ordinary fraction: the same power of the gate, and unitary.
TEST(HugeFractions, huge_fractions_act_as_their_remainder) {
    const std::pair<void (*)(IState&, double), double> gates[] = {
        {[](IState& s, double f) { s.fractional_clock({0, 1}, f, {}); }, 6},
        {[](IState& s, double f) { s.fractional_shift({0, 1}, f, {}); }, 6},
        {[](IState& s, double f) { s.fractional_cycle({1, 0}, f, {}); }, 6},
        {[](IState& s, double f) { s.fractional_hadamard({0, 1}, f, {}); }, 4},
        {[](IState& s, double f) { s.i_swap(1, 2, f, {}); }, 4},
    };
    const Terms terms = {{{0, 0, 1}, 0.48}, {{1, 1, 0}, {0, 0.64}}, {{2, 0, 1}, {0.36, -0.48}}};
    for (const auto& [gate, period] : gates)
        for (double f : huge) {
            auto state = state_of({3, 2, 2}, terms), reduced = state->clone();
            gate(*state, f), gate(*reduced, std::fmod(f, period));
            expect_bits(terms_of(*state), terms_of(*reduced), std::to_string(f) + " period " + std::to_string(period));
        }
    // 2^24 + 1 is the whole i-swap.
    auto whole = state_of({2, 2}, {{{0, 1}, 1.0}});
    whole->i_swap(0, 1, 0x1p24 + 1.0, {});
    testing::expect_near(terms_of(*whole), {{{1, 0}, Complex(0, 1)}});
}

}  // namespace
}  // namespace vortan::qudit
