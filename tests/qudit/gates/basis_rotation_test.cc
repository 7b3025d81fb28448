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
const double c8 = std::cos(pi / 4), s8 = std::sin(pi / 4);
const Complex a{0.6, 0.8};

class BasisRotation : public testing::BothForms {};
VORTAN_BOTH_FORMS(BasisRotation);

struct Rotation {
    const char* what;
    Terms before;
    std::vector<std::int32_t> dits_a, dits_b;
    double angle;
    Terms after;
};

const std::vector<Rotation> rotations = {
    // A keeps about 6e-17, which goes; B arrives as -i, at the end.
    {"quarter turn", {{{1, 1}, .5}, {{0, 0}, 1}}, {0, 0}, {0, 1}, pi / 2, {{{1, 1}, .5}, {{0, 1}, -i1}}},
    {"quarter turn back", {{{1, 1}, .5}, {{0, 1}, -i1}}, {0, 0}, {0, 1}, pi / 2, {{{1, 1}, .5}, {{0, 0}, -1.}}},
    {"eighth turn appends", {{{0, 0}, 1}}, {0, 0}, {1, 0}, pi / 4, {{{0, 0}, c8}, {{1, 0}, -s8 * i1}}},
    // A' = cos - sin goes; B's entry moves down into the gap.
    {"removal before B", {{{1, 1}, .3}, {{0, 0}, 1}, {{0, 1}, .2}, {{1, 0}, -i1}}, {0, 0}, {1, 0}, pi / 4,
     {{{1, 1}, .3}, {{0, 1}, .2}, {{1, 0}, -(c8 + s8) * i1}}},
    {"removal after B", {{{1, 0}, -i1}, {{1, 1}, .3}, {{0, 0}, 1}}, {0, 0}, {1, 0}, pi / 4,
     {{{1, 0}, -(c8 + s8) * i1}, {{1, 1}, .3}}},
    {"equal keys turn a phase", {{{0, 1}, .1}, {{1, 1}, a}}, {1, 1}, {1, 1}, .3,
     {{{0, 1}, .1}, {{1, 1}, a * std::polar(1., -.3)}}},
    {"empty dits_a names the first entry twice", {{{1, 1}, a}, {{0, 1}, .1}}, {}, {0, 1}, .3,
     {{{1, 1}, a * std::polar(1., -.3)}, {{0, 1}, .1}}},
    {"empty dits_b too", {{{1, 1}, a}, {{0, 1}, .1}}, {0, 1}, {}, .3,
     {{{1, 1}, a * std::polar(1., -.3)}, {{0, 1}, .1}}},
    {"angle 0 appends nothing", {{{0, 0}, .6}, {{1, 1}, .8 * i1}}, {0, 0}, {1, 0}, 0,
     {{{0, 0}, .6}, {{1, 1}, .8 * i1}}},
    {"angle pi negates", {{{0, 0}, .6}, {{1, 1}, .8 * i1}}, {0, 0}, {1, 1}, pi,
     {{{0, 0}, -.6}, {{1, 1}, -.8 * i1}}},
    // The modulus decides: B' goes at about 1.6e-16, and stays at about 1.2e-15
    // though each of its parts is below 1e-15.
    {"angle pi prunes", {{{0, 0}, 1}, {{0, 1}, 1e-16}}, {0, 0}, {0, 1}, pi, {{{0, 0}, -1.}}},
    {"angle pi keeps", {{{0, 0}, 1}, {{0, 1}, {.8e-15, .8e-15}}}, {0, 0}, {0, 1}, pi,
     {{{0, 0}, -1.}, {{0, 1}, {-.8e-15, -.9e-15}}}},
    {"absent keys", {{{0, 0}, .6}, {{1, 1}, .8 * i1}}, {0, 1}, {1, 0}, 1, {{{0, 0}, .6}, {{1, 1}, .8 * i1}}},
    {"empty state", {}, {0, 1}, {1, 0}, 1, {}},
    // (0) and (1) name (0,1) and (1,1) from a first entry (1,1); past the
    // qudits, values are ignored.
    {"short lists", {{{1, 1}, 1}, {{0, 0}, .5}}, {0}, {1, 0, 0}, pi / 2, {{{0, 0}, .5}, {{0, 1}, -i1}}},
};

TEST_P(BasisRotation, moves_stores_removes_and_appends) {
    for (const Rotation& r : rotations) {
        SCOPED_TRACE(r.what);
        const auto state = build({2, 2}, r.before);
        state->basis_rotation(r.dits_a, r.dits_b, r.angle);
        testing::expect_near(testing::terms_of(*state), r.after);
    }
}

TEST_P(BasisRotation, a_new_key_has_the_dimensions_of_the_first_entry) {
    const auto mixed = build({2, 3}, {{{1, 2}, 1}});
    mixed->basis_rotation({1, 2, 7}, {0, 1, 5}, pi / 2);
    const auto entries = mixed->basis_entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dits.dits, (std::vector<Dit>{{0, 2}, {1, 3}}));
}

TEST(BasisRotationKeys, a_packed_key_refuses_what_a_dit_cannot_hold_and_the_dynamic_form_stores_it) {
    const Terms terms{{{0, 1}, .6}, {{1, 1}, .8}};
    for (std::int32_t bad : {2, -1}) {
        const auto state = testing::build_state(testing::Form::packed, {2, 2}, terms);
        try {
            state->basis_rotation({0, 1}, {bad, 1}, pi / 2);
            ADD_FAILURE() << "no exception for " << bad;
        } catch (const std::out_of_range& e) {
            EXPECT_STREQ(e.what(), "DitArray::operator=: v.value >= MAX_DIMENSION");
        }
        EXPECT_EQ(testing::terms_of(*state), terms);
    }
    const auto dynamic = testing::build_state(testing::Form::dynamic, {2, 2}, terms);
    dynamic->basis_rotation({0, 1}, {5, 1}, pi / 2);
    testing::expect_near(testing::terms_of(*dynamic), {{{1, 1}, .8}, {{5, 1}, -.6 * i1}});
}

}  // namespace
}  // namespace vortan::qudit
