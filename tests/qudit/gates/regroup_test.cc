// The linear regrouping of spread entries against the straightforward way,
// bit for bit and in order: a comparison-sort merge, and i_swap's partners or
// a Fourier gate's expansion appended, then merged.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <set>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::same_entries;

// Up to 8 entries merged in order of first occurrence, more in ascending
// order. Few keys (long runs) or many (mostly alone), amplitudes around the
// pruning threshold and exact zeros; multiples of 2^-36 small enough that
// every sum is exact in any order, so the result must match bit for bit.
template <class T>
void merge_matches_plain_merge(std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    for (std::size_t n : {2, 8, 9, 64, 5000})
        for (std::uint64_t distinct : {std::uint64_t{3}, std::uint64_t{1} << 30}) {
            std::vector<BasisEntry<T>> list(n);
            for (auto& e : list) {
                std::uint64_t word = rng() % distinct;
                for (std::uint32_t i = 0; i < T::size(); ++i, word /= T::max_dimension)
                    e.dits[static_cast<std::int32_t>(i)] = Dit{word % T::max_dimension, T::max_dimension};
                const double scale = std::array{0x1p-10, 0x1p-34, 0.0, 0x1p-36}[rng() % 4];
                e.amplitude = {scale * (double(rng() % 2001) - 1000), scale * (double(rng() % 3) - 1)};
            }
            std::vector<BasisEntry<T>> want;
            for (const auto& e : list)
                if (auto seen = std::find_if(want.begin(), want.end(), [&](const auto& w) { return w.dits == e.dits; }); seen != want.end())
                    seen->amplitude += e.amplitude;
                else
                    want.push_back(e);
            if (n > 8) std::sort(want.begin(), want.end(), [](const auto& a, const auto& b) { return a.dits < b.dits; });
            std::erase_if(want, [](const auto& e) { return negligible(e.amplitude); });
            State<T>::merge_entries(list);
            EXPECT_TRUE(same_entries(list, want)) << n << " entries";
        }
}

TEST(Regroup, merge_matches_the_plain_merge_on_every_key_width) {
    merge_matches_plain_merge<DitArray<2, 1>>(1);
    merge_matches_plain_merge<DitArray<2, 12>>(3);
    merge_matches_plain_merge<DitArray<3, 1>>(4);
    merge_matches_plain_merge<DitArray<3, 12>>(6);
}

// About `count` distinct entries, dense (most partners exist) or sparse,
// ascending or shuffled; with `odd`, some qutrit-form dit past its dimension.
template <class T>
std::vector<BasisEntry<T>> random_entries(const std::vector<std::uint64_t>& dims, std::size_t count, bool dense, bool odd,
                                          std::mt19937_64& rng) {
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    std::uint64_t space = 1;
    for (std::uint64_t d : dims) space *= d;
    const std::uint64_t drawn = std::min<std::uint64_t>(dense ? count + count / 4 : 50 * count, space);
    std::map<std::uint64_t, std::complex<double>> chosen;  // by code, so ascending keys
    while (chosen.size() < std::min<std::uint64_t>(count, drawn)) chosen[rng() % drawn] = {part(rng), part(rng)};
    std::vector<BasisEntry<T>> list;
    std::set<std::uint64_t> seen;
    for (const auto& [key, amplitude] : chosen) {
        BasisEntry<T> e{{}, amplitude};
        for (std::uint64_t code = key, i = 0; i < T::size(); code /= dims[i], ++i) e.dits[std::int32_t(i)] = Dit{code % dims[i], dims[i]};
        if (odd && T::max_dimension == 3 && rng() % 40 == 0) {
            const auto q = static_cast<std::uint32_t>(rng() % T::size());
            const std::uint64_t value = rng() % 2 ? dims[q] : 3;
            e.dits.values = (e.dits.values & ~(T::mask << T::shift_of(q))) | value << T::shift_of(q);
        }
        if (seen.insert(e.dits.values).second) list.push_back(e);
    }
    if (rng() % 2) std::shuffle(list.begin(), list.end(), rng);
    return list;
}

// A Fourier gate as first written: each selected entry expanded in list order
// with the factor of its value, then merged. Where the merge sorts, the list
// is expanded in ascending order, so that partners meet in rising target
// value as the regrouping adds them (the one freedom it has). Throws where a
// selected value lies past the factor table.
template <class T>
std::vector<BasisEntry<T>> fourier_expansion(std::vector<BasisEntry<T>> list, std::int32_t t, int sign, const Predicates& predicates) {
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

// i_swap against i_swap as it first was (scale each selected entry whose
// values differ, append its exchanged partner, merge); Hadamard and its
// inverse twice over (the second time with cancellations to prune) against
// the expansion, the target lowest or not; fractional shift against its
// three gates. An odd value passed over keeps its place; selected, it is
// expanded by the table or refused, the state intact.
template <class T>
void spreads_match_the_expanded_list_merged(const std::vector<std::uint64_t>& dims, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    const auto n = static_cast<std::int32_t>(T::size());
    for (std::size_t count : {2, 5, 8, 9, 300, 3000})
        for (bool dense : {true, false}) {
            // A target, another qudit of its dimension (else itself) and a control on neither.
            const auto t = static_cast<std::int32_t>(rng() % 2 ? 0 : rng() % n);
            std::int32_t u = t;
            for (std::int32_t step = 1; step < n && u == t; ++step)
                if (dims[(t + step) % n] == dims[t]) u = (t + step) % n;
            Predicates predicates;
            if (const auto q = static_cast<std::int32_t>(rng() % n); q != t && q != u)
                predicates.push_back({q, static_cast<std::int32_t>(rng() % 4), rng() % 2 == 0});
            const std::string where = std::to_string(count) + (dense ? " dense" : " sparse") + ", targets " + std::to_string(t) + " " + std::to_string(u);

            const auto list = random_entries<T>(dims, count, dense, false, rng);
            for (double fraction : {0.4, -1.7, 2.0}) {
                auto want = list;
                const double theta = fraction * 1.5707963267948966, c = std::cos(theta), s = std::sin(theta);
                for (std::size_t i = 0, size = want.size(); i < size; ++i) {
                    const T& dits = want[i].dits;
                    if (!entry_passes_predicates(dits, predicates) || dits[t].value == dits[u].value) continue;
                    BasisEntry<T> partner{dits, std::complex<double>(0.0, s) * want[i].amplitude};
                    want[i].amplitude = std::complex<double>(c, 0.0) * want[i].amplitude;
                    exchange(partner.dits, t, u);
                    want.push_back(partner);
                }
                State<T>::merge_entries(want);
                State<T> state(list, true);
                state.i_swap(t, u, fraction, predicates);
                EXPECT_TRUE(same_entries(state.entries(), want)) << where << ", i_swap " << fraction;
            }

            const auto odd = random_entries<T>(dims, count, dense, true, rng);
            for (int sign : {+1, -1}) {
                State<T> state(odd, true);
                auto want = odd;
                for (int round = 0; round < 2 && !want.empty(); ++round) {
                    const std::string at = where + ", sign " + std::to_string(sign) + ", round " + std::to_string(round);
                    const auto before = state.entries();
                    const auto apply = [&] { sign > 0 ? state.hadamard({t}, predicates) : state.inverse_hadamard({t}, predicates); };
                    try {
                        want = fourier_expansion(want, t, sign, predicates);
                    } catch (const std::out_of_range&) {
                        EXPECT_NE(testing::message_of<std::out_of_range>(apply).find("dit value 3 out of range [0, 3)"), std::string::npos) << at;
                        EXPECT_TRUE(same_entries(state.entries(), before)) << at << ", refused";
                        break;
                    }
                    apply();
                    EXPECT_TRUE(same_entries(state.entries(), want)) << at;
                }
            }

            // Fractional shift, whose first Hadamard turns each sum by the
            // clock as it makes it, against the three gates one by one.
            for (const Targets& targets : {Targets{t}, Targets{u, t}})
                for (double fraction : {0.61, -1.3}) {
                    State<T> fused(list, true), apart(list, true);
                    fused.fractional_shift(targets, fraction, predicates);
                    apart.hadamard(targets, predicates);
                    apart.fractional_clock(targets, reduce_by_period(fraction, CLOCK_PERIOD), predicates);
                    apart.inverse_hadamard(targets, predicates);
                    EXPECT_TRUE(same_entries(fused.entries(), apart.entries())) << where << ", fractional shift " << fraction;
                }
        }
}

TEST(Regroup, spreading_gates_match_the_expanded_list_merged) {
    spreads_match_the_expanded_list_merged<DitArray<2, 12>>(std::vector<std::uint64_t>(12, 2), 21);
    spreads_match_the_expanded_list_merged<DitArray<2, 3>>(std::vector<std::uint64_t>(3, 2), 22);
    spreads_match_the_expanded_list_merged<DitArray<3, 8>>(std::vector<std::uint64_t>(8, 3), 23);
    spreads_match_the_expanded_list_merged<DitArray<3, 7>>({2, 3, 2, 3, 3, 2, 3}, 24);
    spreads_match_the_expanded_list_merged<DitArray<3, 12>>({2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3}, 25);
}

}  // namespace
}  // namespace vortan::qudit
