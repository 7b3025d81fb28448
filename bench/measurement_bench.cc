// Reading and collapsing states of 10000 and 100000 entries, per entry.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "clone_ratio.h"
#include "qudit/state.h"

namespace {

using namespace vortan::qudit;

// Distinct basis states of twelve qutrits, seeded, with amplitudes of
// varying magnitude and phase. Codes come from the first 3^11 so that the
// state is dense enough for entries to share their traced dits: at 100000
// entries a qudit's value has on average 1.7 partners.
std::unique_ptr<IState> random_state(std::size_t count) {
    std::vector<std::uint64_t> codes(177147);
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = i;
    std::mt19937_64 rng(17);
    std::shuffle(codes.begin(), codes.end(), rng);
    std::normal_distribution<double> gauss;
    std::vector<DynamicBasisEntry> list;
    list.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<Dit> dits(12);
        for (std::uint64_t q = 0, code = codes[i]; q < 12; ++q, code /= 3) dits[q] = {code % 3, 3};
        list.push_back({DynamicDitArray(std::move(dits)), {gauss(rng), gauss(rng)}});
    }
    auto state = make_state(3, 12, list);
    state->normalize();
    return state;
}

std::vector<std::int32_t> first_qudits(std::int64_t count) {
    std::vector<std::int32_t> out;
    for (std::int32_t q = 0; q < count; ++q) out.push_back(q);
    return out;
}

// Aim: at most 12 x a copy pass when every entry is an outcome of its own
// (all 12 qudits, a direct table of gathered codes), about 2 x for few.
void BM_probabilities(benchmark::State& st) {
    const auto state = random_state(static_cast<std::size_t>(st.range(0)));
    const auto qudits = first_qudits(st.range(1));
    for (auto _ : st) benchmark::DoNotOptimize(state->probabilities(qudits));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_probabilities)
    ->ArgsProduct({{10000, 100000}, {1, 2, 12}})
    ->ArgNames({"entries", "qudits"})
    ->Unit(benchmark::kMicrosecond);

// Sampling one qudit and collapsing a fresh copy; the copy is not timed.
// Aim: at most 4 x a copy pass at 100000 entries.
void BM_measure(benchmark::State& st) {
    const auto original = random_state(static_cast<std::size_t>(st.range(0)));
    const auto qudits = first_qudits(st.range(1));
    for (auto _ : st) {
        st.PauseTiming();
        auto state = original->clone();
        st.ResumeTiming();
        benchmark::DoNotOptimize(state->measure(qudits));
    }
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_measure)
    ->ArgsProduct({{10000, 100000}, {1, 2}})
    ->ArgNames({"entries", "qudits"})
    ->Unit(benchmark::kMicrosecond);

// Goal: linear in the entries, milliseconds at the limit, for one or two
// kept qudits: only pairs that agree on the traced dits are visited.
void BM_reduced_density_matrix(benchmark::State& st) {
    const auto state = random_state(static_cast<std::size_t>(st.range(0)));
    const auto qudits = first_qudits(st.range(1));
    for (auto _ : st) benchmark::DoNotOptimize(state->reduced_density_matrix(qudits));
    st.SetItemsProcessed(st.iterations() * st.range(0));
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK(BM_reduced_density_matrix)
    ->ArgsProduct({{10000, 100000}, {1, 2}})
    ->ArgNames({"entries", "qudits"})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
