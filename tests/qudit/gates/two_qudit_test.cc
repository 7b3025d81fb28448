// i_swap's exact and merged paths, and the fractional Hadamard's powers
// against the whole gates. Refusals and limits are in gates_test.cc, the
// mathematics against the dense reference in differential_test.cc.

#include <gtest/gtest.h>

#include <limits>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Term, testing::Terms, testing::state_of, testing::terms_of, testing::expect_near;
const std::complex<double> i1{0, 1}, a{0.6, 0.8};

TEST(ISwap, whole_odd_fractions_are_exact_and_others_merge_their_partners) {
    auto s = state_of({2, 2}, {{{0, 1}, 1.0}, {{1, 1}, 0.5}});
    s->i_swap(0, 1, 1.0, {});
    EXPECT_EQ(terms_of(*s), (std::vector<Term>{{{1, 0}, i1}, {{1, 1}, 0.5}}));  // exactly: no residue, equal values untouched
    s->i_swap(0, 1, 3.0, {});  // -i
    expect_near(terms_of(*s), {{{0, 1}, 1.0}, {{1, 1}, 0.5}});
    s->i_swap(0, 1, 0.5, {});  // the partner is appended
    expect_near(terms_of(*s), {{{0, 1}, std::sqrt(0.5)}, {{1, 1}, 0.5}, {{1, 0}, std::sqrt(0.5) * i1}});
    s->i_swap(0, 1, 0.5, {});  // twice is the whole gate: nothing left at (0,1)
    expect_near(terms_of(*s), {{{1, 1}, 0.5}, {{1, 0}, i1}});
}

TEST(ISwap, huge_fractions_keep_the_period_and_ordinary_ones_the_plain_product) {
    // Every double from 2^54 on is a multiple of 4: the identity, not NaN at
    // the largest, and not a rounded angle at 1e15.
    for (double f : {std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(), 1e308, 1e15}) {
        auto s = state_of({2, 2}, {{{0, 1}, a}, {{1, 1}, 0.5}});
        s->i_swap(0, 1, f, {});
        expect_near(terms_of(*s), {{{0, 1}, a}, {{1, 1}, 0.5}});
    }
    // 2^24 + 1 reduces to 1, the whole gate.
    auto whole = state_of({2, 2}, {{{0, 1}, 1.0}});
    whole->i_swap(0, 1, 0x1p24 + 1.0, {});
    expect_near(terms_of(*whole), {{{1, 0}, i1}});
    // Below 2^24 the angle is the plain product.
    auto s = state_of({2, 2}, {{{0, 1}, 1.0}});
    s->i_swap(0, 1, 1e7 + 0.25, {});
    const double theta = (1e7 + 0.25) * 1.5707963267948966;
    expect_near(terms_of(*s), {{{0, 1}, std::cos(theta)}, {{1, 0}, std::sin(theta) * i1}});
}

TEST(FractionalHadamard, half_twice_is_the_whole_gate_minus_one_its_inverse_and_two_the_reflection) {
    for (int d : {2, 3})
        for (int j = 0; j < d; ++j) {
            const auto terms = [&](const std::function<void(IState&)>& gates) {
                auto s = state_of({d}, {{{j}, a}});
                gates(*s);
                auto t = terms_of(*s);  // sorted by value, as the roads may order them differently
                std::sort(t.begin(), t.end(), [](const Term& x, const Term& y) { return x.values < y.values; });
                return t;
            };
            const auto power = [&](double f, int times = 1) { return terms([&](IState& s) { while (times--) s.fractional_hadamard({0}, f, {}); }); };
            // Zero terms are merged away, so the lists match in length too.
            const auto close = [&](const Terms& got, const Terms& want) { SCOPED_TRACE(d * 10 + j); expect_near(got, want, 1e-12); };
            close(power(0.5, 2), terms([](IState& s) { s.hadamard({0}, {}); }));
            close(power(-1.0), terms([](IState& s) { s.inverse_hadamard({0}, {}); }));
            close(power(0.0), {{{j}, a}});
            close(power(2.0), {{{(d - j) % d}, a}});
        }
}

}  // namespace
}  // namespace vortan::qudit
