// Merging two groups by tensor product, per produced entry.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "clone_ratio.h"
#include "property/entangle.h"

namespace {

using namespace vortan;
using qudit::Dit;
using qudit::DynamicBasisEntry;
using qudit::DynamicDitArray;

// A property standing for a group of `count` distinct states of six qutrits.
std::unique_ptr<QuantumProperty> group_of(std::uint64_t count) {
    auto property = std::make_unique<QuantumProperty>(3);
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits;
        for (std::uint64_t q = 0, c = code; q < 6; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0, 0.25}});
    }
    property->shared->state = qudit::make_state(3, 6, list);
    return property;
}

// Aim: the merge of a small gate's operands is paid once per group; at the
// limit, at most 5 x a copy pass per produced entry.
void BM_entangle(benchmark::State& st) {
    const auto left = static_cast<std::uint64_t>(st.range(0));
    const auto right = static_cast<std::uint64_t>(st.range(1));
    for (auto _ : st) {
        st.PauseTiming();
        auto a = group_of(left);
        auto b = group_of(right);
        st.ResumeTiming();
        entangle(*a, *b);
        benchmark::DoNotOptimize(a->shared->state.get());
        st.PauseTiming();
        a.reset();
        b.reset();
        st.ResumeTiming();
    }
    st.SetItemsProcessed(st.iterations() * st.range(0) * st.range(1));
    // Per produced entry: the unit is a copy of the product.
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0) * st.range(1)));
}
BENCHMARK(BM_entangle)->Args({400, 250})->Args({10, 100})->Unit(benchmark::kMicrosecond);

}  // namespace
