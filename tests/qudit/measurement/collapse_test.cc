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
using Rows = std::vector<std::vector<int>>;
using Pair = State<DitArray<2, 2>>;

const double H = 1 / std::sqrt(2.0);

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

TEST(Collapse, fills_each_later_hole_with_the_last_survivor) {
    // A+ B- C+ D- E+ on qudit 0 = 0 becomes A+ E+ C+.
    auto state = state_of({2, 3}, {{{0, 0}, 0.1}, {{1, 0}, 0.2}, {{0, 1}, 0.3}, {{1, 1}, 0.4}, {{0, 2}, 0.5}});
    dynamic_cast<State<DitArray<3, 2>>&>(*state).collapse_to_outcome({0}, {0});
    EXPECT_EQ(digits_of(*state), (Rows{{0, 0}, {0, 2}, {0, 1}}));
    // All matching: the order stands.
    dynamic_cast<State<DitArray<3, 2>>&>(*state).collapse_to_outcome({0}, {0});
    EXPECT_EQ(digits_of(*state), (Rows{{0, 0}, {0, 2}, {0, 1}}));
}

TEST(Collapse, renormalises_by_a_norm_summed_in_float) {
    const Complex a(0.1, 0.0), b(0.3, 0.7);
    auto state = state_of({2, 2}, {{{0, 0}, a}, {{1, 1}, 5.0}, {{0, 1}, 1e-4}, {{1, 0}, b}});
    dynamic_cast<Pair&>(*state).collapse_to_outcome({1}, {0});
    ASSERT_EQ(digits_of(*state), (Rows{{0, 0}, {1, 0}}));
    // The squares are added into a float, rounded at each step; the factor
    // is 1 / sqrt in float, applied in double.
    float sum = static_cast<float>(0.1 * 0.1);
    sum = static_cast<float>(static_cast<double>(sum) + (0.3 * 0.3 + 0.7 * 0.7));
    const double f = static_cast<double>(1.0f / std::sqrt(sum));
    EXPECT_EQ(amplitudes_of(*state), (std::vector<Complex>{a * f, b * f}));

    // For 0.3 the float factor leaves the amplitude about 2.4e-8 below 1,
    // where a double factor would give 1 exactly.
    auto single = state_of({2}, {{{1}, 0.3}});
    EXPECT_EQ(single->measure({0}), std::vector<std::int32_t>{1});
    EXPECT_NEAR(amplitudes_of(*single)[0].real(), 1.0 - 2.4e-8, 1e-9);
}

TEST(Collapse, refuses_a_norm_at_or_below_float_epsilon_after_removing) {
    // Two survivors of 2^-24 each make exactly 2^-23: equality fails.
    const double tiny = 0x1p-12;
    auto state = state_of({2, 2}, {{{0, 0}, tiny}, {{1, 0}, 1.0}, {{0, 1}, tiny}});
    EXPECT_EQ(failure_of([&] { dynamic_cast<Pair&>(*state).collapse_to_outcome({0}, {0}); }),
              "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*state), (Rows{{0, 0}, {0, 1}})) << "the removal stays";
    EXPECT_EQ(amplitudes_of(*state), (std::vector<Complex>{tiny, tiny}));
    // Three of them pass.
    auto three = state_of({3}, {{{0}, tiny}, {{1}, tiny}, {{2}, tiny}});
    dynamic_cast<State<DitArray<3, 1>>&>(*three).collapse_to_outcome({}, {});
    EXPECT_EQ(three->state_size(), 3u);
}

TEST(Measure, collapses_partners_and_keeps_relative_phases) {
    for (int round = 0; round < 20; ++round) {
        auto bell = state_of({2, 2}, {{{0, 0}, H}, {{1, 1}, H}});
        const auto outcome = bell->measure({0});
        ASSERT_EQ(outcome.size(), 1u);
        EXPECT_EQ(digits_of(*bell), (Rows{{outcome[0], outcome[0]}}));
        EXPECT_EQ(bell->measure({1}), outcome) << "measuring again repeats the value";
    }
    const Complex a(0.3, 0.1), b(0, -0.5);
    auto state = state_of({2, 3, 2}, {{{1, 0, 1}, a}, {{1, 2, 0}, b}});
    EXPECT_EQ(state->measure({0}), std::vector<std::int32_t>{1});
    const auto amps = amplitudes_of(*state);
    EXPECT_NEAR(std::abs(amps[1] / amps[0] - b / a), 0.0, 1e-15);
}

TEST(Measure, edge_lists_and_states) {
    // An empty list samples everything and removes nothing.
    auto state = state_of({2, 2}, {{{0, 1}, 1.0}, {{1, 0}, 1.0}, {{1, 1}, 1.0}});
    EXPECT_EQ(state->measure({}).size(), 2u);
    EXPECT_EQ(state->state_size(), 3u);
    EXPECT_NEAR(std::norm(amplitudes_of(*state)[0]), 1.0 / 3, 1e-7) << "only the renormalisation ran";
    EXPECT_TRUE(make_state(2, 3, {})->measure({0, 2}).empty());
    // 1e-30 squared is below the smallest float: all weights 0, the first
    // record is drawn and its collapse fails.
    auto vanishing = state_of({2, 2}, {{{0, 0}, 1e-30}, {{1, 1}, 1e-30}});
    EXPECT_EQ(failure_of([&] { vanishing->measure({1}); }), "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*vanishing), (Rows{{0, 0}}));
}

// Counts within 6 standard deviations for 20000 draws: a false alarm has
// odds of about 1e-9 per outcome.
TEST(Measure, outcome_frequencies_follow_the_probabilities) {
    const std::vector<double> p{0.2, 0.5, 0.3};
    const int draws = 20000;
    auto original = state_of({3, 2}, {{{0, 1}, std::sqrt(p[0])}, {{1, 0}, Complex(0, std::sqrt(p[1]))},
                                      {{2, 1}, -std::sqrt(p[2])}});
    std::vector<int> counts(3, 0);
    for (int i = 0; i < draws; ++i) ++counts.at(static_cast<std::size_t>(original->clone()->measure({0}).at(0)));
    for (std::size_t v = 0; v < 3; ++v)
        EXPECT_NEAR(counts[v], draws * p[v], 6 * std::sqrt(draws * p[v] * (1 - p[v]))) << "value " << v;
}

TEST(Measure, threads_draw_from_generators_of_their_own) {
    auto coin_flips = [] {
        std::vector<std::int32_t> flips;
        for (int i = 0; i < 64; ++i) flips.push_back(state_of({2}, {{{0}, H}, {{1}, H}})->measure({0})[0]);
        return flips;
    };
    std::vector<std::int32_t> first, second;
    std::thread a([&] { first = coin_flips(); }), b([&] { second = coin_flips(); });
    a.join();
    b.join();
    EXPECT_NE(first, second) << "equal sequences would have odds of 2^-64";
}

TEST(ForcedMeasure, projects_onto_a_present_outcome) {
    auto state = state_of({2}, {{{0}, H}, {{1}, H}});
    EXPECT_EQ(state->forced_measure({0}, {1}), std::vector<std::int32_t>{1});
    EXPECT_NEAR(amplitudes_of(*state).at(0).real(), 1.0, 1e-7);
    EXPECT_EQ(state->forced_measure({0}, {1}), std::vector<std::int32_t>{1});
    // One qudit of a pair fixes its partner; a weight of 1e-3 is accepted.
    auto pair = state_of({3, 2}, {{{2, 1}, std::sqrt(1e-3)}, {{0, 0}, std::sqrt(1 - 1e-3)}});
    EXPECT_EQ(pair->forced_measure({0}, {2}), std::vector<std::int32_t>{2});
    EXPECT_EQ(digits_of(*pair), (Rows{{2, 1}}));
}

TEST(ForcedMeasure, refusals_one_to_five_leave_the_state_and_six_destroys) {
    auto state = state_of({2, 3}, {{{0, 0}, H}, {{1, 1}, Complex(0, H)}});
    const auto before = state->basis_entries();
    auto refused = [&](std::vector<std::int32_t> qudits, std::vector<std::int32_t> values) {
        return failure_of([&] { state->forced_measure(qudits, values); });
    };
    const std::string range = "Forced measurement outcome value is out of range for the qudit dimension";
    const std::string absent = "Forced measurement outcome is inconsistent with the current state amplitudes";
    EXPECT_EQ(refused({0, 1}, {0}), "Forced measurement requires the same number of qudit indices and outcome values");
    EXPECT_EQ(refused({-1}, {0}), "Qudit index out of range for forced measurement");
    EXPECT_EQ(refused({2}, {0}), "Qudit index out of range for forced measurement");
    // The limit is the named qudit's own: 2 fails on the qubit only.
    EXPECT_EQ(refused({0}, {2}), range);
    EXPECT_EQ(refused({0}, {-1}), range);
    EXPECT_EQ(refused({1}, {2}), absent);
    EXPECT_EQ(refused({0, 0, 5}, {0, 3, 0}), range) << "a bad value at position 1 before a bad index at 2";
    EXPECT_EQ(refused({1, 1}, {0, 1}), absent);
    const auto after = state->basis_entries();
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < after.size(); ++i) EXPECT_EQ(after[i].amplitude, before[i].amplitude);
    EXPECT_EQ(failure_of([] { make_state(2, 1, {})->forced_measure({0}, {0}); }),
              "Cannot measure an empty quantum state");

    // Present with a negligible amplitude: the others go, the survivor stays unscaled.
    auto faint = state_of({2, 2}, {{{0, 0}, 1.0}, {{1, 1}, 1e-4}, {{0, 1}, 0.5}});
    EXPECT_EQ(failure_of([&] { faint->forced_measure({0}, {1}); }), "State collapsed to zero amplitude");
    EXPECT_EQ(digits_of(*faint), (Rows{{1, 1}}));
    EXPECT_EQ(amplitudes_of(*faint)[0], Complex(1e-4));
}

}  // namespace
}  // namespace vortan::qudit
