// The two-level rotation between named basis states: how the pair moves, how
// keys are named relative to the first entry, and how entries are stored,
// removed and appended, on both forms of state.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Term;
using Complex = std::complex<double>;
using Terms = std::vector<Term>;
using std::numbers::pi;

const Complex i1{0, 1};

class BasisRotation : public testing::BothForms {};
INSTANTIATE_TEST_SUITE_P(Forms, BasisRotation, ::testing::Values(testing::Form::packed, testing::Form::dynamic),
                         testing::form_name);

void expect_near(const Terms& actual, const Terms& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(actual[k].values, expected[k].values) << "entry " << k;
        EXPECT_NEAR(actual[k].amplitude.real(), expected[k].amplitude.real(), 1e-15) << "entry " << k;
        EXPECT_NEAR(actual[k].amplitude.imag(), expected[k].amplitude.imag(), 1e-15) << "entry " << k;
    }
}

TEST_P(BasisRotation, a_quarter_turn_moves_each_amplitude_to_the_other_state_times_minus_i) {
    // A = 1 keeps about 6e-17, which goes; B arrives as exactly -i at the end.
    auto state = build({2, 2}, {{{1, 1}, 0.5}, {{0, 0}, 1}});
    state->basis_rotation({0, 0}, {0, 1}, pi / 2);
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{1, 1}, 0.5}, {{0, 1}, -i1}}));
    // And back: B = -i becomes A = -1.
    state->basis_rotation({0, 0}, {0, 1}, pi / 2);
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{1, 1}, 0.5}, {{0, 0}, -1.0}}));
}

TEST_P(BasisRotation, an_eighth_turn_appends_the_absent_state) {
    auto state = build({2, 2}, {{{0, 0}, 1}});
    state->basis_rotation({0, 0}, {1, 0}, pi / 4);
    EXPECT_EQ(testing::terms_of(*state),
              (Terms{{{0, 0}, std::cos(pi / 4)}, {{1, 0}, Complex(0, -std::sin(pi / 4))}}));
}

TEST_P(BasisRotation, a_removed_entry_closes_its_gap_and_b_follows) {
    // A = 1, B = -i at pi/4: A' = cos - sin, about 1e-16, goes; B' = -i(cos + sin).
    const Complex b_new(0, -(std::cos(pi / 4) + std::sin(pi / 4)));
    auto b_after_a = build({2, 2}, {{{1, 1}, 0.3}, {{0, 0}, 1}, {{0, 1}, 0.2}, {{1, 0}, -i1}});
    b_after_a->basis_rotation({0, 0}, {1, 0}, pi / 4);
    expect_near(testing::terms_of(*b_after_a), {{{1, 1}, 0.3}, {{0, 1}, 0.2}, {{1, 0}, b_new}});

    auto b_before_a = build({2, 2}, {{{1, 0}, -i1}, {{1, 1}, 0.3}, {{0, 0}, 1}});
    b_before_a->basis_rotation({0, 0}, {1, 0}, pi / 4);
    expect_near(testing::terms_of(*b_before_a), {{{1, 0}, b_new}, {{1, 1}, 0.3}});
}

TEST_P(BasisRotation, equal_keys_turn_the_phase_of_one_state) {
    const Complex a(0.6, 0.8);
    const Complex turned = a * std::polar(1.0, -0.3);
    auto state = build({2, 2}, {{{0, 1}, 0.1}, {{1, 1}, a}});
    state->basis_rotation({1, 1}, {1, 1}, 0.3);
    expect_near(testing::terms_of(*state), {{{0, 1}, 0.1}, {{1, 1}, turned}});
    // Empty lists name the first entry twice, whatever the other list holds.
    auto first = build({2, 2}, {{{1, 1}, a}, {{0, 1}, 0.1}});
    first->basis_rotation({}, {0, 1}, 0.3);
    expect_near(testing::terms_of(*first), {{{1, 1}, turned}, {{0, 1}, 0.1}});
    first->basis_rotation({0, 1}, {}, -0.3);
    expect_near(testing::terms_of(*first), {{{1, 1}, a}, {{0, 1}, 0.1}});
    // Turned back, then a quarter turn on the other entry: -i times it.
    state->basis_rotation({1, 1}, {1, 1}, -0.3);
    state->basis_rotation({0, 1}, {0, 1}, pi / 2);
    expect_near(testing::terms_of(*state), {{{0, 1}, -0.1 * i1}, {{1, 1}, a}});
}

TEST_P(BasisRotation, zero_and_half_turns) {
    auto state = build({2, 2}, {{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}});
    state->basis_rotation({0, 0}, {1, 0}, 0.0);  // B absent: nothing to append
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}}));
    state->basis_rotation({0, 0}, {1, 1}, 0.0);
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}}));
    state->basis_rotation({0, 0}, {1, 1}, pi);
    expect_near(testing::terms_of(*state), {{{0, 0}, -0.6}, {{1, 1}, Complex(0, -0.8)}});

    // Half a turn leaves B = 1e-16 at about 1.6e-16 by modulus: removed.
    auto tiny = build({2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-16}});
    tiny->basis_rotation({0, 0}, {0, 1}, pi);
    expect_near(testing::terms_of(*tiny), {{{0, 0}, -1.0}});
}

TEST_P(BasisRotation, absent_keys_change_nothing) {
    const Terms terms{{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}};
    auto state = build({2, 2}, terms);
    state->basis_rotation({0, 1}, {1, 0}, 1.0);
    EXPECT_EQ(testing::terms_of(*state), terms);
    auto empty = build({2, 2}, {});
    empty->basis_rotation({0, 1}, {1, 0}, 1.0);
    EXPECT_EQ(empty->state_size(), 0u);
}

TEST_P(BasisRotation, short_and_long_lists_name_states_relative_to_the_first_entry) {
    // (0) and (1) on a first entry (1,1,1) name (0,1,1) and (1,1,1).
    auto state = build({2, 2, 3}, {{{1, 1, 1}, 1}, {{0, 0, 0}, 0.5}});
    state->basis_rotation({0}, {1, 0, 0}, pi / 2);
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{0, 0, 0}, 0.5}, {{0, 1, 1}, -i1}}));
    // Values past the qudits are ignored; the key keeps the first entry's dimensions.
    auto mixed = build({2, 3}, {{{1, 2}, 1}});
    mixed->basis_rotation({1, 2, 7}, {0, 1, 5}, pi / 2);
    const auto entries = mixed->basis_entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dits.dits, (std::vector<Dit>{{0, 2}, {1, 3}}));
    EXPECT_EQ(entries[0].amplitude, -i1);
}

TEST(BasisRotationKeys, a_packed_key_refuses_what_a_dit_cannot_hold_and_the_dynamic_form_stores_it) {
    const Terms terms{{{0, 1}, 0.6}, {{1, 1}, 0.8}};
    for (const std::vector<std::int32_t>& bad : {std::vector<std::int32_t>{2, 1}, std::vector<std::int32_t>{-1, 1}}) {
        auto state = testing::build_state(testing::Form::packed, {2, 2}, terms);
        try {
            state->basis_rotation({0, 1}, bad, pi / 2);
            ADD_FAILURE() << "no exception for " << bad[0];
        } catch (const std::out_of_range& e) {
            EXPECT_STREQ(e.what(), "DitArray::operator=: v.value >= MAX_DIMENSION");
        }
        EXPECT_EQ(testing::terms_of(*state), terms);
    }
    auto dynamic = testing::build_state(testing::Form::dynamic, {2, 2}, terms);
    dynamic->basis_rotation({0, 1}, {5, 1}, pi / 2);
    EXPECT_EQ(testing::terms_of(*dynamic), (Terms{{{1, 1}, 0.8}, {{5, 1}, Complex(0, -0.6)}}));
}

TEST(BasisRotationLimit, may_pass_the_size_limit) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < MAX_STATE_SIZE; ++code) {
        std::vector<Dit> dits;
        for (std::uint64_t q = 0, c = code; q < 12; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), 1e-3});
    }
    auto state = make_state(3, 12, list);
    // The first entry is all zeros; all twos is absent and is appended.
    state->basis_rotation(std::vector<std::int32_t>(12, 0), std::vector<std::int32_t>(12, 2), pi / 4);
    EXPECT_EQ(state->state_size(), MAX_STATE_SIZE + 1);
}

}  // namespace
}  // namespace vortan::qudit
