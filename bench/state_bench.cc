// Storage operations of a state, per entry, at the size limit.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "clone_ratio.h"
#include "qudit/state_impl.h"

namespace {

using namespace vortan::qudit;

// Distinct basis states of twelve qutrits (3^12 > 100000), seeded.
std::vector<DynamicBasisEntry> distinct_entries(std::size_t count) {
    std::vector<std::uint64_t> codes(531441);
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = i;
    std::shuffle(codes.begin(), codes.end(), std::mt19937_64(7));
    std::vector<DynamicBasisEntry> list;
    list.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<Dit> dits(12);
        for (std::uint64_t q = 0, code = codes[i]; q < 12; ++q, code /= 3) dits[q] = {code % 3, 3};
        list.push_back({DynamicDitArray(std::move(dits)), {1.0 / static_cast<double>(i + 1), 0.5}});
    }
    return list;
}

// Goal: well under 100 ns per entry; the hash index must stay linear.
void BM_construct(benchmark::State& st) {
    const auto list = distinct_entries(static_cast<std::size_t>(st.range(0)));
    for (auto _ : st) benchmark::DoNotOptimize(make_state(3, 12, list));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_construct)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// Every entry given twice: half of the lookups hit and add.
void BM_construct_merging(benchmark::State& st) {
    auto list = distinct_entries(static_cast<std::size_t>(st.range(0)) / 2);
    const auto copy = list;
    list.insert(list.end(), copy.begin(), copy.end());
    for (auto _ : st) benchmark::DoNotOptimize(make_state(3, 12, list));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_construct_merging)->Arg(100000)->Unit(benchmark::kMicrosecond);

// Goal: a block copy, a few ns per entry.
void BM_clone(benchmark::State& st) {
    const auto state = make_state(3, 12, distinct_entries(static_cast<std::size_t>(st.range(0))));
    for (auto _ : st) benchmark::DoNotOptimize(state->clone());
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_clone)->Arg(100000)->Unit(benchmark::kMicrosecond);

// The exchange form allocates one dit vector per entry; that is its cost.
void BM_basis_entries(benchmark::State& st) {
    const auto state = make_state(3, 12, distinct_entries(static_cast<std::size_t>(st.range(0))));
    for (auto _ : st) benchmark::DoNotOptimize(state->basis_entries());
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_basis_entries)->Arg(100000)->Unit(benchmark::kMicrosecond);

// Two passes over the entries; the copy restores an unnormalised state each time.
void BM_normalize(benchmark::State& st) {
    const auto original = make_state(3, 12, distinct_entries(static_cast<std::size_t>(st.range(0))));
    for (auto _ : st) {
        st.PauseTiming();
        auto state = original->clone();
        st.ResumeTiming();
        state->normalize();
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_normalize)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
