// Whether a qudit is a factor of its state, at the edges of each tolerance,
// and the phase and reference of the factor extracted, on both forms.

#include "qudit/state_forms.h"

namespace vortan::qudit {
using namespace testing;
const double r2 = 1 / std::sqrt(2.0), below = std::sqrt(1e-9), above = std::sqrt(2e-8);  // branch weights beside 1
const std::complex<double> i1{0, 1};

class Factorization : public BothForms {};
VORTAN_BOTH_FORMS(Factorization);

TEST_P(Factorization, verdicts_at_the_edges_of_each_tolerance) {
    const struct { const char* what; std::vector<int> dims; Terms terms; bool factorizable; } verdicts[] = {
        {"all zero", {2, 2}, {}, true},
        {"weights underflow to 0", {2, 2}, {{{0, 0}, 1e-170}, {{0, 1}, 1e-170}, {{1, 0}, 1e-170}}, true},
        {"Bell pair", {2, 2}, {{{0, 0}, r2}, {{1, 1}, r2}}, false},
        {"product", {2, 2}, {{{0, 1}, r2}, {{1, 1}, r2}}, true},
        {"same support, ratios 1 and -1", {2, 2}, {{{0, 0}, .5}, {{0, 1}, .5}, {{1, 0}, .5}, {{1, 1}, -.5}}, false},
        {"relative phase i", {2, 2}, {{{0, 0}, .3}, {{0, 1}, .4}, {{1, 0}, .3 * i1}, {{1, 1}, .4 * i1}}, true},
        // (0.2, 0.4i, -0.5) times (0.6, 0.8), shuffled.
        {"qutrit factor", {3, 2}, {{{2, 1}, -.4}, {{0, 0}, .12}, {{1, 1}, .32 * i1}, {{2, 0}, -.3}, {{0, 1}, .16}, {{1, 0}, .24 * i1}}, true},
        {"branch of weight 1e-9", {2, 2}, {{{0, 0}, 1}, {{1, 1}, below}}, true},
        {"branch of weight 2e-8", {2, 2}, {{{0, 0}, 1}, {{1, 1}, above}}, false},
        {"negligible value 0 is no reference", {3, 2}, {{{0, 1}, below}, {{1, 0}, .6}, {{2, 0}, .8}}, true},
        {"stray 1e-11 in a branch", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{1, 1}, 1e-11}}, true},
        {"stray 1e-9 in a branch", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{1, 1}, 1e-9}}, false},
        // A partnerless reference entry needs a negligible ratio, not amplitude.
        {"stray 1e-11 in the reference", {2, 2}, {{{0, 0}, .6}, {{1, 0}, .8}, {{0, 1}, 1e-11}}, false},
        {"ratio error 1e-11", {2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-3}, {{1, 0}, 1}, {{1, 1}, 1e-3 + 1e-14}}, true},
        {"ratio error 1e-9", {2, 2}, {{{0, 0}, 1}, {{0, 1}, 1e-3}, {{1, 0}, 1}, {{1, 1}, 1e-3 + 1e-12}}, false},
    };
    for (const auto& [what, dims, terms, factorizable] : verdicts) EXPECT_EQ(build(dims, terms)->is_factorizable(0), factorizable) << what;
}

TEST_P(Factorization, the_factor_takes_its_phase_from_the_heaviest_value_and_ties_go_to_the_lowest) {
    // The factor as a one-qudit state.
    const auto factor = [&](const Terms& terms, int qudit) {
        return terms_of(State<DynamicDitArray>(3, 1, build({2, 2}, terms)->extract_factor(qudit)));
    };
    const std::complex<double> phase = std::polar(1.0, 0.7);
    const Terms tie{{{1, 1}, 2.0 * i1 * phase}, {{0, 1}, 2.0 * phase}};
    expect_near(factor(tie, 0), {{{0}, r2}, {{1}, r2 * i1}});
    expect_near(factor(tie, 1), {{{1}, 1}});
    expect_near(factor({{{0, 1}, .6 * phase}, {{1, 1}, .8 * i1 * phase}}, 0), {{{0}, -.6 * i1}, {{1}, .8}});
    EXPECT_TRUE(factor({}, 0).empty() && factor({{{0, 0}, 1e-170}, {{1, 0}, 1e-170}}, 0).empty());
}

TEST_P(Factorization, large_branches_sorted_by_key_before_comparison) {
    // 512-entry branches, entered in a scrambled order so the branch walk
    // relies on its sort; one amplitude nudged breaks proportionality.
    std::vector<int> dims(10, 2);
    Terms terms;
    for (int k = 0; k < 1024; ++k) {
        const int n = (k * 389) % 1024, rest = n >> 1;
        std::vector<int> values{n & 1};
        for (int q = 0; q < 9; ++q) values.push_back((rest >> q) & 1);
        terms.push_back({values, std::polar(1.0 + rest % 7, 0.1 * rest) * ((n & 1) ? std::complex<double>(0.8, 0.3) : 1.0)});
    }
    EXPECT_TRUE(build(dims, terms)->is_factorizable(0));
    EXPECT_FALSE(build(dims, terms)->is_factorizable(1));
    terms[700].amplitude *= 1.001;
    EXPECT_FALSE(build(dims, terms)->is_factorizable(0));
}

}  // namespace vortan::qudit
