// Gates and whole circuits on full registers: twelve qubits with all 4096
// basis states stored, nine qutrits with all 19683. Every gate visits every
// qudit once per iteration; the cost is per gate, against a clone of the
// register.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "clone_ratio.h"
#include "qudit/state.h"

namespace {

using namespace vortan::qudit;

/// Every basis state of `qudits` qudits of dimension `dimension`, with seeded
/// amplitudes of varying magnitude and phase, normalised: no gate below
/// cancels an entry, so the register stays full.
std::unique_ptr<IState> full_register(std::uint64_t dimension, std::uint64_t qudits) {
    std::uint64_t size = 1;
    for (std::uint64_t q = 0; q < qudits; ++q) size *= dimension;
    std::mt19937_64 rng(11);
    std::normal_distribution<double> gauss;
    std::vector<DynamicBasisEntry> list;
    list.reserve(size);
    for (std::uint64_t code = 0; code < size; ++code) {
        std::vector<Dit> dits(qudits);
        for (std::uint64_t q = 0, c = code; q < qudits; ++q, c /= dimension) dits[q] = {c % dimension, dimension};
        list.push_back({DynamicDitArray(std::move(dits)), {gauss(rng), gauss(rng)}});
    }
    auto state = make_state(dimension, qudits, list);
    state->normalize();
    return state;
}

// One layer: the gate on every qudit q, with qudit q+1 (wrapping) as a
// control of value 1 where the gate takes one; pairs are (q, q+1).
using Layer = void (*)(IState&, std::int32_t q, std::int32_t next);

template <Layer layer, int gates_per_qudit = 1>
void BM_full(benchmark::State& st) {
    const auto dimension = static_cast<std::uint64_t>(st.range(0));
    const auto qudits = static_cast<std::int32_t>(st.range(1));
    const auto state = full_register(dimension, static_cast<std::uint64_t>(qudits));
    const std::uint64_t size = state->state_size();
    for (auto _ : st) {
        for (std::int32_t q = 0; q < qudits; ++q) layer(*state, q, (q + 1) % qudits);
        benchmark::ClobberMemory();
    }
    if (state->state_size() != size) st.SkipWithError("the register lost entries");
    vortan::bench::report_clone_ratio(st, size, static_cast<double>(qudits * gates_per_qudit));
}

void registers(benchmark::internal::Benchmark* b) {
    b->Args({2, 12})->Args({3, 9})->ArgNames({"dim", "qudits"})->Unit(benchmark::kMicrosecond);
}

Predicates one(std::int32_t q) { return {{q, 1, true}}; }

void shift(IState& s, std::int32_t q, std::int32_t) { s.shift({q}, {}); }
void controlled_cycle(IState& s, std::int32_t q, std::int32_t next) { s.cycle({q}, one(next)); }
void clock(IState& s, std::int32_t q, std::int32_t) { s.clock({q}, {}); }
void fractional_clock(IState& s, std::int32_t q, std::int32_t) { s.fractional_clock({q}, 0.25, {}); }
void controlled_phase(IState& s, std::int32_t q, std::int32_t next) { s.phase_rotate({{q, 1, true}, {next, 1, true}}, 0.3); }
void swap(IState& s, std::int32_t q, std::int32_t next) { s.swap(q, next, {}); }
void i_swap(IState& s, std::int32_t q, std::int32_t next) { s.i_swap(q, next, 1.0, {}); }
void hadamard(IState& s, std::int32_t q, std::int32_t) { s.hadamard({q}, {}); }
void inverse_hadamard(IState& s, std::int32_t q, std::int32_t) { s.inverse_hadamard({q}, {}); }
void fractional_i_swap(IState& s, std::int32_t q, std::int32_t next) { s.i_swap(q, next, 0.5, {}); }

// A mixed circuit, per gate: Fourier on q, an entangling controlled cycle,
// a quarter clock and a controlled phase, a swap with the neighbour.
void circuit(IState& s, std::int32_t q, std::int32_t next) {
    s.hadamard({q}, {});
    s.cycle({next}, one(q));
    s.fractional_clock({q}, 0.25, {});
    s.phase_rotate({{q, 1, true}, {next, 0, false}}, 0.3);
    s.swap(q, next, {});
    s.inverse_hadamard({q}, {});
}

BENCHMARK_TEMPLATE(BM_full, shift)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, controlled_cycle)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, clock)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, fractional_clock)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, controlled_phase)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, swap)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, i_swap)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, hadamard)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, inverse_hadamard)->Apply(registers);
BENCHMARK_TEMPLATE(BM_full, fractional_i_swap)->Apply(registers);
// Six gates per qudit: the ratio is per gate.
BENCHMARK_TEMPLATE(BM_full, circuit, 6)->Apply(registers);

}  // namespace
