// i_swap's exact and merged paths, and the fractional Hadamard's powers
// against the whole gates. Refusals and limits are in gates_test.cc, the
// mathematics against the dense reference in differential_test.cc.

#include <gtest/gtest.h>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Term, testing::Form, testing::build_state, testing::terms_of, testing::expect_near;
const std::complex<double> i1{0, 1}, a{0.6, 0.8};

TEST(ISwap, whole_odd_fractions_are_exact_and_others_merge_their_partners) {
    auto s = build_state(Form::packed, {2, 2}, {{{0, 1}, 1.0}, {{1, 1}, 0.5}});
    s->i_swap(0, 1, 1.0, {});
    EXPECT_EQ(terms_of(*s), (std::vector<Term>{{{1, 0}, i1}, {{1, 1}, 0.5}}));  // exactly: no residue, equal values untouched
    s->i_swap(0, 1, 3.0, {});  // -i
    expect_near(terms_of(*s), {{{0, 1}, 1.0}, {{1, 1}, 0.5}});
    s->i_swap(0, 1, 0.5, {});  // the partner is appended
    expect_near(terms_of(*s), {{{0, 1}, std::sqrt(0.5)}, {{1, 1}, 0.5}, {{1, 0}, std::sqrt(0.5) * i1}});
    s->i_swap(0, 1, 0.5, {});  // twice is the whole gate: nothing left at (0,1)
    expect_near(terms_of(*s), {{{1, 1}, 0.5}, {{1, 0}, i1}});
}

TEST(FractionalHadamard, half_twice_is_the_whole_gate_minus_one_its_inverse_and_two_the_reflection) {
    for (std::uint64_t d : {2u, 3u})
        for (std::uint64_t j = 0; j < d; ++j) {
            const auto terms = [&](const std::function<void(IState&)>& gates) {
                auto s = build_state(Form::packed, {d}, {{{j}, a}});
                gates(*s);
                auto t = terms_of(*s);  // sorted by value, as the roads may order them differently
                std::sort(t.begin(), t.end(), [](const Term& x, const Term& y) { return x.values < y.values; });
                return t;
            };
            const auto power = [&](double f, int times = 1) { return terms([&](IState& s) { while (times--) s.fractional_hadamard({0}, f, {}); }); };
            const auto close = [&](const std::vector<Term>& got, const std::vector<Term>& want) {
                ASSERT_EQ(got.size(), want.size()) << d << j;  // zero terms are merged away
                for (std::size_t k = 0; k < got.size(); ++k)
                    EXPECT_TRUE(got[k].values == want[k].values && std::abs(got[k].amplitude - want[k].amplitude) < 1e-12) << d << j << k;
            };
            close(power(0.5, 2), terms([](IState& s) { s.hadamard({0}, {}); }));
            close(power(-1.0), terms([](IState& s) { s.inverse_hadamard({0}, {}); }));
            close(power(0.0), {{{j}, a}});
            close(power(2.0), {{{(d - j) % d}, a}});
        }
}

}  // namespace
}  // namespace vortan::qudit
