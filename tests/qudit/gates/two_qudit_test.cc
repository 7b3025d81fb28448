// swap, i_swap and the fractional Hadamard: their paths, limits and texts.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

DynamicBasisEntry entry(std::vector<std::uint64_t> values, std::complex<double> amplitude, std::uint64_t d = 2) {
    std::vector<Dit> dits;
    for (std::uint64_t v : values) dits.push_back({v, d});
    return {DynamicDitArray(std::move(dits)), amplitude};
}

std::map<std::vector<std::uint64_t>, std::complex<double>> by_values(const IState& s) {
    std::map<std::vector<std::uint64_t>, std::complex<double>> out;
    for (const auto& e : s.basis_entries()) {
        std::vector<std::uint64_t> key;
        for (const Dit& d : e.dits.dits) key.push_back(d.value);
        out[key] = e.amplitude;
    }
    return out;
}

std::string what(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no exception";
}

TEST(ISwap, odd_whole_fractions_take_the_exact_fast_path) {
    auto s = make_state(2, 2, {entry({0, 1}, 1.0), entry({1, 1}, 0.5)});
    s->i_swap(0, 1, 1.0, {});
    auto a = by_values(*s);
    ASSERT_EQ(a.size(), 2u);
    EXPECT_EQ(a[(std::vector<std::uint64_t>{1, 0})], std::complex<double>(0.0, 1.0));  // no residue at (0,1)
    EXPECT_EQ(a[(std::vector<std::uint64_t>{1, 1})], std::complex<double>(0.5, 0.0));  // equal values untouched
    s->i_swap(0, 1, 3.0, {});  // -i: back to (0,1) with i * -i = 1
    a = by_values(*s);
    EXPECT_NEAR(std::abs(a[(std::vector<std::uint64_t>{0, 1})] - 1.0), 0.0, 1e-15);
}

TEST(ISwap, other_fractions_append_partners_and_merge_them) {
    auto s = make_state(2, 2, {entry({0, 1}, 1.0)});
    s->i_swap(0, 1, 0.5, {});
    auto a = by_values(*s);
    ASSERT_EQ(a.size(), 2u);
    EXPECT_NEAR(std::abs(a[(std::vector<std::uint64_t>{0, 1})]), 1 / std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(std::arg(a[(std::vector<std::uint64_t>{1, 0})]), M_PI / 2, 1e-15);
    s->i_swap(0, 1, 0.5, {});  // twice is the whole gate: nothing left at (0,1)
    a = by_values(*s);
    ASSERT_EQ(a.size(), 1u);
    EXPECT_NEAR(std::abs(a.begin()->second - std::complex<double>(0, 1)), 0.0, 1e-15);
    // Fraction 2: the partners of size ~1e-16 are pruned, the entry changes sign.
    auto two = make_state(2, 2, {entry({0, 1}, 1.0), entry({1, 1}, 0.5)});
    two->i_swap(1, 0, 2.0, {});
    a = by_values(*two);
    ASSERT_EQ(a.size(), 2u);
    EXPECT_NEAR(a[(std::vector<std::uint64_t>{0, 1})].real(), -1.0, 1e-15);
}

TEST(ISwap, the_general_path_counts_all_entries_against_the_limit) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < 50001; ++code) {
        std::vector<Dit> dits;
        for (std::uint64_t q = 0, c = code; q < 12; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), 1.0});
    }
    auto big = make_state(3, 12, list);
    // Fraction 0 changes nothing and is refused all the same; 1 takes the fast path.
    EXPECT_EQ(what([&] { big->i_swap(0, 1, 0.0, {{2, 9, true}}); }),
              "i_swap could produce up to 100002 basis states (current: 50001), exceeding limit of 100000. Measure "
              "some qudits first to reduce state size.");
    EXPECT_NO_THROW(big->i_swap(0, 1, 1.0, {}));
    list.pop_back();
    EXPECT_NO_THROW(make_state(3, 12, list)->i_swap(0, 1, 0.25, {}));
}

TEST(Swap, twice_restores_the_state_bit_for_bit_and_selects_by_predicate) {
    auto s = make_state(3, 3, {entry({0, 1, 2}, {0.1, 0.2}, 3), entry({2, 0, 1}, {0.3, -0.4}, 3),
                                entry({1, 2, 0}, {0.5, 0.6}, 3)});
    const auto before = s->basis_entries();
    s->swap(0, 2, {{1, 0, false}});
    const auto once = by_values(*s);
    EXPECT_EQ(once.count({2, 1, 0}), 1u);
    EXPECT_EQ(once.count({2, 0, 1}), 1u);  // dit 1 is 0: not selected
    s->swap(0, 2, {{1, 0, false}});
    const auto after = s->basis_entries();
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_TRUE(after[i].dits == before[i].dits);
        EXPECT_EQ(std::memcmp(&after[i].amplitude, &before[i].amplitude, sizeof(after[i].amplitude)), 0);
    }
    s->swap(1, 1, {});  // the same qudit twice changes nothing and is no error
    EXPECT_EQ(s->basis_entries().size(), 3u);
}

TEST(Swap, refuses_different_dimensions_only_when_there_is_an_entry) {
    auto mixed = make_state(3, 2, {{DynamicDitArray({{1, 2}, {2, 3}}), 1.0}});
    EXPECT_EQ(what([&] { mixed->swap(0, 1, {}); }), "Targets of swap operation have different dimensions");
    EXPECT_EQ(what([&] { mixed->i_swap(1, 0, 0.5, {}); }),
              "Targets of fractional-i-swap operation have different dimensions");
    EXPECT_EQ(what([&] { mixed->swap(0, 1, {{0, 1, true}}); }), "Swap operation has overlapping targets and controls");
    EXPECT_EQ(what([&] { mixed->i_swap(0, 2, 0.5, {}); }), "i_swap: qudit index 2 out of range [0, 2)");
    auto empty = make_state(3, 2, {});
    EXPECT_NO_THROW(empty->swap(0, 1, {}));
    EXPECT_NO_THROW(empty->i_swap(0, 1, 0.5, {}));
    EXPECT_EQ(what([&] { empty->swap(-1, 1, {}); }), "swap: qudit index -1 is negative");
}

TEST(FractionalHadamard, powers_agree_with_the_whole_gates) {
    for (std::uint64_t d : {2u, 3u}) {
        for (std::uint64_t j = 0; j < d; ++j) {
            auto half = make_state(3, 1, {entry({j}, {0.6, 0.8}, d)});
            auto whole = half->clone();
            half->fractional_hadamard({0}, 0.5, {});
            half->fractional_hadamard({0}, 0.5, {});
            whole->hadamard({0}, {});
            auto inverse = make_state(3, 1, {entry({j}, {0.6, 0.8}, d)});
            auto minus_one = inverse->clone();
            inverse->inverse_hadamard({0}, {});
            minus_one->fractional_hadamard({0}, -1.0, {});
            auto identity = make_state(3, 1, {entry({j}, {0.6, 0.8}, d)});
            identity->fractional_hadamard({0}, 0.0, {});
            auto reflection = make_state(3, 1, {entry({j}, {0.6, 0.8}, d)});
            reflection->fractional_hadamard({0}, 2.0, {});
            for (std::uint64_t k = 0; k < d; ++k) {
                const std::vector<std::uint64_t> key{k};
                EXPECT_NEAR(std::abs(by_values(*half)[key] - by_values(*whole)[key]), 0, 1e-12) << d << j << k;
                EXPECT_NEAR(std::abs(by_values(*minus_one)[key] - by_values(*inverse)[key]), 0, 1e-12) << d << j << k;
            }
            EXPECT_EQ(identity->state_size(), 1u) << "zero terms are merged away";
            const auto reflected = by_values(*reflection);
            ASSERT_EQ(reflected.size(), 1u);
            EXPECT_EQ(reflected.begin()->first[0], (d - j) % d);  // H^2 maps j to -j
        }
    }
}

}  // namespace
}  // namespace vortan::qudit
