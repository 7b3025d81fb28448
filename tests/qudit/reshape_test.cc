// Removal and tensor product on the packed words against the exchange road
// (entries out, rebuilt through the factory): the same entries in the same
// order, bit for bit, including the corners where the factory's merging and
// dropping of exact zeros show.

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::state_of;
using testing::Terms;

bool identical(const IState& a, const IState& b) {
    const auto x = a.basis_entries(), y = b.basis_entries();
    const auto same = [](const DynamicBasisEntry& p, const DynamicBasisEntry& q) {
        return p.dits.dits == q.dits.dits && !std::memcmp(&p.amplitude, &q.amplitude, sizeof p.amplitude);
    };
    return a.dimension() == b.dimension() && a.num_qudits() == b.num_qudits() &&
           std::equal(x.begin(), x.end(), y.begin(), y.end(), same);
}

// What the exchange road builds when qudit q goes, keeping value `keep`.
std::unique_ptr<IState> removed_by_exchange(const IState& s, std::int32_t q, std::int64_t keep) {
    auto entries = s.basis_entries();
    if (keep >= 0) std::erase_if(entries, [&](const auto& e) { return e.dits.dits[q].value != std::uint64_t(keep); });
    for (auto& e : entries) {
        e.dits.dits[q] = e.dits.dits.back();
        e.dits.dits.pop_back();
    }
    return make_state(s.dimension(), s.num_qudits() - 1, entries);
}

// Mixed groups with exact zeros, -0.0 parts, and amplitudes whose weight
// underflows: such a term may differ from a kept one only at the removed
// qudit, and the factory then merges the two.
TEST(Reshape, removal_matches_the_exchange_road) {
    std::mt19937 rng(11);
    const std::vector<std::vector<int>> groups = {{2, 2}, {3, 2, 3}, {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2},
                                                  {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}, {2, 3, 3, 2, 2}};
    for (const auto& dims : groups) {
        const int n = static_cast<int>(dims.size());
        for (int round = 0; round < 20; ++round) {
            std::map<std::vector<int>, std::complex<double>> chosen;
            for (int k = 0; k < 200; ++k) {
                std::vector<int> values;
                for (int d : dims) values.push_back(static_cast<int>(rng() % d));
                const double size = std::array{1.0, 0.0, 1e-170, -0.0}[rng() % 4];
                chosen[values] = {size * double(rng() % 7) - 3 * size, rng() % 3 ? -0.0 : 0.5};
            }
            Terms terms;
            for (auto& [values, a] : chosen) terms.push_back({values, a});
            std::shuffle(terms.begin(), terms.end(), rng);
            const auto s = state_of(dims, terms);
            const std::int32_t q = static_cast<std::int32_t>(rng() % n);
            for (std::int64_t keep : {-1, 0, 1}) {
                const auto got = s->without_qudit(q, keep);
                ASSERT_TRUE(got);
                EXPECT_TRUE(identical(*got, *removed_by_exchange(*s, q, keep))) << n << " qudits, q " << q << ", keep " << keep;
            }
            std::vector<double> weights, expected;
            ASSERT_TRUE(s->value_weights(q, weights));
            for (const auto& e : s->basis_entries()) {
                const auto v = e.dits.dits[q].value;
                if (expected.size() <= v) expected.resize(v + 1, 0.0);
                expected[v] += squared_magnitude(e.amplitude);
            }
            EXPECT_EQ(weights, expected);
        }
    }
    const auto single = state_of({3}, {{{1}, 1.0}});
    EXPECT_EQ(single->without_qudit(0, -1), nullptr);  // no form of zero dits
    std::vector<double> unused;
    EXPECT_FALSE(state_of({2, 2}, {{{1, 0}, 1.0}}, testing::Form::dynamic)->value_weights(0, unused));
}

std::unique_ptr<IState> product_by_exchange(const IState& a, const IState& b) {
    std::vector<DynamicBasisEntry> list;
    for (const auto& x : a.basis_entries())
        for (const auto& y : b.basis_entries()) {
            auto dits = x.dits.dits;
            dits.insert(dits.end(), y.dits.dits.begin(), y.dits.dits.end());
            list.push_back({DynamicDitArray(dits), x.amplitude * y.amplitude});
        }
    return make_state(std::max(a.dimension(), b.dimension()), a.num_qudits() + b.num_qudits(), list);
}

// Qubit forms widen when they join a qutrit form; products that are exactly
// zero, by a zero or by underflow, go as the factory drops them; an infinite
// times a zero part goes through the recovery of the complex product.
TEST(Reshape, product_matches_the_exchange_road) {
    std::mt19937 rng(5);
    const std::vector<std::pair<std::vector<int>, std::vector<int>>> pairs = {
        {{2}, {2}}, {{2, 2, 2}, {3, 2}}, {{3, 3}, {2, 2, 2, 2}}, {{2, 2, 2, 2, 2, 2}, {2, 2, 2, 2, 2, 2}},
        {{3, 3, 3, 3, 3}, {3, 3, 3, 3, 3, 3, 3}}, {{2, 3, 2, 3, 2, 3}, {2, 2, 2, 2, 2, 2}}};
    for (const auto& [dims_a, dims_b] : pairs) {
        const auto terms = [&](const std::vector<int>& dims) {
            std::map<std::vector<int>, std::complex<double>> chosen;
            for (int k = 0; k < 30; ++k) {
                std::vector<int> values;
                for (int d : dims) values.push_back(static_cast<int>(rng() % d));
                const double size = std::array{0.5, 1e-200, 0.0, HUGE_VAL}[rng() % 4];
                chosen[values] = {size, rng() % 2 ? 0.25 : 0.0};
            }
            Terms list;
            for (auto& [values, a] : chosen) list.push_back({values, a});
            std::shuffle(list.begin(), list.end(), rng);
            return list;
        };
        const auto a = state_of(dims_a, terms(dims_a)), b = state_of(dims_b, terms(dims_b));
        const auto got = packed_product(*a, *b);
        ASSERT_TRUE(got);
        EXPECT_TRUE(identical(*got, *product_by_exchange(*a, *b))) << dims_a.size() << " + " << dims_b.size();
    }
    // Past twelve qudits, or with a dynamic side, the exchange road decides.
    const auto six = state_of({2, 2, 2, 2, 2, 2}, {{{0, 1, 0, 1, 0, 1}, 1.0}});
    const auto seven = state_of({3, 3, 3, 3, 3, 3, 3}, {{{0, 1, 2, 0, 1, 2, 0}, 1.0}});
    EXPECT_EQ(packed_product(*six, *seven), nullptr);
    EXPECT_EQ(packed_product(*six, *state_of({2}, {{{1}, 1.0}}, testing::Form::dynamic)), nullptr);
}

}  // namespace
}  // namespace vortan::qudit
