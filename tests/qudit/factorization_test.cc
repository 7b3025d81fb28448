// Whether a qudit is a factor of its state, and the factor it extracts: the
// verdicts at the edges of each tolerance, and the phase and choice of the
// reference, on both forms of state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <string>
#include <vector>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Term;
using Complex = std::complex<double>;
using Terms = std::vector<Term>;

const double r2 = 1 / std::sqrt(2.0);
const Complex i1{0, 1};
const double below = std::sqrt(1e-9), above = std::sqrt(2e-8);  // branch weights beside 1

#define EXPECT_THROW_WITH(call, text)        \
    try {                                   \
        (void)call;                         \
        ADD_FAILURE() << "no BadQuditIndex"; \
    } catch (const BadQuditIndex& e) {      \
        EXPECT_EQ(e.what(), text);          \
    }

class Factorization : public testing::BothForms {};
VORTAN_BOTH_FORMS(Factorization);

struct Verdict {
    const char* what;
    std::vector<std::uint64_t> dims;
    Terms terms;
    int qudit;
    bool factorizable;
};

// Rest keys (0,0,1) < (0,1,0) < (0,1,1) from dit 0 up; as packed numbers
// (0,1,0) comes first. The first ratio is the one all others answer to.
Terms three_ratios(double r001, double r010, double r011) {
    return {{{1, 1, 1}, 0.5 * r011}, {{0, 1, 0}, 0.5}, {{1, 0, 1}, 0.5 * r001},
            {{0, 0, 1}, 0.5},        {{0, 1, 1}, 0.5}, {{1, 1, 0}, 0.5 * r010}};
}

// (0.2|0> + 0.4i|1> - 0.5|2>) times (0.6|00> + 0.8|12>), out of order.
Terms qutrit_times_pair(double tilt) {
    return {{{2, 1, 2}, -0.4}, {{0, 0, 0}, 0.12}, {{1, 1, 2}, 0.32 * i1},
            {{2, 0, 0}, -0.3}, {{0, 1, 2}, 0.16}, {{1, 0, 0}, 0.24 * i1 * tilt}};
}

const std::vector<Verdict> verdicts = {
    {"empty", {2, 2}, {}, 0, true},
    {"one qudit, before the index check", {3}, {{{0}, 0.6}, {{2}, {0, 0.8}}}, 7, true},
    {"weights underflow to 0", {2, 2}, {{{0, 0}, 1e-170}, {{0, 1}, 1e-170}, {{1, 0}, 1e-170}}, 0, true},
    {"Bell pair", {2, 2}, {{{0, 0}, r2}, {{1, 1}, r2}}, 0, false},
    {"product", {2, 2}, {{{0, 1}, r2}, {{1, 1}, r2}}, 0, true},
    {"product, qudit 1", {2, 2}, {{{0, 1}, r2}, {{1, 1}, r2}}, 1, true},
    {"same support, ratios 1 and -1", {2, 2}, {{{0, 0}, .5}, {{0, 1}, .5}, {{1, 0}, .5}, {{1, 1}, -.5}}, 0, false},
    {"relative phase i", {2, 2}, {{{0, 0}, .3}, {{0, 1}, .4}, {{1, 0}, .3 * i1}, {{1, 1}, .4 * i1}}, 0, true},
    {"qutrit factor, shuffled", {3, 2, 3}, qutrit_times_pair(1), 0, true},
    {"qutrit factor, one ratio off by 1%", {3, 2, 3}, qutrit_times_pair(1.01), 0, false},
    {"branch of weight 1e-9", {2, 2}, {{{0, 0}, 1}, {{1, 1}, below}}, 0, true},
    {"branch of weight 2e-8", {2, 2}, {{{0, 0}, 1}, {{1, 1}, above}}, 0, false},
    {"negligible value 0 is no reference", {3, 2}, {{{0, 1}, below}, {{1, 0}, .6}, {{2, 0}, .8}}, 0, true},
    {"significant value 0 is", {3, 2}, {{{0, 1}, above}, {{1, 0}, .6}, {{2, 0}, .8}}, 0, false},
    {"stray 1e-11 in a branch", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{1, 1}, 1e-11}}, 0, true},
    {"stray 1e-9 in a branch", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{1, 1}, 1e-9}}, 0, false},
    // A partnerless reference entry needs a negligible ratio, not amplitude.
    {"stray 1e-11 in the reference", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{0, 1}, 1e-11}}, 0, false},
    {"ratio error 1e-11", {2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-3}, {{1, 0}, 1}, {{1, 1}, 1e-3 + 1e-14}}, 0, true},
    {"amplitude error 1e-12 on 1e-3", {2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-3}, {{1, 0}, 1}, {{1, 1}, 1e-3 + 1e-12}}, 0,
     false},
    {"spread 1.8e-10 from the first ratio", {2, 2, 2}, three_ratios(1 + .9e-10, 1, 1 - .9e-10), 0, false},
    {"spread 0.9e-10 from the first ratio", {2, 2, 2}, three_ratios(1 + .9e-10, 1, 1 + .5e-10), 0, true},
};

TEST_P(Factorization, verdicts_leave_the_state_as_it_was) {
    for (const Verdict& c : verdicts) {
        const auto state = build(c.dims, c.terms);
        const Terms before = testing::terms_of(*state);
        EXPECT_EQ(state->is_factorizable(c.qudit), c.factorizable) << c.what;
        if (c.dims.size() > 1) (void)state->extract_factor(c.qudit);
        EXPECT_EQ(testing::terms_of(*state), before) << c.what;
    }
}

TEST_P(Factorization, large_branches_are_walked_in_the_same_key_order) {
    // A qubit beside seven qutrits, every rest state but all zeros, shuffled,
    // with the spread of three_ratios at (0,..,0,1), (1,0,..,0), (0,1,0,..,0).
    auto state_with = [&](double spread) {
        Terms terms;
        for (std::uint64_t code = 1; code < 2187; ++code) {
            std::vector<std::uint64_t> values{0};
            for (std::uint64_t q = 0, c = code; q < 7; ++q, c /= 3) values.push_back(c % 3);
            const Complex amplitude(0.25 + 0.5 * double(code % 7), 0.125 * double(code % 5));
            const double ratio = code == 729 ? 1 + spread : code == 3 ? 1 - spread : 1;
            terms.push_back({values, amplitude});
            values[0] = 1;
            terms.push_back({values, amplitude * ratio});
        }
        std::shuffle(terms.begin(), terms.end(), std::mt19937_64(3));
        return build({2, 3, 3, 3, 3, 3, 3, 3}, terms)->is_factorizable(0);
    };
    EXPECT_TRUE(state_with(0));
    EXPECT_FALSE(state_with(.9e-10));
}

TEST_P(Factorization, a_bad_index_is_refused_by_the_dit_array) {
    const std::string array = GetParam() == testing::Form::packed ? "DitArray" : "DynamicDitArray";
    const auto pair = build({2, 2}, {{{0, 0}, r2}, {{1, 1}, r2}});
    EXPECT_THROW_WITH(pair->is_factorizable(2), array + " index 2 out of range [0, 2)");
    EXPECT_THROW_WITH(pair->extract_factor(-1), array + " index -1 out of range [0, 2)");
    // Extraction has no shortcut for a single qudit.
    EXPECT_THROW_WITH(build({2}, {{{1}, 1}})->extract_factor(1), array + " index 1 out of range [0, 1)");
}

void expect_factor(const std::vector<DynamicBasisEntry>& factor, std::uint64_t d, const Terms& expected) {
    Terms terms;
    for (const DynamicBasisEntry& e : factor) {
        ASSERT_EQ(e.dits.dits.size(), 1u);
        EXPECT_EQ(e.dits.dits[0].dimension, d);
        terms.push_back({{e.dits.dits[0].value}, e.amplitude});
    }
    testing::expect_near(terms, expected);
}

TEST_P(Factorization, the_factor_takes_its_phase_from_the_heaviest_value_and_ties_go_to_the_lowest) {
    const Complex phase = std::polar(1.0, 0.7);
    const auto tie = build({2, 2}, {{{1, 1}, 2.0 * i1 * phase}, {{0, 1}, 2.0 * phase}});
    expect_factor(tie->extract_factor(0), 2, {{{0}, r2}, {{1}, r2 * i1}});
    expect_factor(tie->extract_factor(1), 2, {{{1}, 1}});
    const auto heavy = build({2, 2}, {{{0, 1}, 0.6 * phase}, {{1, 1}, 0.8 * i1 * phase}});
    expect_factor(heavy->extract_factor(0), 2, {{{0}, -0.6 * i1}, {{1}, 0.8}});
}

TEST_P(Factorization, the_factor_is_read_where_the_first_entry_of_the_heaviest_value_stands) {
    // Not products: which entry of value 0 comes first decides.
    expect_factor(build({2, 2}, {{{1, 1}, .5}, {{0, 0}, .6}, {{0, 1}, .3}})->extract_factor(0), 2, {{{0}, 1}});
    const double n = std::sqrt(34.0);
    expect_factor(build({2, 2}, {{{1, 1}, .5}, {{0, 1}, .3}, {{0, 0}, .6}})->extract_factor(0), 2,
                  {{{0}, 3 / n}, {{1}, 5 / n}});
    // Value 1 at 1e-10 of the heaviest is dropped though it matches; value 2
    // has no entry where the reference stands.
    expect_factor(build({3, 2}, {{{0, 0}, 1}, {{1, 0}, 1e-5}, {{2, 1}, .5}})->extract_factor(0), 3, {{{0}, 1}});
    const double m = std::sqrt(1 + 1e-6);
    expect_factor(build({3, 2}, {{{0, 0}, 1}, {{1, 0}, 1e-3}, {{2, 1}, .5}})->extract_factor(0), 3,
                  {{{0}, 1 / m}, {{1}, 1e-3 / m}});
    EXPECT_TRUE(build({2, 2}, {})->extract_factor(0).empty());
    EXPECT_TRUE(build({2, 2}, {{{0, 0}, 1e-170}, {{1, 0}, 1e-170}})->extract_factor(0).empty());
}

}  // namespace
}  // namespace vortan::qudit
