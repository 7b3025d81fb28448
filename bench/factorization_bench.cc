// The factorisation test on large states: a qubit beside eleven qutrits,
// entries shuffled so that every branch has to be sorted.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "clone_ratio.h"
#include "qudit/state.h"

namespace {

using namespace vortan::qudit;

constexpr std::uint64_t REST_QUDITS = 11;

std::vector<Dit> rest_dits(std::uint64_t code) {
    std::vector<Dit> dits;
    for (std::uint64_t q = 0; q < REST_QUDITS; ++q, code /= 3) dits.push_back({code % 3, 3});
    return dits;
}

// Qudit 0 in (0.6|0> + 0.8i|1>) times `entries` / 2 distinct states of the
// rest. When `entangled`, the branch of value 1 differs from the other by a
// factor of 1 + 1e-6 at the rest state that comes last in the walk, so the
// answer is false only after comparing every pair.
std::unique_ptr<IState> make_qubit_beside_qutrits(std::size_t entries, bool entangled) {
    std::mt19937_64 rng(5);
    std::vector<std::uint64_t> codes(177147);  // 3^11
    std::iota(codes.begin(), codes.end(), 0);
    std::shuffle(codes.begin(), codes.end(), rng);
    codes.resize(entries / 2);
    const auto last = *std::max_element(codes.begin(), codes.end(), [](std::uint64_t a, std::uint64_t b) {
        const auto da = rest_dits(a), db = rest_dits(b);
        return std::lexicographical_compare(da.begin(), da.end(), db.begin(), db.end(),
                                            [](const Dit& x, const Dit& y) { return x.value < y.value; });
    });

    std::uniform_real_distribution<double> uniform(0.1, 1.0);
    const std::complex<double> factor[2] = {0.6, {0, 0.8}};
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code : codes) {
        const std::complex<double> rest(uniform(rng), uniform(rng));
        for (std::uint64_t v = 0; v < 2; ++v) {
            std::vector<Dit> dits{{v, 2}};
            for (const Dit& d : rest_dits(code)) dits.push_back(d);
            std::complex<double> amplitude = factor[v] * rest;
            if (entangled && v == 1 && code == last) amplitude *= 1 + 1e-6;
            list.push_back({DynamicDitArray(std::move(dits)), amplitude});
        }
    }
    std::shuffle(list.begin(), list.end(), rng);
    return make_state(3, 1 + REST_QUDITS, list);
}

// Goal: under 100 ns per entry; two sorts of half the entries dominate.
void BM_is_factorizable_product(benchmark::State& st) {
    const auto state = make_qubit_beside_qutrits(static_cast<std::size_t>(st.range(0)), false);
    if (!state->is_factorizable(0)) st.SkipWithError("a product state tested as entangled");
    for (auto _ : st) benchmark::DoNotOptimize(state->is_factorizable(0));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_is_factorizable_product)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// The worst entangled case: the walk runs to its last pair.
void BM_is_factorizable_entangled(benchmark::State& st) {
    const auto state = make_qubit_beside_qutrits(static_cast<std::size_t>(st.range(0)), true);
    if (state->is_factorizable(0)) st.SkipWithError("an entangled state tested as a product");
    for (auto _ : st) benchmark::DoNotOptimize(state->is_factorizable(0));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_is_factorizable_entangled)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace
