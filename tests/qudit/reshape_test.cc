// Removal and tensor product on the packed words against the exchange road
// (entries out, rebuilt through the factory): the same entries in the same
// order, bit for bit, including where the factory merges and drops exact zeros.

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <typeinfo>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::state_of, testing::Term, testing::Terms;

// The same form, words and amplitudes: a stray bit past the last dit would
// split a key at the next merge.
::testing::AssertionResult identical(const IState& a, const IState& b) {
    std::vector<PackedEntry> x, y;
    if (typeid(a) != typeid(b) || !a.packed_entries(x) || !b.packed_entries(y)) return ::testing::AssertionFailure() << "other form";
    return testing::same_entries(x, y);
}

// `count` draws of distinct values, amplitudes from `amplitude`, in a shuffled order.
template <class A>
Terms random_terms(const std::vector<int>& dims, int count, std::mt19937& rng, A amplitude) {
    std::map<std::vector<int>, std::complex<double>> chosen;
    for (int k = 0; k < count; ++k) {
        std::vector<int> values;
        for (int d : dims) values.push_back(static_cast<int>(rng() % d));
        chosen[values] = amplitude();
    }
    Terms terms;
    for (auto& [values, a] : chosen) terms.push_back({values, a});
    std::shuffle(terms.begin(), terms.end(), rng);
    return terms;
}

// Exact zeros, -0.0 parts and weights that underflow: such a term may differ
// from a kept one only at the removed qudit, and the factory then merges them.
// Every other state is cut to one value of the removed qudit, the definite
// case that is rebuilt without a merge.
TEST(Reshape, removal_matches_the_exchange_road) {
    std::mt19937 rng(11);
    const std::vector<std::vector<int>> groups = {{2, 2}, {3, 2, 3}, std::vector(12, 2), std::vector(12, 3), {2, 3, 3, 2, 2}};
    for (const auto& dims : groups) {
        for (int round = 0; round < 20; ++round) {
            auto terms = random_terms(dims, 200, rng, [&]() -> std::complex<double> {
                const double size = std::array{1.0, 0.0, 1e-170, -0.0}[rng() % 4];
                return {size * double(rng() % 7) - 3 * size, rng() % 3 ? -0.0 : 0.5};
            });
            const auto q = static_cast<std::int32_t>(rng() % dims.size());
            const bool definite = round % 2 == 1;
            const int value = terms[0].values[q];
            if (definite) std::erase_if(terms, [&](const Term& t) { return t.values[q] != value; });
            // A state holds exact zeros only after a gate: here normalising
            // next to a huge term takes the 1e-170 parts to zero.
            const bool zeros = round % 4 >= 2;
            if (zeros) terms[0].amplitude = 1e200;
            const auto s = state_of(dims, terms);
            if (zeros) s->normalize();
            for (std::int64_t keep : {-1, 0, 1}) {
                auto entries = s->basis_entries();
                if (keep >= 0) std::erase_if(entries, [&](const auto& e) { return e.dits.dits[q].value != std::uint64_t(keep); });
                for (auto& e : entries) e.dits.dits[q] = e.dits.dits.back(), e.dits.dits.pop_back();
                const auto got = s->without_qudit(q, keep);
                ASSERT_TRUE(got);
                EXPECT_TRUE(identical(*got, *make_state(s->dimension(), s->num_qudits() - 1, entries)))
                    << dims.size() << " " << q << " " << keep << (definite ? " definite" : "");
            }
            std::vector<double> weights, expected;
            ASSERT_TRUE(s->value_weights(q, weights));
            for (const auto& e : s->basis_entries()) {
                const auto v = e.dits.dits[q].value;
                if (expected.size() <= v) expected.resize(v + 1, 0.0);
                expected[v] += squared_magnitude(e.amplitude);
            }
            // The one weight of a definite qudit is summed in lanes.
            if (definite && !expected.empty()) {
                ASSERT_EQ(weights.size(), expected.size());
                EXPECT_NEAR(weights.back(), expected.back(), 1e-12 * expected.back());
                weights.back() = expected.back();
            }
            EXPECT_EQ(weights, expected);
        }
    }
    EXPECT_EQ(state_of({3}, {{{1}, 1.0}})->without_qudit(0, -1), nullptr);  // no form of zero dits
    std::vector<double> unused;
    EXPECT_FALSE(state_of({2, 2}, {{{1, 0}, 1.0}}, testing::Form::dynamic)->value_weights(0, unused));
}

// A definite qudit's weight is read only against zero: it must be positive,
// zero or NaN where the sum in storage order is, whatever the order of terms
// and wherever a term of another value would break the run.
TEST(Reshape, definite_weights_agree_with_the_ordered_sum_on_zero) {
    const double nan = std::nan(""), tiny = 1e-170;
    const std::vector<std::vector<std::complex<double>>> cases = {
        {0.5, 0.5, 0.5}, {{0.0, tiny}, tiny, -tiny, tiny, tiny}, {tiny, 1.0, tiny, tiny, tiny, tiny, tiny},
        {HUGE_VAL, 1.0, 1.0, 1.0, 1.0}, {1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, nan}, {nan, HUGE_VAL}};
    for (const auto& amplitudes : cases)
        for (std::size_t other = 0; other <= amplitudes.size(); ++other) {
            // Qudit 1 is 2 everywhere, except at `other` (past the end: nowhere).
            Terms terms;
            for (std::size_t i = 0; i < amplitudes.size(); ++i)
                terms.push_back({{static_cast<int>(i % 3), i == other ? 0 : 2, static_cast<int>(i / 3)}, amplitudes[i]});
            std::vector<double> weights, expected(3, 0.0);
            for (const Term& t : terms) expected[t.values[1]] += squared_magnitude(t.amplitude);
            ASSERT_TRUE(state_of({3, 3, 3}, terms)->value_weights(1, weights));
            ASSERT_EQ(weights.size(), 3u);
            for (std::size_t v = 0; v < 3; ++v) {
                EXPECT_EQ(weights[v] > 0, expected[v] > 0) << other << " " << v;
                EXPECT_EQ(std::isnan(weights[v]), std::isnan(expected[v])) << other << " " << v;
            }
            if (other < amplitudes.size()) {
                EXPECT_EQ(std::memcmp(weights.data(), expected.data(), sizeof(double) * 3), 0) << "in order when not definite";
            }
        }
}

// Qubit forms widen when they join a qutrit form; products exactly zero, by a
// zero or by underflow, go as the factory drops them; an infinite times a zero
// part goes through the recovery of the complex product.
TEST(Reshape, product_matches_the_exchange_road) {
    std::mt19937 rng(5);
    const std::vector<std::pair<std::vector<int>, std::vector<int>>> pairs = {
        {{2}, {2}}, {{2, 2, 2}, {3, 2}}, {{3, 3}, {2, 2, 2, 2}}, {std::vector(6, 2), std::vector(6, 2)},
        {std::vector(5, 3), std::vector(7, 3)}, {{2, 3, 2, 3, 2, 3}, std::vector(6, 2)}};
    const auto amplitude = [&]() -> std::complex<double> {
        return {std::array{0.5, 1e-200, 0.0, HUGE_VAL}[rng() % 4], rng() % 2 ? 0.25 : 0.0};
    };
    for (const auto& [dims_a, dims_b] : pairs) {
        const auto a = state_of(dims_a, random_terms(dims_a, 30, rng, amplitude));
        const auto b = state_of(dims_b, random_terms(dims_b, 30, rng, amplitude));
        std::vector<DynamicBasisEntry> list;
        for (const auto& x : a->basis_entries())
            for (const auto& y : b->basis_entries()) {
                auto dits = x.dits.dits;
                dits.insert(dits.end(), y.dits.dits.begin(), y.dits.dits.end());
                list.push_back({DynamicDitArray(dits), x.amplitude * y.amplitude});
            }
        const auto got = packed_product(*a, *b);
        ASSERT_TRUE(got);
        EXPECT_TRUE(identical(*got, *make_state(std::max(a->dimension(), b->dimension()), a->num_qudits() + b->num_qudits(), list)))
            << dims_a.size() << " + " << dims_b.size();
    }
    // Past twelve qudits, or with a dynamic side, the exchange road decides.
    const auto six = state_of(std::vector(6, 2), {{{0, 1, 0, 1, 0, 1}, 1.0}});
    EXPECT_EQ(packed_product(*six, *state_of(std::vector(7, 3), {{{0, 1, 2, 0, 1, 2, 0}, 1.0}})), nullptr);
    EXPECT_EQ(packed_product(*six, *state_of({2}, {{{1}, 1.0}}, testing::Form::dynamic)), nullptr);
}

}  // namespace
}  // namespace vortan::qudit
