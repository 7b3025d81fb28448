// The two-level rotation between named basis states: how the pair moves, how
// keys are named relative to the first entry, and how entries are stored,
// removed and appended, on both forms of state.

#include <gtest/gtest.h>

#include <numbers>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Terms, std::numbers::pi;
const std::complex<double> i1{0, 1}, a{0.6, 0.8};
const double c8 = std::cos(pi / 4), s8 = std::sin(pi / 4);

class BasisRotation : public testing::BothForms {};
VORTAN_BOTH_FORMS(BasisRotation);

TEST_P(BasisRotation, moves_stores_removes_and_appends) {
    // {what, before, dits_a, dits_b, angle, after} on two qubits
    const std::tuple<const char*, Terms, std::vector<std::int32_t>, std::vector<std::int32_t>, double, Terms> rotations[] = {
        // A keeps about 6e-17, which goes; B arrives as -i, at the end.
        {"quarter turn", {{{1, 1}, .5}, {{0, 0}, 1}}, {0, 0}, {0, 1}, pi / 2, {{{1, 1}, .5}, {{0, 1}, -i1}}},
        {"eighth turn appends", {{{0, 0}, 1}}, {0, 0}, {1, 0}, pi / 4, {{{0, 0}, c8}, {{1, 0}, -s8 * i1}}},
        // A' = cos - sin goes; B's entry moves down into the gap.
        {"removal before B", {{{1, 1}, .3}, {{0, 0}, 1}, {{0, 1}, .2}, {{1, 0}, -i1}}, {0, 0}, {1, 0}, pi / 4,
         {{{1, 1}, .3}, {{0, 1}, .2}, {{1, 0}, -(c8 + s8) * i1}}},
        {"equal keys turn a phase", {{{0, 1}, .1}, {{1, 1}, a}}, {1, 1}, {1, 1}, .3, {{{0, 1}, .1}, {{1, 1}, a * std::polar(1., -.3)}}},
        {"empty dits_a names the first entry", {{{1, 1}, a}, {{0, 1}, .1}}, {}, {0, 1}, .3, {{{1, 1}, a * std::polar(1., -.3)}, {{0, 1}, .1}}},
        {"empty dits_b too", {{{1, 1}, a}, {{0, 1}, .1}}, {0, 1}, {}, .3, {{{1, 1}, a * std::polar(1., -.3)}, {{0, 1}, .1}}},
        // The modulus decides: B' goes at about 1.6e-16, and stays at about 1.2e-15
        // though each of its parts is below 1e-15.
        {"angle pi prunes", {{{0, 0}, 1}, {{0, 1}, 1e-16}}, {0, 0}, {0, 1}, pi, {{{0, 0}, -1.}}},
        {"angle pi keeps", {{{0, 0}, 1}, {{0, 1}, {.8e-15, .8e-15}}}, {0, 0}, {0, 1}, pi, {{{0, 0}, -1.}, {{0, 1}, {-.8e-15, -.9e-15}}}},
        {"absent keys", {{{0, 0}, .6}, {{1, 1}, .8 * i1}}, {0, 1}, {1, 0}, 1, {{{0, 0}, .6}, {{1, 1}, .8 * i1}}},
        // (0) and (1) name (0,1) and (1,1) from a first entry (1,1); past the
        // qudits, values are ignored.
        {"short lists", {{{1, 1}, 1}, {{0, 0}, .5}}, {0}, {1, 0, 0}, pi / 2, {{{0, 0}, .5}, {{0, 1}, -i1}}},
    };
    for (const auto& [what, before, dits_a, dits_b, angle, after] : rotations) {
        SCOPED_TRACE(what);
        const auto state = build({2, 2}, before);
        state->basis_rotation(dits_a, dits_b, angle);
        testing::expect_near(testing::terms_of(*state), after);
    }
    // A new key takes the dimensions of the first entry.
    const auto mixed = build({2, 3}, {{{1, 2}, 1}});
    mixed->basis_rotation({1, 2, 7}, {0, 1, 5}, pi / 2);
    EXPECT_EQ(mixed->basis_entries().at(0).dits.dits, (std::vector<Dit>{{0, 2}, {1, 3}}));
}

TEST(BasisRotationKeys, a_packed_key_refuses_what_a_dit_cannot_hold_and_changes_nothing) {
    const auto state = testing::state_of({2, 2}, {{{0, 1}, a}});
    for (std::int32_t bad : {2, -1}) EXPECT_THROW(state->basis_rotation({0, 1}, {bad, 1}, pi / 2), std::out_of_range);
    EXPECT_EQ(testing::terms_of(*state), (Terms{{{0, 1}, a}}));
}

}  // namespace
}  // namespace vortan::qudit
