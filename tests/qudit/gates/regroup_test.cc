// The linear regrouping of spread entries against the straightforward way:
// the sort-based merge kept here as the reference, and the dynamic form,
// whose gates still expand every term and sort.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "qudit/gates/entry_kernels.h"
#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Form;
using testing::state_of;
using testing::Term;
using testing::Terms;

// The merge as a comparison sort does it: sort by dits, sum runs into their
// first entry, cut, prune in order.
template <class T>
void sorted_merge(std::vector<BasisEntry<T>>& list) {
    std::sort(list.begin(), list.end(), [](const auto& a, const auto& b) { return a.dits < b.dits; });
    std::size_t last = 0;
    for (std::size_t i = 1; i < list.size(); ++i) {
        if (list[i].dits == list[last].dits)
            list[last].amplitude += list[i].amplitude;
        else if (++last != i)
            list[last] = list[i];
    }
    list.resize(last + 1);
    std::erase_if(list, [](const auto& e) { return negligible(e.amplitude); });
}

bool same_bits(std::complex<double> a, std::complex<double> b) { return !std::memcmp(&a, &b, sizeof a); }

// Random lists over a few keys (so runs are long) or many (so most are
// alone), with amplitudes around the pruning threshold and exact zeros. The
// amplitudes are multiples of 2^-36 and small enough that every sum is exact
// in any order: the result must match bit for bit.
template <class T>
void merge_matches_sorted_merge(std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    for (std::size_t n : {9, 10, 64, 1000, 5000}) {
        for (std::uint64_t distinct : {std::uint64_t{3}, std::uint64_t{1} << 30}) {
            std::vector<BasisEntry<T>> list(n);
            for (auto& e : list) {
                std::uint64_t word = rng() % distinct;
                for (std::uint32_t i = 0; i < T::size(); ++i) {
                    e.dits[static_cast<std::int32_t>(i)] = Dit{word % T::max_dimension, T::max_dimension};
                    word /= T::max_dimension;
                }
                const double scale = std::array{0x1p-10, 0x1p-34, 0.0, 0x1p-36}[rng() % 4];
                e.amplitude = {scale * (double(rng() % 2001) - 1000), scale * (double(rng() % 3) - 1)};
            }
            auto expected = list;
            sorted_merge(expected);
            State<T>::merge_entries(list);
            ASSERT_EQ(list.size(), expected.size()) << n << " entries";
            for (std::size_t i = 0; i < list.size(); ++i) {
                EXPECT_EQ(list[i].dits.values, expected[i].dits.values);
                EXPECT_EQ(list[i].dits.dimensions, expected[i].dits.dimensions);
                EXPECT_TRUE(same_bits(list[i].amplitude, expected[i].amplitude)) << i;
            }
        }
    }
}

TEST(Regroup, merge_matches_the_sorted_merge_on_every_key_width) {
    merge_matches_sorted_merge<DitArray<2, 1>>(1);
    merge_matches_sorted_merge<DitArray<2, 7>>(2);
    merge_matches_sorted_merge<DitArray<2, 12>>(3);
    merge_matches_sorted_merge<DitArray<3, 1>>(4);
    merge_matches_sorted_merge<DitArray<3, 6>>(5);
    merge_matches_sorted_merge<DitArray<3, 12>>(6);
}

// A random state of `dims` with about `count` entries, as both forms.
Terms random_terms(const std::vector<int>& dims, std::size_t count, std::mt19937& rng) {
    std::map<std::vector<int>, std::complex<double>> chosen;
    std::uniform_real_distribution<double> amplitude(-1.0, 1.0);
    while (chosen.size() < count) {
        std::vector<int> values;
        for (int d : dims) values.push_back(static_cast<int>(rng() % d));
        chosen[values] = {amplitude(rng), amplitude(rng)};
    }
    Terms terms;
    for (auto& [values, a] : chosen) terms.push_back({values, a});
    std::shuffle(terms.begin(), terms.end(), rng);
    return terms;
}

std::uint64_t packed_key(const DynamicBasisEntry& e, unsigned bits) {
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < e.dits.dits.size(); ++i) key |= e.dits.dits[i].value << (i * bits);
    return key;
}

// Every spreading gate, with predicates, on qubit, qutrit and mixed groups,
// from a handful of entries (first-occurrence order) to thousands (the
// radix path): same terms as the dynamic form, in ascending packed order
// from 9 entries on and in the dynamic form's own order below.
TEST(Regroup, spreading_gates_match_the_straightforward_form) {
    std::mt19937 rng(7);
    const std::vector<std::vector<int>> groups = {
        {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, {3, 3, 3, 3, 3, 3, 3, 3}, {2, 3, 2, 3, 3, 2, 3}, {3, 2}};
    using Call = void (*)(IState&, std::int32_t, std::int32_t, const Predicates&);
    const Call calls[] = {
        [](IState& s, std::int32_t t, std::int32_t, const Predicates& p) { s.hadamard({t}, p); },
        [](IState& s, std::int32_t t, std::int32_t, const Predicates& p) { s.inverse_hadamard({t}, p); },
        [](IState& s, std::int32_t t, std::int32_t, const Predicates& p) { s.fractional_hadamard({t}, 0.37, p); },
        [](IState& s, std::int32_t t, std::int32_t, const Predicates& p) { s.fractional_shift({t}, 0.61, p); },
        [](IState& s, std::int32_t t, std::int32_t, const Predicates& p) { s.fractional_cycle({t}, -1.3, p); },
        [](IState& s, std::int32_t t, std::int32_t u, const Predicates& p) { s.hadamard({t, u}, p); },
        [](IState& s, std::int32_t t, std::int32_t u, const Predicates& p) { s.i_swap(t, u, 0.4, p); },
    };
    for (const auto& dims : groups) {
        const int n = static_cast<int>(dims.size());
        const unsigned bits = *std::max_element(dims.begin(), dims.end()) == 2 ? 1 : 2;
        std::size_t space = 1;
        for (int d : dims) space *= d;
        for (std::size_t count : {1, 3, 40, 600}) {
            for (std::size_t c = 0; c < std::size(calls); ++c) {
                const Terms terms = random_terms(dims, std::min(count, space), rng);
                const int t = static_cast<int>(rng() % n);
                int u = (t + 1) % n;  // a partner of the same dimension, for i_swap
                while (dims[u] != dims[t] && u != t) u = (u + 1) % n;
                Predicates predicates;
                if (const int q = static_cast<int>(rng() % n); n > 2 && q != t && q != u)
                    predicates.push_back({q, static_cast<int>(rng() % 3), rng() % 2 == 0});
                auto packed = state_of(dims, terms), dynamic = state_of(dims, terms, Form::dynamic);
                calls[c](*packed, t, u, predicates);
                calls[c](*dynamic, t, u, predicates);
                const auto got = packed->basis_entries(), want = dynamic->basis_entries();
                const std::string where = "call " + std::to_string(c) + ", " + std::to_string(n) + " qudits, " +
                                          std::to_string(terms.size()) + " entries";
                ASSERT_EQ(got.size(), want.size()) << where;
                // A single expansion is sorted when it reached 9 terms; after
                // several, at least the last merge had as many as are left.
                std::size_t expanded = 0;
                for (const Term& term : terms) {
                    bool passes = true;
                    for (const Predicate& p : predicates) passes = passes && (term.values[p.qudit_index] == p.value) == p.is_equal;
                    expanded += passes ? dims[t] : 1;
                }
                const bool sorted = c < 3 ? expanded >= 9 : got.size() >= 9;
                std::map<std::vector<std::uint64_t>, std::complex<double>> by_dits;
                for (const auto& e : want) {
                    std::vector<std::uint64_t> key;
                    for (const Dit& dit : e.dits.dits) key.push_back(dit.value * 4 + dit.dimension);
                    by_dits[key] = e.amplitude;
                }
                for (std::size_t i = 0; i < got.size(); ++i) {
                    std::vector<std::uint64_t> key;
                    for (const Dit& dit : got[i].dits.dits) key.push_back(dit.value * 4 + dit.dimension);
                    ASSERT_TRUE(by_dits.count(key)) << where;
                    EXPECT_LT(std::abs(by_dits[key] - got[i].amplitude), 1e-12) << where;
                    if (sorted && i > 0) {
                        EXPECT_LT(packed_key(got[i - 1], bits), packed_key(got[i], bits)) << where;
                    } else if (!sorted && c < 3) {  // one expansion: first occurrence in both forms
                        EXPECT_TRUE(got[i].dits == want[i].dits) << where;
                    }
                }
            }
        }
    }
}

// i_swap as it first was: scale each selected entry whose two values differ,
// append its exchanged partner, merge the whole list.
template <class T>
void expanded_i_swap(std::vector<BasisEntry<T>>& list, std::int32_t q1, std::int32_t q2, double fraction,
                     const Predicates& predicates) {
    const double theta = fraction * 1.5707963267948966;
    const double c = std::cos(theta), s = std::sin(theta);
    const std::size_t n = list.size();
    for (std::size_t i = 0; i < n; ++i) {
        const T& dits = list[i].dits;
        if (!entry_passes_predicates(dits, predicates) || dits[q1].value == dits[q2].value) continue;
        const std::complex<double> amplitude = list[i].amplitude;
        list[i].amplitude = std::complex<double>(c, 0.0) * amplitude;
        BasisEntry<T> partner{list[i].dits, std::complex<double>(0.0, s) * amplitude};
        exchange(partner.dits, q1, q2);
        list.push_back(partner);
    }
    State<T>::merge_entries(list);
}

// The packed i_swap against the expanded one, bit for bit and in the same
// order: few entries (first occurrence) and many (ascending), given in
// ascending order or shuffled, dense enough that most partners exist or so
// sparse that few do, with controls of both senses, at fractions whose
// partners survive or are pruned.
template <class T>
void i_swap_matches_expansion(const std::vector<std::uint64_t>& dims, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    const auto n = static_cast<std::int32_t>(T::size());
    std::uint64_t space = 1;
    for (std::uint64_t d : dims) space *= d;
    for (std::size_t count : {3, 8, 9, 12, 300, 3000}) {
        for (bool dense : {true, false}) {
            for (double fraction : {0.4, -1.7, 2.0}) {
                const std::uint64_t drawn = std::min<std::uint64_t>(dense ? count + count / 4 : 50 * count, space);
                std::map<std::uint64_t, std::complex<double>> chosen;  // by code, so ascending keys
                while (chosen.size() < std::min<std::uint64_t>(count, drawn)) {
                    chosen[rng() % drawn] = {part(rng), part(rng)};
                }
                std::vector<BasisEntry<T>> list;
                for (const auto& [code, amplitude] : chosen) {
                    BasisEntry<T> e{{}, amplitude};
                    std::uint64_t c = code;
                    for (std::int32_t i = 0; i < n; ++i) {
                        const std::uint64_t d = dims[static_cast<std::size_t>(i)];
                        e.dits[i] = Dit{c % d, d};
                        c /= d;
                    }
                    list.push_back(e);
                }
                if (rng() % 2) std::shuffle(list.begin(), list.end(), rng);
                // Another qudit of the same dimension, else the target itself.
                const auto q1 = static_cast<std::int32_t>(rng() % n);
                std::int32_t q2 = q1;
                for (std::int32_t step = 1; step < n && q2 == q1; ++step)
                    if (dims[(q1 + step) % n] == dims[q1]) q2 = (q1 + step) % n;
                Predicates predicates;
                if (const auto q = static_cast<std::int32_t>(rng() % n); q != q1 && q != q2)
                    predicates.push_back({q, static_cast<std::int32_t>(rng() % 3), rng() % 2 == 0});
                auto expected = list;
                expanded_i_swap(expected, q1, q2, fraction, predicates);
                State<T> state(list, true);
                state.i_swap(q1, q2, fraction, predicates);
                const auto& got = state.entries();
                const std::string where = std::to_string(list.size()) + " entries, fraction " +
                                          std::to_string(fraction) + ", qudits " + std::to_string(q1) + " " +
                                          std::to_string(q2) + ", " + std::to_string(predicates.size()) + " control";
                ASSERT_EQ(got.size(), expected.size()) << where;
                for (std::size_t i = 0; i < got.size(); ++i) {
                    ASSERT_EQ(got[i].dits.values, expected[i].dits.values) << where << ", at " << i;
                    EXPECT_EQ(got[i].dits.dimensions, expected[i].dits.dimensions) << where;
                    EXPECT_TRUE(same_bits(got[i].amplitude, expected[i].amplitude)) << where << ", at " << i;
                }
            }
        }
    }
}

TEST(Regroup, i_swap_matches_the_expanded_list_merged) {
    i_swap_matches_expansion<DitArray<2, 12>>(std::vector<std::uint64_t>(12, 2), 11);
    i_swap_matches_expansion<DitArray<2, 4>>(std::vector<std::uint64_t>(4, 2), 12);
    i_swap_matches_expansion<DitArray<3, 9>>(std::vector<std::uint64_t>(9, 3), 13);
    i_swap_matches_expansion<DitArray<3, 7>>({2, 3, 2, 3, 3, 2, 3}, 14);
    i_swap_matches_expansion<DitArray<3, 3>>({3, 2, 3}, 15);
}

}  // namespace
}  // namespace vortan::qudit
