// The linear regrouping of spread entries against the straightforward way:
// a comparison-sort merge, the dynamic form (which expands and sorts), and
// i_swap's partners appended then merged.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::Form, testing::message_of, testing::state_of, testing::Term, testing::Terms;

template <class T>
void expect_same(const std::vector<BasisEntry<T>>& got, const std::vector<BasisEntry<T>>& want, const std::string& where) {
    ASSERT_EQ(got.size(), want.size()) << where;
    for (std::size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(got[i].dits.values, want[i].dits.values) << where << ", at " << i;
        EXPECT_EQ(got[i].dits.dimensions, want[i].dits.dimensions) << where;
        EXPECT_FALSE(std::memcmp(&got[i].amplitude, &want[i].amplitude, sizeof got[i].amplitude)) << where << ", at " << i;
    }
}

// Few keys (long runs) or many (mostly alone), amplitudes around the pruning
// threshold and exact zeros; multiples of 2^-36 small enough that every sum is
// exact in any order, so the result must match bit for bit.
template <class T>
void merge_matches_sorted_merge(std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    for (std::size_t n : {9, 64, 5000})
        for (std::uint64_t distinct : {std::uint64_t{3}, std::uint64_t{1} << 30}) {
            std::vector<BasisEntry<T>> list(n);
            for (auto& e : list) {
                std::uint64_t word = rng() % distinct;
                for (std::uint32_t i = 0; i < T::size(); ++i, word /= T::max_dimension)
                    e.dits[static_cast<std::int32_t>(i)] = Dit{word % T::max_dimension, T::max_dimension};
                const double scale = std::array{0x1p-10, 0x1p-34, 0.0, 0x1p-36}[rng() % 4];
                e.amplitude = {scale * (double(rng() % 2001) - 1000), scale * (double(rng() % 3) - 1)};
            }
            auto want = list;
            std::sort(want.begin(), want.end(), [](const auto& a, const auto& b) { return a.dits < b.dits; });
            std::size_t last = 0;
            for (std::size_t i = 1; i < want.size(); ++i)
                if (want[i].dits == want[last].dits) want[last].amplitude += want[i].amplitude;
                else want[++last] = want[i];
            want.resize(last + 1);
            std::erase_if(want, [](const auto& e) { return negligible(e.amplitude); });
            State<T>::merge_entries(list);
            expect_same(list, want, std::to_string(n) + " entries");
        }
}

TEST(Regroup, merge_matches_the_sorted_merge_on_every_key_width) {
    merge_matches_sorted_merge<DitArray<2, 1>>(1);
    merge_matches_sorted_merge<DitArray<2, 12>>(3);
    merge_matches_sorted_merge<DitArray<3, 1>>(4);
    merge_matches_sorted_merge<DitArray<3, 12>>(6);
}

// Every spreading gate, with predicates, on qubit, qutrit and mixed groups,
// from a handful of entries to hundreds (the radix path): the dynamic form's
// terms, in ascending packed order from 9 entries on and in the dynamic
// form's own (first-occurrence) order below.
TEST(Regroup, spreading_gates_match_the_straightforward_form) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
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
    const auto key = [](const DynamicBasisEntry& e, unsigned bits) {
        std::uint64_t k = 0;
        for (std::size_t i = 0; i < e.dits.dits.size(); ++i) k |= e.dits.dits[i].value << (i * bits);
        return k;
    };
    for (const auto& dims : {std::vector<int>(12, 2), std::vector<int>(8, 3), std::vector<int>{2, 3, 2, 3, 3, 2, 3}, std::vector<int>{3, 2}}) {
        const int n = static_cast<int>(dims.size());
        const unsigned bits = *std::max_element(dims.begin(), dims.end()) == 2 ? 1 : 2;
        std::size_t space = 1;
        for (int d : dims) space *= d;
        for (std::size_t count : {1, 3, 40, 600})
            for (std::size_t c = 0; c < std::size(calls); ++c) {
                std::map<std::vector<int>, std::complex<double>> chosen;
                while (chosen.size() < std::min(count, space)) {
                    std::vector<int> values;
                    for (int d : dims) values.push_back(static_cast<int>(rng() % d));
                    chosen[values] = {part(rng), part(rng)};
                }
                Terms terms;
                for (auto& [values, a] : chosen) terms.push_back({values, a});
                std::shuffle(terms.begin(), terms.end(), rng);
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
                const std::string where = "call " + std::to_string(c) + ", " + std::to_string(n) + " qudits, " + std::to_string(terms.size()) + " entries";
                ASSERT_EQ(got.size(), want.size()) << where;
                // One expansion is sorted when it reached 9 terms; after several,
                // at least the last merge had as many as are left.
                std::size_t expanded = 0;
                for (const Term& term : terms)
                    expanded += std::all_of(predicates.begin(), predicates.end(), [&](const Predicate& p) {
                        return (term.values[p.qudit_index] == p.value) == p.is_equal; }) ? dims[t] : 1;
                const bool sorted = c < 3 ? expanded >= 9 : got.size() >= 9;
                std::map<std::uint64_t, std::complex<double>> by_key;
                for (const auto& e : want) by_key[key(e, 2)] = e.amplitude;
                for (std::size_t i = 0; i < got.size(); ++i) {
                    ASSERT_TRUE(by_key.count(key(got[i], 2))) << where;
                    EXPECT_LT(std::abs(by_key[key(got[i], 2)] - got[i].amplitude), 1e-12) << where;
                    if (sorted && i > 0) {
                        EXPECT_LT(key(got[i - 1], bits), key(got[i], bits)) << where;
                    } else if (!sorted && c < 3) {  // one expansion: first occurrence in both forms
                        EXPECT_TRUE(got[i].dits == want[i].dits) << where;
                    }
                }
            }
    }
}

// The packed i_swap against i_swap as it first was (scale each selected entry
// whose two values differ, append its exchanged partner, merge), bit for bit
// and in order: few entries and many, ascending or shuffled, dense (most
// partners exist) or sparse, controls of both senses, partners kept or pruned.
template <class T>
void i_swap_matches_expansion(const std::vector<std::uint64_t>& dims, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    const auto n = static_cast<std::int32_t>(T::size());
    std::uint64_t space = 1;
    for (std::uint64_t d : dims) space *= d;
    for (std::size_t count : {3, 8, 9, 300, 3000})
        for (bool dense : {true, false})
            for (double fraction : {0.4, -1.7, 2.0}) {
                const std::uint64_t drawn = std::min<std::uint64_t>(dense ? count + count / 4 : 50 * count, space);
                std::map<std::uint64_t, std::complex<double>> chosen;  // by code, so ascending keys
                while (chosen.size() < std::min<std::uint64_t>(count, drawn)) chosen[rng() % drawn] = {part(rng), part(rng)};
                std::vector<BasisEntry<T>> list;
                for (const auto& [key, amplitude] : chosen) {
                    list.push_back({{}, amplitude});
                    for (std::uint64_t code = key, i = 0; i < T::size(); code /= dims[i], ++i) list.back().dits[std::int32_t(i)] = Dit{code % dims[i], dims[i]};
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
                auto want = list;
                const double theta = fraction * 1.5707963267948966, c = std::cos(theta), s = std::sin(theta);
                for (std::size_t i = 0, size = want.size(); i < size; ++i) {
                    const T& dits = want[i].dits;
                    if (!entry_passes_predicates(dits, predicates) || dits[q1].value == dits[q2].value) continue;
                    BasisEntry<T> partner{dits, std::complex<double>(0.0, s) * want[i].amplitude};
                    want[i].amplitude = std::complex<double>(c, 0.0) * want[i].amplitude;
                    exchange(partner.dits, q1, q2);
                    want.push_back(partner);
                }
                State<T>::merge_entries(want);
                State<T> state(list, true);
                state.i_swap(q1, q2, fraction, predicates);
                expect_same(state.entries(), want, std::to_string(list.size()) + " entries, fraction " + std::to_string(fraction) +
                                                       ", qudits " + std::to_string(q1) + " " + std::to_string(q2));
            }
}

TEST(Regroup, i_swap_matches_the_expanded_list_merged) {
    i_swap_matches_expansion<DitArray<2, 12>>(std::vector<std::uint64_t>(12, 2), 11);
    i_swap_matches_expansion<DitArray<2, 4>>(std::vector<std::uint64_t>(4, 2), 12);
    i_swap_matches_expansion<DitArray<3, 9>>(std::vector<std::uint64_t>(9, 3), 13);
    i_swap_matches_expansion<DitArray<3, 7>>({2, 3, 2, 3, 3, 2, 3}, 14);
}

// A Fourier gate as first written: each selected entry expanded in list order
// with the factor of its value, then merged. Where the merge sorts, the list
// is expanded in ascending order, so that partners meet in rising target
// value as the regrouping adds them (the one freedom it has). Throws where a
// selected value lies past the factor table.
template <class T>
std::vector<BasisEntry<T>> fourier_expansion(std::vector<BasisEntry<T>> list, std::int32_t t, int sign,
                                             const Predicates& predicates) {
    const std::uint64_t d = static_cast<Dit>(list.front().dits[t]).dimension, columns = std::max(d, T::max_dimension);
    const unsigned shift = T::shift_of(static_cast<std::uint32_t>(t));
    std::size_t expanded = 0;
    for (const auto& e : list) expanded += entry_passes_predicates(e.dits, predicates) ? d : 1;
    if (expanded > 8) std::stable_sort(list.begin(), list.end(), [](const auto& a, const auto& b) { return a.dits < b.dits; });
    std::vector<BasisEntry<T>> out;
    for (const auto& e : list) {
        if (!entry_passes_predicates(e.dits, predicates)) {
            out.push_back(e);
            continue;
        }
        const std::uint64_t j = e.dits.value_at(static_cast<std::uint32_t>(t));
        if (j >= columns) throw std::out_of_range("past the table");
        for (std::uint64_t k = 0; k < d; ++k) {
            const double angle = double(d - k) * (sign * TWO_PI) * double(j) / double(d), scale = 1.0 / std::sqrt(double(d));
            BasisEntry<T> x = e;
            x.dits.values = (e.dits.values & ~(T::mask << shift)) | k << shift;
            x.amplitude = e.amplitude * std::complex<double>(std::cos(angle) * scale, std::sin(angle) * scale);
            out.push_back(x);
        }
    }
    State<T>::merge_entries(out);
    return out;
}

// Hadamard and its inverse, twice over (the second time on what the first
// left, with cancellations to prune), against the expansion bit for bit:
// few entries and many, ascending or shuffled, dense or sparse, the target
// lowest or not, controls of both senses. In the qutrit form some dits hold
// a value at or past their dimension: passed over they keep their place,
// selected they are expanded by the table or refused with the state intact.
template <class T>
void fourier_matches_expansion(const std::vector<std::uint64_t>& dims, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    const auto n = static_cast<std::int32_t>(T::size());
    std::uint64_t space = 1;
    for (std::uint64_t d : dims) space *= d;
    for (std::size_t count : {2, 5, 9, 300, 3000})
        for (bool dense : {true, false})
            for (int sign : {+1, -1}) {
                const std::uint64_t drawn = std::min<std::uint64_t>(dense ? count + count / 4 : 50 * count, space);
                std::map<std::uint64_t, std::complex<double>> chosen;
                while (chosen.size() < std::min<std::uint64_t>(count, drawn)) chosen[rng() % drawn] = {part(rng), part(rng)};
                std::vector<BasisEntry<T>> list;
                std::set<std::uint64_t> seen;
                for (const auto& [key, amplitude] : chosen) {
                    BasisEntry<T> e{{}, amplitude};
                    for (std::uint64_t code = key, i = 0; i < T::size(); code /= dims[i], ++i) e.dits[std::int32_t(i)] = Dit{code % dims[i], dims[i]};
                    if (T::max_dimension == 3 && rng() % 40 == 0) {  // over its dimension, or past the table
                        const auto q = static_cast<std::uint32_t>(rng() % T::size());
                        const std::uint64_t value = rng() % 2 ? dims[q] : 3;
                        e.dits.values = (e.dits.values & ~(T::mask << T::shift_of(q))) | value << T::shift_of(q);
                    }
                    if (seen.insert(e.dits.values).second) list.push_back(e);
                }
                if (rng() % 2) std::shuffle(list.begin(), list.end(), rng);
                const auto t = static_cast<std::int32_t>(rng() % 2 ? 0 : rng() % n);
                Predicates predicates;
                if (const auto q = static_cast<std::int32_t>(rng() % n); q != t)
                    predicates.push_back({q, static_cast<std::int32_t>(rng() % 4), rng() % 2 == 0});
                State<T> state(list, true);
                auto want = list;
                for (int round = 0; round < 2; ++round) {
                    const std::string where = std::to_string(want.size()) + " entries, target " + std::to_string(t) +
                                              ", sign " + std::to_string(sign) + ", round " + std::to_string(round);
                    const auto before = state.entries();
                    const auto apply = [&] { sign > 0 ? state.hadamard({t}, predicates) : state.inverse_hadamard({t}, predicates); };
                    try {
                        want = fourier_expansion(want, t, sign, predicates);
                    } catch (const std::out_of_range&) {
                        EXPECT_NE(message_of<std::out_of_range>(apply).find("dit value 3 out of range [0, 3)"), std::string::npos) << where;
                        expect_same(state.entries(), before, where + ", refused");
                        break;
                    }
                    apply();
                    expect_same(state.entries(), want, where);
                    if (want.empty()) break;
                }
            }
}

TEST(Regroup, hadamard_matches_the_expanded_list_merged) {
    fourier_matches_expansion<DitArray<2, 12>>(std::vector<std::uint64_t>(12, 2), 21);
    fourier_matches_expansion<DitArray<2, 3>>(std::vector<std::uint64_t>(3, 2), 22);
    fourier_matches_expansion<DitArray<3, 8>>(std::vector<std::uint64_t>(8, 3), 23);
    fourier_matches_expansion<DitArray<3, 7>>({2, 3, 2, 3, 3, 2, 3}, 24);
    fourier_matches_expansion<DitArray<3, 12>>({2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3}, 25);
}

// Fractional shift and cycle turn each sum by the clock as the Hadamard's
// regrouping makes it: bit for bit the three gates one after another, on
// short and long lists, the target lowest or not, one target or two, and
// controls of both senses (passed-over entries are not turned).
template <class T>
void conjugated_clock_matches_three_gates(const std::vector<std::uint64_t>& dims, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    const auto n = static_cast<std::int32_t>(T::size());
    for (std::size_t count : {4, 300})
        for (const Targets& targets : {Targets{0}, Targets{n - 1}, Targets{n - 1, 0}})
            for (const bool cycle : {false, true}) {
                std::map<std::uint64_t, std::complex<double>> chosen;
                while (chosen.size() < count) chosen[rng() % (3 * count)] = {part(rng), part(rng)};
                std::vector<BasisEntry<T>> list;
                for (const auto& [key, amplitude] : chosen) {
                    list.push_back({{}, amplitude});
                    for (std::uint64_t code = key, i = 0; i < T::size(); code /= dims[i], ++i)
                        list.back().dits[std::int32_t(i)] = Dit{code % dims[i], dims[i]};
                }
                const Predicates predicates{{1, static_cast<std::int32_t>(rng() % 2), rng() % 2 == 0}};
                const double fraction = cycle ? -1.3 : 0.61, turn = reduce_by_period(fraction, CLOCK_PERIOD);
                State<T> fused(list, true), apart(list, true);
                cycle ? fused.fractional_cycle(targets, fraction, predicates) : fused.fractional_shift(targets, fraction, predicates);
                apart.hadamard(targets, predicates);
                apart.fractional_clock(targets, cycle ? -turn : turn, predicates);
                apart.inverse_hadamard(targets, predicates);
                expect_same(fused.entries(), apart.entries(), std::to_string(count) + " entries, " + std::to_string(targets.size()) +
                                                                   " target(s) from " + std::to_string(targets.front()));
            }
}

TEST(Regroup, fractional_shift_matches_its_three_gates) {
    conjugated_clock_matches_three_gates<DitArray<2, 12>>(std::vector<std::uint64_t>(12, 2), 31);
    conjugated_clock_matches_three_gates<DitArray<3, 7>>({2, 3, 3, 2, 3, 3, 3}, 32);
}

}  // namespace
}  // namespace vortan::qudit
