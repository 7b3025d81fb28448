// Measurement with collapse: the order of survivors, renormalisation at
// float precision, sampled frequencies, and forced outcomes with their
// refusals, clean or destructive.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>

#include "qudit/measurement/test_states.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using testing::Complex;
using testing::digits_of;
using testing::state_of;

using Pair = State<DitArray<2, 2>>;

std::vector<Complex> amplitudes_of(const IState& state) {
    std::vector<Complex> out;
    for (const auto& e : state.basis_entries()) out.push_back(e.amplitude);
    return out;
}

template <class Call>
std::string failure_of(Call&& call) {
    try {
        call();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no exception";
}

// The factor by the rule: squared magnitudes added into a float, rounded at
// every step, then 1 / sqrt in float.
double float_factor(const std::vector<Complex>& survivors) {
    float sum = 0.0f;
    for (const Complex& a : survivors)
        sum = static_cast<float>(static_cast<double>(sum) + (a.real() * a.real() + a.imag() * a.imag()));
    return static_cast<double>(1.0f / std::sqrt(sum));
}

TEST(Collapse, fills_each_later_hole_with_the_last_survivor) {
    // A+ B- C+ D- E+ on qudit 0 = 0 becomes A+ E+ C+.
    auto state = state_of({2, 3}, {{{0, 0}, 0.1}, {{1, 0}, 0.2}, {{0, 1}, 0.3}, {{1, 1}, 0.4}, {{0, 2}, 0.5}});
    dynamic_cast<State<DitArray<3, 2>>&>(*state).collapse_to_outcome({0}, {0});
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{0, 0}, {0, 2}, {0, 1}}));
}

TEST(Collapse, keeps_the_order_when_everything_matches) {
    auto state = state_of({2, 2}, {{{1, 1}, 0.6}, {{0, 1}, 0.8}});
    dynamic_cast<Pair&>(*state).collapse_to_outcome({1}, {1});
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{1, 1}, {0, 1}}));
}

TEST(Collapse, renormalises_by_a_norm_summed_in_float) {
    // The norm and the factor are floats; only the products are double.
    const Complex a(0.1, 0.0), b(0.3, 0.7);
    auto state = state_of({2, 2}, {{{0, 0}, a}, {{1, 1}, 5.0}, {{0, 1}, 1e-4}, {{1, 0}, b}});
    dynamic_cast<Pair&>(*state).collapse_to_outcome({1}, {0});
    // Survivors: (0,0), then (1,0) filled the hole of (1,1).
    ASSERT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{0, 0}, {1, 0}}));
    const double f = float_factor({a, b});
    EXPECT_EQ(amplitudes_of(*state), (std::vector<Complex>{a * f, b * f}));
    EXPECT_NE(f, 1.0 / std::sqrt(0.01 + 0.09 + 0.49)) << "the factor is not the double one";

    // A basis state: amplitude times 1/sqrt(|a|^2) at float precision.
    // For 0.3 the float factor leaves it about 2.4e-8 below 1, where a
    // double factor would give 1 exactly.
    auto single = state_of({2}, {{{1}, 0.3}});
    EXPECT_EQ(single->measure({0}), std::vector<std::int32_t>{1});
    EXPECT_EQ(amplitudes_of(*single)[0], 0.3 * static_cast<double>(1.0f / std::sqrt(static_cast<float>(0.3 * 0.3))));
    EXPECT_NEAR(amplitudes_of(*single)[0].real(), 1.0 - 2.4e-8, 1e-9);
}

TEST(Collapse, refuses_a_norm_at_or_below_float_epsilon_after_removing) {
    // Two survivors of 2^-24 each make exactly 2^-23: equality fails.
    const double tiny = 0x1p-12;
    auto state = state_of({2, 2}, {{{0, 0}, tiny}, {{1, 0}, 1.0}, {{0, 1}, tiny}});
    EXPECT_EQ(failure_of([&] { dynamic_cast<Pair&>(*state).collapse_to_outcome({0}, {0}); }),
              "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{0, 0}, {0, 1}})) << "the removal stays";
    EXPECT_EQ(amplitudes_of(*state), (std::vector<Complex>{tiny, tiny})) << "survivors keep their amplitudes";

    auto three = state_of({3}, {{{0}, tiny}, {{1}, tiny}, {{2}, tiny}});
    dynamic_cast<State<DitArray<3, 1>>&>(*three).collapse_to_outcome({}, {});  // 3 * 2^-24 passes
    EXPECT_EQ(three->state_size(), 3u);

    auto none = state_of({2}, {{{0}, 1.0}});
    EXPECT_EQ(failure_of([&] { dynamic_cast<State<DitArray<2, 1>>&>(*none).collapse_to_outcome({0}, {1}); }),
              "State collapsed to zero amplitude");
    EXPECT_EQ(none->state_size(), 0u);
}

TEST(Collapse, reads_only_as_far_as_the_first_mismatch) {
    auto state = state_of({2, 2}, {{{0, 0}, 0.6}, {{0, 1}, 0.8}});
    auto& pair = dynamic_cast<Pair&>(*state);
    // Position 0 rules out every entry before index 9 is read.
    EXPECT_EQ(failure_of([&] { pair.collapse_to_outcome({0, 9}, {1, 0}); }), "State collapsed to zero amplitude");
    auto again = state_of({2, 2}, {{{0, 0}, 0.6}});
    EXPECT_EQ(failure_of([&] { dynamic_cast<Pair&>(*again).collapse_to_outcome({0, 9}, {0, 0}); }),
              "DitArray index 9 out of range [0, 2)");
}

TEST(Measure, a_bell_pair_collapses_to_agreeing_dits) {
    const double h = 1 / std::sqrt(2.0);
    for (int round = 0; round < 20; ++round) {
        auto state = state_of({2, 2}, {{{0, 0}, h}, {{1, 1}, h}});
        const auto outcome = state->measure({0});
        ASSERT_EQ(outcome.size(), 1u);
        EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{outcome[0], outcome[0]}}));
        EXPECT_EQ(state->measure({1}), outcome) << "measuring again repeats the value";
    }
}

TEST(Measure, keeps_every_agreeing_entry_with_its_relative_phase) {
    const Complex a(0.3, 0.1), b(0, -0.5);
    auto state = state_of({2, 3, 2}, {{{1, 0, 1}, a}, {{1, 2, 0}, b}});
    EXPECT_EQ(state->measure({0}), std::vector<std::int32_t>{1}) << "one outcome takes no draw";
    const auto amps = amplitudes_of(*state);
    ASSERT_EQ(amps.size(), 2u);
    EXPECT_NEAR(std::abs(amps[1] / amps[0] - b / a), 0.0, 1e-15);
    EXPECT_NEAR(std::norm(amps[0]) + std::norm(amps[1]), 1.0, 1e-6);
}

TEST(Measure, an_empty_list_samples_everything_and_removes_nothing) {
    auto state = state_of({2, 2}, {{{0, 1}, 1.0}, {{1, 0}, 1.0}, {{1, 1}, 1.0}});
    const auto outcome = state->measure({});
    EXPECT_EQ(outcome.size(), 2u);
    EXPECT_EQ(state->state_size(), 3u);
    EXPECT_NEAR(std::norm(amplitudes_of(*state)[0]), 1.0 / 3, 1e-7) << "only the renormalisation ran";
}

TEST(Measure, an_empty_state_gives_an_empty_outcome) {
    auto state = make_state(2, 3, {});
    EXPECT_TRUE(state->measure({0, 2}).empty());
    EXPECT_EQ(failure_of([&] { state->measure({3}); }), "probabilities: qudit index 3 out of range [0, 3)");
}

TEST(Measure, weights_that_vanish_in_float_draw_the_first_and_fail) {
    // 1e-30 squared is below the smallest float: every weight is 0.
    auto state = state_of({2, 2}, {{{0, 0}, 1e-30}, {{1, 1}, 1e-30}});
    EXPECT_EQ(failure_of([&] { state->measure({1}); }), "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{0, 0}}));
}

// Counts within 6 standard deviations of the expectation, for 20000 draws:
// a false alarm has odds of about 1e-9 per outcome.
TEST(Measure, outcome_frequencies_follow_the_probabilities) {
    const std::vector<double> p{0.2, 0.5, 0.3};
    const int draws = 20000;
    auto original = state_of({3, 2}, {{{0, 1}, std::sqrt(p[0])}, {{1, 0}, Complex(0, std::sqrt(p[1]))},
                                      {{2, 1}, -std::sqrt(p[2])}});
    std::vector<int> counts(3, 0);
    for (int i = 0; i < draws; ++i) {
        auto state = original->clone();
        const auto outcome = state->measure({0});
        ASSERT_EQ(outcome.size(), 1u);
        ++counts.at(static_cast<std::size_t>(outcome[0]));
        ASSERT_EQ(state->state_size(), 1u);
    }
    for (std::size_t v = 0; v < 3; ++v) {
        const double sigma = std::sqrt(draws * p[v] * (1 - p[v]));
        EXPECT_NEAR(counts[v], draws * p[v], 6 * sigma) << "value " << v;
    }
}

TEST(Measure, threads_draw_from_generators_of_their_own) {
    const double h = 1 / std::sqrt(2.0);
    auto coin_flips = [&] {
        std::vector<std::int32_t> flips;
        for (int i = 0; i < 64; ++i) flips.push_back(state_of({2}, {{{0}, h}, {{1}, h}})->measure({0})[0]);
        return flips;
    };
    std::vector<std::int32_t> first, second;
    std::thread a([&] { first = coin_flips(); }), b([&] { second = coin_flips(); });
    a.join();
    b.join();
    EXPECT_NE(first, second) << "equal sequences would have odds of 2^-64";
}

TEST(ForcedMeasure, projects_onto_a_present_outcome) {
    const double h = 1 / std::sqrt(2.0);
    auto state = state_of({2}, {{{0}, h}, {{1}, h}});
    EXPECT_EQ(state->forced_measure({0}, {1}), std::vector<std::int32_t>{1});
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{1}}));
    EXPECT_NEAR(amplitudes_of(*state)[0].real(), 1.0, 1e-7);
    EXPECT_EQ(state->forced_measure({0}, {1}), std::vector<std::int32_t>{1});
    EXPECT_EQ(failure_of([&] { state->forced_measure({0}, {0}); }),
              "Forced measurement outcome is inconsistent with the current state amplitudes");

    // One qudit of a pair fixes its partner; a weight of 1e-3 is accepted.
    auto pair = state_of({3, 2}, {{{2, 1}, std::sqrt(1e-3)}, {{0, 0}, std::sqrt(1 - 1e-3)}});
    EXPECT_EQ(pair->forced_measure({0}, {2}), std::vector<std::int32_t>{2});
    EXPECT_EQ(digits_of(*pair), (std::vector<std::vector<int>>{{2, 1}}));
}

TEST(ForcedMeasure, clean_refusals_leave_the_state_as_it_was) {
    const double h = 1 / std::sqrt(2.0);
    auto state = state_of({2, 3}, {{{0, 0}, h}, {{1, 1}, Complex(0, h)}});
    const auto before = state->basis_entries();
    const auto unchanged = [&] {
        const auto now = state->basis_entries();
        ASSERT_EQ(now.size(), before.size());
        for (std::size_t i = 0; i < now.size(); ++i) {
            EXPECT_EQ(now[i].dits, before[i].dits);
            EXPECT_EQ(now[i].amplitude, before[i].amplitude);
        }
    };
    EXPECT_EQ(failure_of([&] { state->forced_measure({0, 1}, {0}); }),
              "Forced measurement requires the same number of qudit indices and outcome values");
    unchanged();
    for (std::int32_t bad : {-1, 2})
        EXPECT_EQ(failure_of([&] { state->forced_measure({bad}, {0}); }),
                  "Qudit index out of range for forced measurement");
    // The limit is the named qudit's: 2 fails on the qubit, not on the qutrit.
    for (std::int32_t bad : {-1, 2})
        EXPECT_EQ(failure_of([&] { state->forced_measure({0}, {bad}); }),
                  "Forced measurement outcome value is out of range for the qudit dimension");
    EXPECT_EQ(failure_of([&] { state->forced_measure({1}, {2}); }),
              "Forced measurement outcome is inconsistent with the current state amplitudes");
    // A bad value at position 1 is reported before a bad index at position 2.
    EXPECT_EQ(failure_of([&] { state->forced_measure({0, 0, 5}, {0, 3, 0}); }),
              "Forced measurement outcome value is out of range for the qudit dimension");
    // The same qudit twice with differing values can match no entry.
    EXPECT_EQ(failure_of([&] { state->forced_measure({1, 1}, {0, 1}); }),
              "Forced measurement outcome is inconsistent with the current state amplitudes");
    unchanged();

    auto empty = make_state(2, 1, {});
    EXPECT_EQ(failure_of([&] { empty->forced_measure({0}, {0}); }), "Cannot measure an empty quantum state");
}

TEST(ForcedMeasure, a_negligible_outcome_is_refused_destructively) {
    auto state = state_of({2, 2}, {{{0, 0}, 1.0}, {{1, 1}, 1e-4}, {{0, 1}, 0.5}});
    EXPECT_EQ(failure_of([&] { state->forced_measure({0}, {1}); }), "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*state), (std::vector<std::vector<int>>{{1, 1}})) << "the others are gone";
    EXPECT_EQ(amplitudes_of(*state)[0], Complex(1e-4)) << "the survivor is not scaled";
}

}  // namespace
}  // namespace vortan::qudit
