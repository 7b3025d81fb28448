// Taking one qudit out of a group of twelve qutrits, per stored entry. The
// removed qudit is number 5, so the last one moves into its place.
// Aim: a definite qudit at most 6 x a copy pass, the same at every size; a
// superposed qudit adds the factorisation test but rebuilds only the branch
// it keeps.
// Only factorizable cases: an entangled qudit would print a warning per call.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "clone_ratio.h"
#include "api/handles.h"
#include "property/entangle.h"
#include "property/remove_qudit.h"
#include "vortan.h"

namespace {

using namespace vortan;
using qudit::Dit;
using qudit::DynamicBasisEntry;
using qudit::DynamicDitArray;

constexpr std::size_t QUDITS = 12;
constexpr std::size_t REMOVED = 5;

/// `count` entries. Definite: qudit 5 is 1 everywhere and the other eleven
/// count 0..count-1 in base 3. Superposed: qudit 5 takes 0 and 1 over
/// count/2 such combinations, amplitudes a product so that it factorizes,
/// branch 0 the heavier.
std::vector<DynamicBasisEntry> entries_of(std::uint64_t count, bool superposed) {
    const std::uint64_t others = superposed ? count / 2 : count;
    const double scale = 1.0 / std::sqrt(static_cast<double>(count));
    std::vector<DynamicBasisEntry> list;
    list.reserve(count);
    for (std::uint64_t value : superposed ? std::vector<std::uint64_t>{0, 1} : std::vector<std::uint64_t>{1}) {
        const double weight = value == 0 ? 1.0 : 0.8;
        for (std::uint64_t code = 0; code < others; ++code) {
            std::vector<Dit> dits;
            for (std::uint64_t q = 0, c = code; q < QUDITS; ++q) {
                if (q == REMOVED) {
                    dits.push_back({value, 3});
                } else {
                    dits.push_back({c % 3, 3});
                    c /= 3;
                }
            }
            const double phase = 0.001 * static_cast<double>(code);
            list.push_back({DynamicDitArray(std::move(dits)), std::polar(weight * scale, phase)});
        }
    }
    return list;
}

/// Twelve properties in one group, indices 0-11 in order, holding `entries`.
struct Group {
    std::array<std::unique_ptr<QuantumProperty>, QUDITS> properties;

    explicit Group(const std::vector<DynamicBasisEntry>& entries) {
        std::vector<QuantumProperty*> list;
        for (auto& p : properties) {
            p = std::make_unique<QuantumProperty>(3);
            list.push_back(p.get());
        }
        tensor_state(list);
        properties[0]->shared->state = qudit::make_state(3, QUDITS, entries);
    }
};

void BM_remove_qudit(benchmark::State& st, bool superposed) {
    const auto count = static_cast<std::uint64_t>(st.range(0));
    const auto entries = entries_of(count, superposed);
    std::uint64_t left = 0;
    bool renumbered = true;
    for (auto _ : st) {
        st.PauseTiming();
        auto group = std::make_unique<Group>(entries);
        QuantumProperty& removed = *group->properties[REMOVED];
        const std::shared_ptr<SharedState> shared = removed.shared;
        st.ResumeTiming();
        remove_qudit(*shared, removed);
        st.PauseTiming();
        left = shared->state->state_size();
        renumbered = renumbered && group->properties[QUDITS - 1]->qudit_index == static_cast<std::int32_t>(REMOVED);
        group.reset();
        st.ResumeTiming();
    }
    if (left != (superposed ? count / 2 : count) || !renumbered) st.SkipWithError("removal left a wrong group");
    st.counters["ns/entry"] = benchmark::Counter(static_cast<double>(st.iterations() * st.range(0)),
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Arg(10000)->Arg(100000)->ArgName("entries")->Unit(benchmark::kMicrosecond);
}
BENCHMARK_CAPTURE(BM_remove_qudit, definite, false)->Apply(sizes);
BENCHMARK_CAPTURE(BM_remove_qudit, superposed, true)->Apply(sizes);

// The exported road: with partners, the qudit is measured, then removed, and
// the handle freed. The other handles are released unmeasured afterwards.
void BM_factorize_and_destroy(benchmark::State& st, bool superposed) {
    const auto count = static_cast<std::uint64_t>(st.range(0));
    const auto entries = entries_of(count, superposed);
    for (auto _ : st) {
        st.PauseTiming();
        std::array<vortan_quantum_property*, QUDITS> handles{};
        std::vector<QuantumProperty*> list;
        for (auto& h : handles) {
            if (vortan_quantum_property_create(3, &h, nullptr) != VORTAN_SUCCESS) std::abort();
            list.push_back(api::from_handle(h));
        }
        tensor_state(list);
        list[0]->shared->state = qudit::make_state(3, QUDITS, entries);
        st.ResumeTiming();
        if (vortan_quantum_property_factorize_and_destroy(&handles[REMOVED], nullptr) != VORTAN_SUCCESS)
            std::abort();
        st.PauseTiming();
        for (auto& h : handles) vortan_quantum_property_destroy(&h);
        st.ResumeTiming();
    }
    st.counters["ns/entry"] = benchmark::Counter(static_cast<double>(st.iterations() * st.range(0)),
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}
BENCHMARK_CAPTURE(BM_factorize_and_destroy, definite, false)->Arg(10000)->ArgName("entries")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_factorize_and_destroy, superposed, true)->Arg(10000)->ArgName("entries")
    ->Unit(benchmark::kMicrosecond);

}  // namespace
