// Fractional gates at every size of fraction: ordinary ones evaluated exactly
// as written, bit for bit; huge ones folded back by the gate's period, so that
// the gate stays the same power of itself and unitary.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "qudit/state_forms.h"
#include "reference/dense_state.h"
#include "vortan.h"

namespace vortan::qudit {
namespace {

using testing::Complex, testing::Term, testing::Terms, testing::state_of, testing::terms_of;
namespace ref = reference;

// Up to 2^24 - 0.5, past the periods 4 and 6 and their multiples, with
// denormals and signs of both kinds.
const double ordinary[] = {0.5, -0.75, 1.0 / 3, 2.5, 7.25, -11.5, 123.456, -98765.4321, 1e6 + 0.1,
                           16777215.5, -16777215.5, 1e-300, 4.9e-324, -2.2e-310, 0.0, -0.0};
const double huge[] = {0x1p24, -0x1p24 - 2, 1e15, 1e15 + 1, -1e15 - 0.5, 1e16, 1e16 + 2, 1e300, 1e308, -1e308,
                       std::numeric_limits<double>::max()};

bool same_bits(Complex a, Complex b) { return std::memcmp(&a, &b, sizeof a) == 0; }
Complex turn(double angle) { return {std::cos(angle), std::sin(angle)}; }

// The fractional Hadamard's matrix evaluated as its kernel writes it: the
// angle (d - r) * 2pi * c / d, H^2 and H^3 as plain products, and the four
// coefficients from the eigenphases in the order 0, -pi/2, pi, +pi/2.
std::vector<Complex> hadamard_power_as_written(std::uint64_t d, double f) {
    const double x = 1.0 / std::sqrt(double(d));
    std::vector<Complex> h(d * d), h2(d * d), h3(d * d), m(d * d);
    for (std::uint64_t r = 0; r < d; ++r)
        for (std::uint64_t c = 0; c < d; ++c) {
            const double a = double(d - r) * 6.283185307179586 * double(c) / double(d);
            h[r * d + c] = {std::cos(a) * x, std::sin(a) * x};
        }
    const auto times = [d](const std::vector<Complex>& a, const std::vector<Complex>& b, std::vector<Complex>& out) {
        for (std::uint64_t r = 0; r < d; ++r)
            for (std::uint64_t c = 0; c < d; ++c) {
                Complex sum = 0.0;
                for (std::uint64_t k = 0; k < d; ++k) sum += a[r * d + k] * b[k * d + c];
                out[r * d + c] = sum;
            }
    };
    times(h, h, h2);
    times(h2, h, h3);
    for (int n = 0; n < 4; ++n) {
        const double y = f - n, t1 = y * -1.5707963267948966;
        Complex c = 0.0;
        for (const Complex term : {turn(y * 0.0), turn(t1), turn(y * 3.141592653589793), Complex(std::cos(t1), std::sin(-t1))}) c += term;
        c *= 0.25;
        for (std::uint64_t i = 0; i < d * d; ++i) m[i] += c * (n == 0 ? Complex(i % (d + 1) == 0) : (n == 1 ? h : n == 2 ? h2 : h3)[i]);
    }
    return m;
}

TEST(HugeFractions, ordinary_fractions_give_todays_clock_and_hadamard_bit_for_bit) {
    for (double f : ordinary) {
        // A qutrit and a qubit at every pair of values, both targets of one clock.
        Terms terms;
        for (int a = 0; a < 3; ++a)
            for (int b = 0; b < 2; ++b) terms.push_back({{a, b}, {0.25 + 0.125 * a, -0.0625 * (b + 1)}});
        auto clock = state_of({3, 2}, terms);
        clock->fractional_clock({0, 1}, f, {});
        const Terms got = terms_of(*clock);
        ASSERT_EQ(got.size(), terms.size());
        for (std::size_t i = 0; i < terms.size(); ++i) {
            const auto& v = terms[i].values;
            const Complex expected = terms[i].amplitude * turn((v[0] * f) * (6.283185307179586 / 3)) *
                                     turn((v[1] * f) * (6.283185307179586 / 2));
            EXPECT_TRUE(got[i].values == v && same_bits(got[i].amplitude, expected)) << f << " entry " << i;
        }

        for (int d : {2, 3}) {
            const std::vector<Complex> m = hadamard_power_as_written(d, f);
            auto state = state_of({d}, {{{1}, {0.5, 0.75}}});
            state->fractional_hadamard({0}, f, {});
            Terms expected;
            for (int k = 0; k < d; ++k) {
                const Complex a = m[k * d + 1] * Complex(0.5, 0.75);
                if (std::abs(a.real()) > 1e-10 || std::abs(a.imag()) > 1e-10) expected.push_back({{k}, a});
            }
            const Terms hadamard = terms_of(*state);
            ASSERT_EQ(hadamard.size(), expected.size()) << f << " d " << d;
            for (std::size_t k = 0; k < expected.size(); ++k)
                EXPECT_TRUE(hadamard[k].values == expected[k].values && same_bits(hadamard[k].amplitude, expected[k].amplitude))
                    << f << " d " << d << " value " << expected[k].values[0];
        }
    }
}

TEST(HugeFractions, ordinary_shift_and_cycle_stay_hadamard_clock_inverse_bit_for_bit) {
    const Terms terms = {{{0, 1}, {0.6, 0.1}}, {{2, 0}, {-0.3, 0.5}}, {{1, 1}, {0.2, -0.4}}};
    for (double f : ordinary)
        for (double sign : {1.0, -1.0}) {
            auto gate = state_of({3, 2}, terms), steps = state_of({3, 2}, terms);
            sign > 0 ? gate->fractional_shift({1, 0}, f, {}) : gate->fractional_cycle({1, 0}, f, {});
            steps->hadamard({1, 0}, {});
            steps->fractional_clock({1, 0}, sign * f, {});
            steps->inverse_hadamard({1, 0}, {});
            const Terms a = terms_of(*gate), b = terms_of(*steps);
            ASSERT_EQ(a.size(), b.size()) << f;
            for (std::size_t i = 0; i < a.size(); ++i)
                EXPECT_TRUE(a[i].values == b[i].values && same_bits(a[i].amplitude, b[i].amplitude)) << f << " entry " << i;
        }
}

TEST(HugeFractions, ordinary_i_swap_is_the_plain_product_bit_for_bit) {
    const Complex a{0.6, 0.8};
    for (double f : ordinary) {
        auto s = state_of({2, 2}, {{{0, 1}, a}, {{1, 1}, 0.5}});
        s->i_swap(0, 1, f, {});
        const double theta = f * 1.5707963267948966;
        Terms expected;
        for (const Term& t : Terms{{{0, 1}, Complex(std::cos(theta), 0.0) * a}, {{1, 1}, 0.5}, {{1, 0}, Complex(0.0, std::sin(theta)) * a}})
            if (std::abs(t.amplitude.real()) > 1e-10 || std::abs(t.amplitude.imag()) > 1e-10) expected.push_back(t);
        const Terms got = terms_of(*s);
        ASSERT_EQ(got.size(), expected.size()) << f;
        for (std::size_t i = 0; i < got.size(); ++i)
            EXPECT_TRUE(got[i].values == expected[i].values && same_bits(got[i].amplitude, expected[i].amplitude)) << f << " entry " << i;
    }
}

// The dense reference at the fraction reduced exactly, and a norm of one.
TEST(HugeFractions, huge_fractions_act_as_their_remainder_and_stay_unitary) {
    struct Gate {
        void (*engine)(IState&, double);
        ref::Matrix (*matrix)(int d, double f);
        double period;
    };
    const Gate gates[] = {
        {[](IState& s, double f) { s.fractional_clock({0}, f, {}); }, &ref::clock_matrix, 6},
        {[](IState& s, double f) { s.fractional_shift({0}, f, {}); }, &ref::shift_matrix, 6},
        {[](IState& s, double f) { s.fractional_cycle({0}, f, {}); }, &ref::cycle_matrix, 6},
        {[](IState& s, double f) { s.fractional_hadamard({0}, f, {}); }, &ref::fractional_fourier_matrix, 4},
    };
    const std::vector<Complex> input = {{0.6, 0.0}, {0.0, 0.48}, {0.36, -0.52}};  // norm 1 for a qutrit
    for (const Gate& gate : gates)
        for (int d : {2, 3})
            for (double f : huge) {
                Terms terms;
                double norm_in = 0;
                for (int v = 0; v < d; ++v) norm_in += std::norm(input[v]);
                for (int v = 0; v < d; ++v) terms.push_back({{v}, input[v] / std::sqrt(norm_in)});
                auto state = state_of({d}, terms);
                gate.engine(*state, f);
                const ref::Matrix m = gate.matrix(d, std::fmod(f, gate.period));
                std::vector<Complex> got(d);
                double norm = 0;
                for (const auto& term : terms_of(*state)) got[term.values[0]] = term.amplitude, norm += std::norm(term.amplitude);
                EXPECT_NEAR(norm, 1.0, 1e-12) << f << " d " << d << " period " << gate.period;
                for (int k = 0; k < d; ++k) {
                    Complex expected = 0;
                    for (int j = 0; j < d; ++j) expected += m[k][j] * terms[j].amplitude;
                    EXPECT_NEAR(std::abs(got[k] - expected), 0.0, 1e-9) << f << " d " << d << " value " << k;
                }
            }
    // i_swap by its period 4: 2^24 + 1 is the whole gate, the largest doubles the identity.
    for (double f : huge) {
        auto s = state_of({2, 2}, {{{0, 1}, {0.6, 0.8}}, {{1, 1}, 0.5}}), r = state_of({2, 2}, {{{0, 1}, {0.6, 0.8}}, {{1, 1}, 0.5}});
        s->i_swap(0, 1, f, {});
        r->i_swap(0, 1, std::fmod(f, 4.0), {});
        testing::expect_near(terms_of(*s), terms_of(*r), 1e-12);
    }
    auto whole = state_of({2, 2}, {{{0, 1}, 1.0}});
    whole->i_swap(0, 1, 0x1p24 + 1.0, {});
    testing::expect_near(terms_of(*whole), {{{1, 0}, Complex(0, 1)}});
}

// Y has no fractional operation of its own: it goes through the shift.
TEST(HugeFractions, y_through_the_export_keeps_probabilities_summing_to_one) {
    for (double f : huge) {
        vortan_quantum_property* q = nullptr;
        ASSERT_EQ(vortan_quantum_property_create(2, &q, nullptr), VORTAN_SUCCESS);
        vortan_fractional_hadamard_operation(q, 1.3, nullptr, 0, nullptr);
        EXPECT_EQ(vortan_y_operation(q, f, nullptr, 0, nullptr), VORTAN_SUCCESS);
        vortan_probability_entry entries[2] = {};
        ASSERT_EQ(vortan_calculate_probabilities(&q, 1, entries, 2, nullptr, nullptr), VORTAN_SUCCESS);
        EXPECT_NEAR(double(entries[0].probability) + entries[1].probability, 1.0, 1e-6) << f;
        vortan_quantum_property_destroy(&q);
    }
}

}  // namespace
}  // namespace vortan::qudit
