// Whether a qudit is a factor of its state, and the factor it extracts: the
// verdicts at the edges of each tolerance, and the phase and choice of the
// reference, on both forms of state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <stdexcept>
#include <vector>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::BothForms;
using testing::Term;
using Complex = std::complex<double>;

const double r2 = 1 / std::sqrt(2.0);
const Complex i1{0, 1};

class Factorization : public BothForms {};
INSTANTIATE_TEST_SUITE_P(Forms, Factorization, ::testing::Values(testing::Form::packed, testing::Form::dynamic),
                         testing::form_name);

std::vector<bool> verdicts(const IState& state) {
    std::vector<bool> out;
    for (std::uint64_t q = 0; q < state.num_qudits(); ++q) out.push_back(state.is_factorizable(static_cast<int>(q)));
    return out;
}

TEST_P(Factorization, trivial_and_zero_weight_states_are_products) {
    EXPECT_TRUE(build({2, 2}, {})->is_factorizable(0));
    // One qudit answers before its index is looked at.
    const auto single = build({3}, {{{0}, 0.6}, {{2}, {0, 0.8}}});
    EXPECT_TRUE(single->is_factorizable(0));
    EXPECT_TRUE(single->is_factorizable(7));
    // Squared magnitudes underflow to 0: no branch is significant, though
    // the ratios alone would tell of different supports.
    EXPECT_TRUE(build({2, 2}, {{{0, 0}, 1e-170}, {{0, 1}, 1e-170}, {{1, 0}, 1e-170}})->is_factorizable(0));
}

TEST_P(Factorization, bell_pairs_are_entangled_and_products_are_not) {
    EXPECT_EQ(verdicts(*build({2, 2}, {{{0, 0}, r2}, {{1, 1}, r2}})), (std::vector<bool>{false, false}));
    EXPECT_EQ(verdicts(*build({2, 2}, {{{0, 1}, r2}, {{1, 1}, r2}})), (std::vector<bool>{true, true}));
    // Same support in both branches, different ratios.
    EXPECT_EQ(verdicts(*build({2, 2}, {{{0, 0}, 0.5}, {{0, 1}, 0.5}, {{1, 0}, 0.5}, {{1, 1}, -0.5}})),
              (std::vector<bool>{false, false}));
    // A relative phase of i is one ratio throughout.
    EXPECT_EQ(verdicts(*build({2, 2}, {{{0, 0}, 0.3}, {{0, 1}, 0.4}, {{1, 0}, 0.3 * i1}, {{1, 1}, 0.4 * i1}})),
              (std::vector<bool>{true, true}));
}

TEST_P(Factorization, every_branch_of_a_qutrit_is_compared_whatever_the_entry_order) {
    // (0.2|0> + 0.4i|1> - 0.5|2>) on qudit 0 times a pair on qudits 1 and 2,
    // entries out of order.
    const std::vector<Complex> f{0.2, 0.4 * i1, -0.5};
    const std::vector<Complex> pair{0.6, 0.8};
    auto terms_with = [&](Complex last) {
        return std::vector<Term>{{{2, 1, 2}, f[2] * pair[1]}, {{0, 0, 0}, f[0] * pair[0]}, {{1, 1, 2}, f[1] * pair[1]},
                                 {{2, 0, 0}, f[2] * pair[0]}, {{0, 1, 2}, f[0] * pair[1]}, {{1, 0, 0}, last}};
    };
    EXPECT_EQ(verdicts(*build({3, 2, 3}, terms_with(f[1] * pair[0]))), (std::vector<bool>{true, false, false}));
    EXPECT_EQ(verdicts(*build({3, 2, 3}, terms_with(f[1] * pair[0] * 1.01))), (std::vector<bool>{false, false, false}));
    // An empty middle branch is no branch.
    EXPECT_TRUE(build({3, 2}, {{{2, 1}, 0.5}, {{0, 0}, 0.1}, {{0, 1}, 0.1}, {{2, 0}, 0.5}})->is_factorizable(0));
}

TEST_P(Factorization, a_negligible_branch_does_not_count_nor_become_the_reference) {
    const double below = std::sqrt(1e-9), above = std::sqrt(2e-8);
    EXPECT_TRUE(build({2, 2}, {{{0, 0}, 1}, {{1, 1}, below}})->is_factorizable(0));
    EXPECT_FALSE(build({2, 2}, {{{0, 0}, 1}, {{1, 1}, above}})->is_factorizable(0));
    // The lowest significant value is the reference, not the lowest present.
    EXPECT_TRUE(build({3, 2}, {{{0, 1}, below}, {{1, 0}, 0.6}, {{2, 0}, 0.8}})->is_factorizable(0));
    EXPECT_FALSE(build({3, 2}, {{{0, 1}, above}, {{1, 0}, 0.6}, {{2, 0}, 0.8}})->is_factorizable(0));
}

TEST_P(Factorization, stray_terms_count_by_amplitude_in_a_branch_and_by_ratio_in_the_reference) {
    auto with_stray = [&](std::vector<std::uint64_t> at, double amplitude) {
        return build({2, 2}, {{{0, 0}, 0.6}, {{1, 0}, 0.8}, {at, amplitude}})->is_factorizable(0);
    };
    EXPECT_TRUE(with_stray({1, 1}, 1e-11));
    EXPECT_FALSE(with_stray({1, 1}, 1e-9));
    // In the reference a partnerless entry demands a negligible ratio, so even
    // a tiny stray there gives false beside a significant branch.
    EXPECT_FALSE(with_stray({0, 1}, 1e-11));
}

TEST_P(Factorization, the_tolerance_is_on_ratios_measured_against_the_first_in_key_order) {
    // Small reference amplitudes make the test strict: an amplitude error of
    // 1e-12 on 1e-3 is a ratio error of 1e-9.
    auto with_second = [&](double second) {
        return build({2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-3}, {{1, 0}, 1}, {{1, 1}, second}})->is_factorizable(0);
    };
    EXPECT_TRUE(with_second(1e-3 + 1e-14));
    EXPECT_FALSE(with_second(1e-3 + 1e-12));

    // Rest keys (0,0,1) < (0,1,0) < (0,1,1) from dit 0 up; the first ratio is
    // the one all others answer to. Ordered by the packed word instead, or
    // compared with the previous ratio, the spread of 1.8e-10 would pass.
    auto with_ratios = [&](double r001, double r010, double r011) {
        return build({2, 2, 2}, {{{1, 1, 1}, 0.5 * r011},
                                 {{0, 1, 0}, 0.5},
                                 {{1, 0, 1}, 0.5 * r001},
                                 {{0, 0, 1}, 0.5},
                                 {{0, 1, 1}, 0.5},
                                 {{1, 1, 0}, 0.5 * r010}})
            ->is_factorizable(0);
    };
    EXPECT_FALSE(with_ratios(1 + 0.9e-10, 1, 1 - 0.9e-10));
    EXPECT_TRUE(with_ratios(1 + 0.9e-10, 1, 1 + 0.5e-10));
}

TEST_P(Factorization, large_branches_are_walked_in_the_same_key_order) {
    // A qubit beside seven qutrits, every rest state but all zeros, shuffled.
    // Of the rest states (0,..,0,1) comes first from dit 0 up, (1,0,..,0) first
    // as a packed number; starting from the first, (0,1,0,..,0) is 1.8e-10 off.
    auto rest_of = [](std::uint64_t code) {
        std::vector<std::uint64_t> values;
        for (int q = 0; q < 7; ++q, code /= 3) values.push_back(code % 3);
        return values;
    };
    auto state_with = [&](bool tilted) {
        std::vector<Term> terms;
        for (std::uint64_t code = 1; code < 2187; ++code) {
            const auto rest = rest_of(code);
            double ratio = 1;
            if (tilted && rest == std::vector<std::uint64_t>{0, 0, 0, 0, 0, 0, 1}) ratio = 1 + 0.9e-10;
            if (tilted && rest == std::vector<std::uint64_t>{0, 1, 0, 0, 0, 0, 0}) ratio = 1 - 0.9e-10;
            const Complex amplitude(0.25 + 0.5 * static_cast<double>(code % 7), 0.125 * static_cast<double>(code % 5));
            for (std::uint64_t v = 0; v < 2; ++v) {
                std::vector<std::uint64_t> values{v};
                values.insert(values.end(), rest.begin(), rest.end());
                terms.push_back({values, v == 0 ? amplitude : amplitude * ratio});
            }
        }
        std::shuffle(terms.begin(), terms.end(), std::mt19937_64(3));
        return build({2, 3, 3, 3, 3, 3, 3, 3}, terms);
    };
    EXPECT_TRUE(state_with(false)->is_factorizable(0));
    EXPECT_FALSE(state_with(true)->is_factorizable(0));
}

TEST_P(Factorization, random_products_factor_into_their_parts) {
    std::mt19937_64 rng(11);
    std::normal_distribution<double> normal;
    const std::vector<std::uint64_t> dims{2, 3, 3};
    for (int trial = 0; trial < 30; ++trial) {
        std::vector<std::vector<Complex>> parts;
        for (std::uint64_t d : dims) {
            std::vector<Complex> part(d);
            for (Complex& a : part) a = (rng() % 4 == 0) ? 0.0 : Complex(normal(rng), normal(rng));
            part[rng() % d] = Complex(1 + normal(rng), normal(rng));  // never all zero
            parts.push_back(part);
        }
        std::vector<Term> terms;
        for (std::uint64_t a = 0; a < 2; ++a)
            for (std::uint64_t b = 0; b < 3; ++b)
                for (std::uint64_t c = 0; c < 3; ++c) terms.push_back({{a, b, c}, parts[0][a] * parts[1][b] * parts[2][c]});
        std::shuffle(terms.begin(), terms.end(), rng);
        const auto state = build(dims, terms);
        for (int q = 0; q < 3; ++q) {
            ASSERT_TRUE(state->is_factorizable(q)) << "trial " << trial << " qudit " << q;
            // The factor is the part up to norm and phase: |<part|factor>| = |part|.
            double norm2 = 0;
            for (const Complex& a : parts[q]) norm2 += std::norm(a);
            Complex overlap = 0;
            for (const DynamicBasisEntry& e : state->extract_factor(q)) {
                ASSERT_EQ(e.dits.dits.size(), 1u);
                EXPECT_EQ(e.dits.dits[0].dimension, dims[q]);
                overlap += std::conj(parts[q][e.dits.dits[0].value]) * e.amplitude;
            }
            EXPECT_NEAR(std::abs(overlap), std::sqrt(norm2), 1e-12) << "trial " << trial << " qudit " << q;
        }
    }
}

TEST_P(Factorization, neither_question_changes_the_state) {
    const auto state = build({2, 3}, {{{1, 2}, 3.0}, {{0, 0}, {0, 1}}, {{1, 0}, -2.0}, {{0, 2}, 1e-3}});
    const auto before = testing::terms_of(*state);
    (void)state->is_factorizable(0);
    (void)state->is_factorizable(1);
    (void)state->extract_factor(0);
    (void)state->extract_factor(1);
    EXPECT_EQ(testing::terms_of(*state), before);
}

TEST_P(Factorization, a_bad_index_is_refused_by_the_dit_array) {
    const bool packed = GetParam() == testing::Form::packed;
    const auto pair = build({2, 2}, {{{0, 0}, r2}, {{1, 1}, r2}});
    auto what = [](auto&& call) -> std::string {
        try {
            call();
        } catch (const BadQuditIndex& e) {
            return e.what();
        }
        return "no BadQuditIndex";
    };
    const std::string array = packed ? "DitArray" : "DynamicDitArray";
    EXPECT_EQ(what([&] { (void)pair->is_factorizable(2); }), array + " index 2 out of range [0, 2)");
    EXPECT_EQ(what([&] { (void)pair->extract_factor(-1); }), array + " index -1 out of range [0, 2)");
    // Extraction has no shortcut for a single qudit.
    EXPECT_EQ(what([&] { (void)build({2}, {{{1}, 1}})->extract_factor(1); }), array + " index 1 out of range [0, 1)");
}

// ---- extract_factor ------------------------------------------------------

class ExtractFactor : public BothForms {};
INSTANTIATE_TEST_SUITE_P(Forms, ExtractFactor, ::testing::Values(testing::Form::packed, testing::Form::dynamic),
                         testing::form_name);

void expect_factor(const std::vector<DynamicBasisEntry>& factor, std::uint64_t d,
                   const std::vector<std::pair<std::uint64_t, Complex>>& expected) {
    ASSERT_EQ(factor.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(factor[k].dits.dits, (std::vector<Dit>{{expected[k].first, d}})) << "entry " << k;
        EXPECT_NEAR(factor[k].amplitude.real(), expected[k].second.real(), 1e-15) << "entry " << k;
        EXPECT_NEAR(factor[k].amplitude.imag(), expected[k].second.imag(), 1e-15) << "entry " << k;
    }
}

TEST_P(ExtractFactor, the_phase_is_fixed_by_the_heaviest_value_and_ties_go_to_the_lowest) {
    const Complex phase = std::polar(1.0, 0.7);
    // (|0> + i|1>)|1>, with a global phase and unnormalised: a tie, value 0 wins.
    const auto tie = build({2, 2}, {{{1, 1}, 2.0 * i1 * phase}, {{0, 1}, 2.0 * phase}});
    expect_factor(tie->extract_factor(0), 2, {{0, r2}, {1, r2 * i1}});
    expect_factor(tie->extract_factor(1), 2, {{1, 1}});
    // (0.6|0> + 0.8i|1>)|1>: value 1 is heavier and comes out real.
    const auto heavy = build({2, 2}, {{{0, 1}, 0.6 * phase}, {{1, 1}, 0.8 * i1 * phase}});
    expect_factor(heavy->extract_factor(0), 2, {{0, -0.6 * i1}, {1, 0.8}});
}

TEST_P(ExtractFactor, reads_the_other_values_where_the_first_entry_of_the_heaviest_value_stands) {
    // Not a product: the answer depends on which entry of value 0 is first.
    const auto first_00 = build({2, 2}, {{{1, 1}, 0.5}, {{0, 0}, 0.6}, {{0, 1}, 0.3}});
    expect_factor(first_00->extract_factor(0), 2, {{0, 1}});
    const auto first_01 = build({2, 2}, {{{1, 1}, 0.5}, {{0, 1}, 0.3}, {{0, 0}, 0.6}});
    const double n = std::sqrt(34.0);
    expect_factor(first_01->extract_factor(0), 2, {{0, 3 / n}, {1, 5 / n}});
}

TEST_P(ExtractFactor, leaves_out_negligible_and_unmatched_values) {
    // Qutrit qudit 0 beside a qubit: value 1 at 1e-10 of the heaviest is
    // dropped though it matches, value 2 has no entry where the reference is.
    expect_factor(build({3, 2}, {{{0, 0}, 1}, {{1, 0}, 1e-5}, {{2, 1}, 0.5}})->extract_factor(0), 3, {{0, 1}});
    const double n = std::sqrt(1 + 1e-6);
    expect_factor(build({3, 2}, {{{0, 0}, 1}, {{1, 0}, 1e-3}, {{2, 1}, 0.5}})->extract_factor(0), 3,
                  {{0, 1 / n}, {1, 1e-3 / n}});
}

TEST_P(ExtractFactor, empty_and_zero_weight_states_have_no_factor) {
    EXPECT_TRUE(build({2, 2}, {})->extract_factor(0).empty());
    EXPECT_TRUE(build({2, 2}, {{{0, 0}, 1e-170}, {{0, 1}, 1e-170}, {{1, 0}, 1e-170}})->extract_factor(1).empty());
}

}  // namespace
}  // namespace vortan::qudit
